#include "host/CommandDatabase.h"
#include "host/SqliteClass.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

class tst_CommandTables : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void missingDatabaseIsMadeFromItsTexts();
    void textsAreTakenInTheOrderOfTheirNames();
    void textsMayHoldCommentsQuotesAndManyLines();
    void lastStatementNeedsNoSemicolon();
    void existingDatabaseIsReadWithoutTexts();
    void handWrittenRowsAreServed();
    void changedTextsAddTheirRows();
    void rowThatWasTakenOutComesBack();
    void rowsOfTheFileWinOverTheTexts();
    void sameTextsDoNotTouchTheFile();
    void missingFileWithoutTextsIsTold();
    void missingFolderIsMade();
    void brokenFileIsTold();
    void emptyFileIsFilled();
    void folderInTheWayIsTold();
    void fileWithOtherTablesIsTold();
    void brokenTextLeavesTheFileAsItWas();
    void lockedFileIsReadAllTheSame();
    void noConnectionIsLeft();

    void instanceWithoutFileSaysWhy();
    void instanceIsTheSameFromEveryThread();
    void lookUpsAnswerFromTheTables();
    void firstNameInOrderServesANumber();
    void missesSayWhatWasNotFound();
    void lookUpsFromManyThreads();

private:
    QString path(const char* name) const { return _folder->filePath(QString::fromUtf8(name)); }
    QString database() const { return path("appInfo/commands.db"); }
    QString texts() const { return path("sql"); }
    void writeText(const char* name, const QByteArray& sql) const;
    ky::CommandTables load() const { return ky::loadCommandTables(database(), texts()); }
    QString execute(const QString& statement) const;
    QByteArray content() const
    {
        QFile file(database());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    std::unique_ptr<QTemporaryDir> _folder;
};

namespace {

const QByteArray kTables = "CREATE TABLE IF NOT EXISTS commands (\n"
                           "    port INTEGER NOT NULL,\n"
                           "    name TEXT NOT NULL,\n"
                           "    number INTEGER NOT NULL,\n"
                           "    PRIMARY KEY (port, name));\n"
                           "CREATE TABLE IF NOT EXISTS errors (\n"
                           "    code INTEGER PRIMARY KEY, text TEXT NOT NULL);\n";

QByteArray commandRow(const char* name, int number)
{
    return "INSERT OR IGNORE INTO commands VALUES (19208, '" + QByteArray(name) + "', " +
           QByteArray::number(number) + ");\n";
}

} // namespace

void tst_CommandTables::init()
{
    _folder = std::make_unique<QTemporaryDir>();
    QVERIFY(_folder->isValid());
    QVERIFY(QDir(_folder->path()).mkpath(QStringLiteral("sql")));
    QVERIFY(QDir(_folder->path()).mkpath(QStringLiteral("appInfo")));
}

