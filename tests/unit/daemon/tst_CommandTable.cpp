#include "commands/Catalogue.h"
#include "daemon/CommandTable.h"

#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

/// The command database: made from the catalogue, and left alone where it has all of it.
class tst_CommandTable : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void newDatabaseHoldsTheCatalogue();
    void rowsThatAreThereStay();
    void rowsThatAreMissingCome();
    void completeDatabaseIsNotWrittenTo();
    void fileThatIsNoDatabaseIsLeftAlone();
    void fileThatCannotBeMadeIsTold();

private:
    QVariantList ask(const QString& statement);

    std::unique_ptr<QTemporaryDir> _folder;
    QString _path;
};

void tst_CommandTable::init()
{
    _folder = std::make_unique<QTemporaryDir>();
    _path = _folder->filePath("commands.db");
}

/// All cells of the answer, row by row.
QVariantList tst_CommandTable::ask(const QString& statement)
{
    QVariantList cells;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", "look");
        database.setDatabaseName(_path);
        if (!database.open())
            qFatal("database cannot be opened");
        QSqlQuery query(database);
        if (!query.exec(statement))
            qFatal("%s", qPrintable(statement));
        while (query.next())
            cells << query.value(0);
    }
    QSqlDatabase::removeDatabase("look");
    return cells;
}

void tst_CommandTable::newDatabaseHoldsTheCatalogue()
{
    QCOMPARE(ky::provideCommandTable(_path), QString());

    int rows = 0;
    for (const ky::CommandGroup* group : ky::commandGroups()) {
        rows += group->rows.count;
        for (const ky::ErrorText& error : group->errors)
            QCOMPARE(ask(QString("SELECT text FROM errors WHERE code = %1").arg(error.code)),
                     QVariantList{QString(error.text)});
    }
    QCOMPARE(ask("SELECT count(*) FROM commands"), QVariantList{rows});
    QCOMPARE(ask("SELECT number FROM commands WHERE port = 19208 AND name = 'echo'"),
             QVariantList{2000});
    QCOMPARE(ask("SELECT summary FROM commands WHERE port = 19207 AND name = 'link_lost'"),
             QVariantList{"link supervision: the link is lost"});
}

void tst_CommandTable::rowsThatAreThereStay()
{
    QCOMPARE(ky::provideCommandTable(_path), QString());
    ask("UPDATE commands SET number = 2999 WHERE name = 'version'");
    ask("DELETE FROM commands WHERE name = 'echo'");
    ask("INSERT INTO commands VALUES (19208, 'of_the_site', 3000, 'x')");

    QCOMPARE(ky::provideCommandTable(_path), QString());

    QCOMPARE(ask("SELECT number FROM commands WHERE name = 'version'"), QVariantList{2999});
    QCOMPARE(ask("SELECT number FROM commands WHERE name = 'of_the_site'"), QVariantList{3000});
    QCOMPARE(ask("SELECT number FROM commands WHERE name = 'echo'"), QVariantList{2000});
}

void tst_CommandTable::rowsThatAreMissingCome()
{
    QCOMPARE(ky::provideCommandTable(_path), QString());
    ask("DELETE FROM errors WHERE code = 40002");
    ask("DELETE FROM commands WHERE name LIKE 'wifi_%'");

    QCOMPARE(ky::provideCommandTable(_path), QString());

    QCOMPARE(ask("SELECT count(*) FROM errors WHERE code = 40002"), QVariantList{1});
    QCOMPARE(ask("SELECT number FROM commands WHERE name = 'wifi_connect'"), QVariantList{2310});
}

void tst_CommandTable::completeDatabaseIsNotWrittenTo()
{
    QCOMPARE(ky::provideCommandTable(_path), QString());
    QFile file(_path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    const QDateTime written = QFileInfo(_path).lastModified();

    QCOMPARE(ky::provideCommandTable(_path), QString());

    QVERIFY(file.seek(0));
    QCOMPARE(file.readAll(), before);
    QCOMPARE(QFileInfo(_path).lastModified(), written);
}

void tst_CommandTable::fileThatIsNoDatabaseIsLeftAlone()
{
    QFile file(_path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(8192, 'x'));
    file.close();

    QCOMPARE(ky::provideCommandTable(_path), QString()); // who reads it tells what is wrong

    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray(8192, 'x'));
}

void tst_CommandTable::fileThatCannotBeMadeIsTold()
{
    const QString path = _folder->filePath("none/commands.db");

    const QString problem = ky::provideCommandTable(path);

    QVERIFY2(problem.startsWith("command database [" + path + "]: "), qPrintable(problem));
    QCOMPARE(problem.count('\n'), 0);
}

QTEST_GUILESS_MAIN(tst_CommandTable)
#include "tst_CommandTable.moc"