void tst_CommandTables::writeText(const char* name, const QByteArray& sql) const
{
    QFile file(texts() + QLatin1Char('/') + QString::fromUtf8(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(sql);
}

/// Runs one statement on the database from outside; the error, or nothing.
QString tst_CommandTables::execute(const QString& statement) const
{
    QString error;
    {
        QSqlDatabase outside =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("outside"));
        outside.setDatabaseName(database());
        if (!outside.open())
            return outside.lastError().text();
        QSqlQuery query(outside);
        if (!query.exec(statement))
            error = query.lastError().text();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("outside"));
    return error;
}

void tst_CommandTables::missingDatabaseIsMadeFromItsTexts()
{
    writeText("10.sql", kTables + commandRow("echo", 2000) +
                            "INSERT INTO errors VALUES (40000, '未知命令');\n");

    const ky::CommandTables tables = load();

    QCOMPARE(tables.error, QString());
    QCOMPARE(tables.portCommands.value(19208).value(QStringLiteral("echo")), 2000);
    QCOMPARE(tables.errorCommands.value(40000), QStringLiteral("未知命令"));
    QVERIFY(QFile::exists(database()));
}

void tst_CommandTables::textsAreTakenInTheOrderOfTheirNames()
{
    writeText("20-rows.sql", commandRow("echo", 2000));
    writeText("10-tables.sql", kTables);
    writeText("30.txt", "this is no SQL;");

    const ky::CommandTables tables = load();

    QCOMPARE(tables.error, QString());
    QCOMPARE(tables.portCommands.value(19208).size(), 1);
}

void tst_CommandTables::textsMayHoldCommentsQuotesAndManyLines()
{
    writeText("10.sql", "-- the tables; all of them\n" + kTables +
                            "\n\n-- texts\nINSERT INTO errors VALUES (1, 'it''s; \"x\"'),\n"
                            "    (2, 'two');\n");

    const ky::CommandTables tables = load();

    QCOMPARE(tables.error, QString());
    QCOMPARE(tables.errorCommands.value(1), QStringLiteral("it's; \"x\""));
    QCOMPARE(tables.errorCommands.value(2), QStringLiteral("two"));
}

void tst_CommandTables::lastStatementNeedsNoSemicolon()
{
    writeText("10.sql", kTables + "INSERT INTO errors VALUES (1, 'last')");
    writeText("20.sql", commandRow("echo", 2000));

    const ky::CommandTables tables = load();

    QCOMPARE(tables.error, QString());
    QCOMPARE(tables.errorCommands.value(1), QStringLiteral("last"));
    QCOMPARE(tables.portCommands.value(19208).size(), 1);
}

void tst_CommandTables::existingDatabaseIsReadWithoutTexts()
{
    writeText("10.sql", kTables + commandRow("echo", 2000));
    load();

    const ky::CommandTables tables = ky::loadCommandTables(database(), path("none"));

    QCOMPARE(tables.error, QString());
    QCOMPARE(tables.portCommands.value(19208).value(QStringLiteral("echo")), 2000);
}

void tst_CommandTables::handWrittenRowsAreServed()
{
    writeText("10.sql", kTables + commandRow("echo", 2000));
    load();
    QCOMPARE(execute(QStringLiteral("INSERT INTO commands VALUES (19207, '状态', 4802)")),
             QString());

    QCOMPARE(load().portCommands.value(19207).value(QStringLiteral("状态")), 4802);
}

void tst_CommandTables::changedTextsAddTheirRows()
{
    writeText("10.sql", kTables + commandRow("echo", 2000));
    load();
    writeText("20.sql", commandRow("version", 2001));

    const ky::CommandTables tables = load();

    QCOMPARE(tables.error, QString());
    QCOMPARE(tables.portCommands.value(19208).keys(),
             (QStringList{QStringLiteral("echo"), QStringLiteral("version")}));
}

void tst_CommandTables::rowThatWasTakenOutComesBack()
{
    writeText("10.sql", kTables + commandRow("echo", 2000) + commandRow("version", 2001));
    load();
    QCOMPARE(execute(QStringLiteral("DELETE FROM commands WHERE name = 'echo'")), QString());

    const ky::CommandTables tables = load();

    QCOMPARE(tables.error, QString());
    QCOMPARE(tables.portCommands.value(19208).value(QStringLiteral("echo")), 2000);
}

void tst_CommandTables::rowsOfTheFileWinOverTheTexts()
{
    writeText("10.sql", kTables + commandRow("echo", 2000));
    load();
    QCOMPARE(execute(QStringLiteral("UPDATE commands SET number = 2099 WHERE name = 'echo'")),
             QString());
    writeText("20.sql", commandRow("version", 2001));

    QCOMPARE(load().portCommands.value(19208).value(QStringLiteral("echo")), 2099);
}

void tst_CommandTables::sameTextsDoNotTouchTheFile()
{
    writeText("10.sql", kTables + commandRow("echo", 2000));
    load();
    const QByteArray before = content();

    load();

    QVERIFY(!before.isEmpty());
    QCOMPARE(content(), before);
}

void tst_CommandTables::missingFileWithoutTextsIsTold()
{
    const ky::CommandTables tables = load();

    QCOMPARE(tables.error, QStringLiteral("command database [%1]: no such file").arg(database()));
    QVERIFY(!QFile::exists(database()));
}

void tst_CommandTables::missingFolderIsMade()
{
    writeText("10.sql", kTables);

    const ky::CommandTables tables = ky::loadCommandTables(path("a/b/commands.db"), texts());

    QCOMPARE(tables.error, QString());
    QVERIFY(QFile::exists(path("a/b/commands.db")));
}

void tst_CommandTables::brokenFileIsTold()
{
    writeText("10.sql", kTables + commandRow("echo", 2000));
    QFile file(database());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(8192, 'x'));
    file.close();

    const ky::CommandTables tables = load();

    QVERIFY2(tables.error.startsWith(QStringLiteral("command database [%1]: ").arg(database())),
             qPrintable(tables.error));
    QVERIFY2(tables.error.contains(QLatin1String("not a database")), qPrintable(tables.error));
    QVERIFY(tables.portCommands.isEmpty() && tables.errorCommands.isEmpty());
    QCOMPARE(QFile(database()).size(), qint64(8192));
}

void tst_CommandTables::emptyFileIsFilled()
{
    writeText("10.sql", kTables + commandRow("echo", 2000));
    QVERIFY(QFile(database()).open(QIODevice::WriteOnly));

    QCOMPARE(load().portCommands.value(19208).size(), 1);
}

void tst_CommandTables::folderInTheWayIsTold()
{
    writeText("10.sql", kTables);
    QVERIFY(QDir().mkpath(database()));

    const ky::CommandTables tables = load();

    QVERIFY2(tables.error.contains(database()), qPrintable(tables.error));
    QVERIFY2(tables.error.contains(QLatin1String("unable to open")), qPrintable(tables.error));
}

void tst_CommandTables::fileWithOtherTablesIsTold()
{
    QVERIFY(QFile(database()).open(QIODevice::WriteOnly));
    QCOMPARE(execute(QStringLiteral("CREATE TABLE other (x)")), QString());

    const ky::CommandTables tables = load();

    QVERIFY2(tables.error.contains(QLatin1String("no such table: commands")),
             qPrintable(tables.error));
}

void tst_CommandTables::brokenTextLeavesTheFileAsItWas()
{
    writeText("10.sql", kTables + commandRow("echo", 2000));
    load();
    writeText("20.sql", commandRow("version", 2001) + "INSERT INTO nowhere VALUES (1);\n");

    const ky::CommandTables tables = load();

    QVERIFY2(tables.error.contains(QLatin1String("nowhere")), qPrintable(tables.error));
    QVERIFY(tables.portCommands.isEmpty());
    QCOMPARE(ky::loadCommandTables(database(), path("none")).portCommands.value(19208).keys(),
             QStringList{QStringLiteral("echo")});
}

void tst_CommandTables::lockedFileIsReadAllTheSame()
{
    writeText("10.sql", kTables + commandRow("echo", 2000));
    load();
    {
        QSqlDatabase outside =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("writer"));
        outside.setDatabaseName(database());
        QVERIFY(outside.open());
        QVERIFY(outside.transaction());
        QVERIFY(QSqlQuery(outside).exec(QStringLiteral("DELETE FROM commands")));

        QCOMPARE(load().portCommands.value(19208).size(), 1);
        outside.rollback();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("writer"));
}

void tst_CommandTables::noConnectionIsLeft()
{
    writeText("10.sql", kTables);
    load();
    load();

    QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
}

/// The test runs in a folder without a database and carries no SQL texts of its own.
void tst_CommandTables::instanceWithoutFileSaysWhy()
{
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(path("sql")));
    const SqliteClass* tables = SqliteClass::init();
    QDir::setCurrent(before);

    QVERIFY(tables->portCommands.isEmpty() && tables->errorCommands.isEmpty());
    QCOMPARE(tables->getLastError(),
             QStringLiteral("command database [appInfo/commands.db]: no such file"));
}

void tst_CommandTables::instanceIsTheSameFromEveryThread()
{
    SqliteClass* const mine = SqliteClass::init();
    std::atomic<int> others{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] { others += SqliteClass::init() == mine ? 0 : 1; });
    for (std::thread& thread : threads)
        thread.join();

    QCOMPARE(others.load(), 0);
}

void tst_CommandTables::lookUpsAnswerFromTheTables()
{
    SqliteClass& tables = *SqliteClass::init();
    tables.portCommands = {{19208, {{QStringLiteral("echo"), 2000}}},
                           {19207, {{QStringLiteral("echo"), 4802}}}};
    tables.errorCommands = {{40000, QStringLiteral("未知命令")}};

    QCOMPARE(tables.commandInt(19208, QStringLiteral("echo")), 2000);
    QCOMPARE(tables.commandInt(19207, QStringLiteral("echo")), 4802);
    QCOMPARE(tables.commandString(19208, 2000), QStringLiteral("echo"));
    QCOMPARE(tables.getErrorCommandValue(40000), QStringLiteral("未知命令"));
}

void tst_CommandTables::firstNameInOrderServesANumber()
{
    SqliteClass& tables = *SqliteClass::init();
    tables.portCommands = {
        {19208,
         {{QStringLiteral("zebra"), 7}, {QStringLiteral("ant"), 7}, {QStringLiteral("bee"), 7}}}};

    QCOMPARE(tables.commandString(19208, 7), QStringLiteral("ant"));
}

void tst_CommandTables::missesSayWhatWasNotFound()
{
    SqliteClass& tables = *SqliteClass::init();
    tables.portCommands = {{19208, {{QStringLiteral("echo"), 2000}}}};
    tables.errorCommands.clear();

    QCOMPARE(tables.commandInt(19208, QStringLiteral("fly")), 0);
    QCOMPARE(tables.getLastError(),
             QStringLiteral("command [fly]: not in the table of port 19208"));
    QCOMPARE(tables.commandInt(1, QStringLiteral("echo")), 0);
    QCOMPARE(tables.getLastError(), QStringLiteral("command [echo]: not in the table of port 1"));
    QCOMPARE(tables.commandString(19208, 9), QString());
    QCOMPARE(tables.getLastError(), QStringLiteral("command [9]: not in the table of port 19208"));
    QCOMPARE(tables.getErrorCommandValue(3), QString());
    QCOMPARE(tables.getLastError(), QStringLiteral("error code [3]: not in the table"));
    QVERIFY(!tables.portCommands.contains(1));
}

void tst_CommandTables::lookUpsFromManyThreads()
{
    SqliteClass& tables = *SqliteClass::init();
    tables.portCommands = {{19208, {{QStringLiteral("echo"), 2000}}}};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            for (int n = 0; n < 2000; ++n) {
                wrong += tables.commandInt(19208, QStringLiteral("echo")) == 2000 ? 0 : 1;
                wrong += tables.commandString(i, n).isEmpty() ? 0 : 1;
                wrong += tables.getLastError().startsWith(QLatin1String("command [")) ? 0 : 1;
            }
        });
    for (std::thread& thread : threads)
        thread.join();

    QCOMPARE(wrong.load(), 0);
}

QTEST_GUILESS_MAIN(tst_CommandTables)
#include "tst_CommandTables.moc"
