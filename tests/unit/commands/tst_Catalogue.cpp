#include "commands/ArgumentReading.h"
#include "commands/Catalogue.h"
#include "support/JsonText.h"

#include <QMap>
#include <QSet>
#include <QTest>

/// What the compiler cannot judge of a table, or what takes several of them.
class tst_Catalogue : public QObject
{
    Q_OBJECT

private slots:
    void namesAndNumbersAreUnique();
    void everyAnswerHasAType();
    void blocksOfNumbersDoNotMeet();
    void errorCodesHaveOneTextEach();
    void everyErrorIsAnsweredBySomeCommand();
    void exampleIsTaken_data();
    void exampleIsTaken();
    void whatIsUsualIsAValue_data();
    void whatIsUsualIsAValue();
    void flagThatExemptsStandsInFront();
    void secretsTakeTheHighestRight();
    void numbersOfPeersStay();
};

namespace {

template <typename Action>
void forEachRow(const Action& action)
{
    for (const ky::CommandGroup* group : ky::commandGroups()) {
        for (const ky::Command& row : group->rows)
            action(row);
    }
}

/// One test row for each command and event.
void addRows()
{
    QTest::addColumn<QString>("name");
    forEachRow([](const ky::Command& row) { QTest::newRow(row.name) << QString(row.name); });
}

QVariant parsed(const char* json)
{
    return ky::parseJson('[' + QByteArray(json) + ']').toList().value(0);
}

} // namespace

void tst_Catalogue::namesAndNumbersAreUnique()
{
    QSet<QString> names;
    QSet<int> numbers;
    forEachRow([&](const ky::Command& row) {
        QVERIFY2(!names.contains(row.name), row.name);
        names.insert(row.name);
        QVERIFY2(!numbers.contains(row.number), row.name);
        numbers.insert(row.number);
        QCOMPARE(ky::findCommand(QString(row.name)), &row);
        QCOMPARE(ky::findCommand(row.number, row.port), &row);
    });
    QVERIFY(names.size() > 80);
}

void tst_Catalogue::everyAnswerHasAType()
{
    forEachRow([](const ky::Command& row) { QVERIFY2(row.number + 10000 < 65536, row.name); });
}

void tst_Catalogue::blocksOfNumbersDoNotMeet()
{
    QMap<int, const char*> owners;
    for (const ky::CommandGroup* group : ky::commandGroups()) {
        for (const ky::Block& block : {group->numbers, group->eventNumbers}) {
            for (int number = block.first; number != 0 && number <= block.last; ++number) {
                QVERIFY2(!owners.contains(number), group->title);
                owners.insert(number, group->title);
            }
        }
    }
}

void tst_Catalogue::errorCodesHaveOneTextEach()
{
    QSet<int> codes;
    for (const ky::CommandGroup* group : ky::commandGroups()) {
        for (const ky::ErrorText& error : group->errors) {
            QVERIFY2(!codes.contains(error.code), error.text);
            codes.insert(error.code);
            QCOMPARE(ky::errorTextOf(error.code), QString(error.text));
        }
    }
}

void tst_Catalogue::everyErrorIsAnsweredBySomeCommand()
{
    QSet<int> answered{40001, 40002, 40004, 40005, 40007}; // these may come from any command
    forEachRow([&](const ky::Command& row) {
        for (const int code : row.errors)
            answered.insert(code);
    });
    for (const ky::CommandGroup* group : ky::commandGroups()) {
        for (const ky::ErrorText& error : group->errors)
            QVERIFY2(answered.contains(error.code), error.text);
    }
}

void tst_Catalogue::exampleIsTaken_data()
{
    addRows();
}

void tst_Catalogue::exampleIsTaken()
{
    QFETCH(QString, name);
    const ky::Command* row = ky::findCommand(name);
    const QVariant example = ky::parseJson(row->example);
    ky::Arguments arguments;

    QCOMPARE(example.type(), QVariant::Map);
    QCOMPARE(ky::readArguments(row->arguments, example.toMap(), &arguments), QString());
    const bool takesAnything = qstrcmp(row->name, "echo") == 0;
    for (const QString& key : example.toMap().keys())
        QVERIFY2(takesAnything || arguments.has(qPrintable(key)), qPrintable(key));
}

void tst_Catalogue::whatIsUsualIsAValue_data()
{
    addRows();
}

void tst_Catalogue::whatIsUsualIsAValue()
{
    QFETCH(QString, name);
    for (const ky::Argument& row : ky::findCommand(name)->arguments) {
        if (*row.usual == '\0')
            continue;
        const QString key(row.name);
        ky::Argument alone = row;
        alone.isRequired = false;
        const ky::Argument rows[] = {alone};
        ky::Arguments given;
        ky::Arguments missing;

        QCOMPARE(ky::readArguments(rows, {{key, parsed(row.usual)}}, &given), QString());
        QCOMPARE(ky::readArguments(rows, {}, &missing), QString());
        QCOMPARE(missing.values(), given.values());
    }
}

void tst_Catalogue::flagThatExemptsStandsInFront()
{
    forEachRow([](const ky::Command& row) {
        QSet<QString> read;
        for (const ky::Argument& argument : row.arguments) {
            if (*argument.exempting != '\0')
                QVERIFY2(read.contains(argument.exempting), row.name);
            read.insert(argument.name);
        }
    });
}

void tst_Catalogue::secretsTakeTheHighestRight()
{
    forEachRow([](const ky::Command& row) {
        for (const ky::Argument& argument : row.arguments)
            QVERIFY2(!argument.isSecret || row.right == ky::Right::Administer, row.name);
    });
    QCOMPARE(ky::findCommand("wifi_password")->right, ky::Right::Administer);
    QCOMPARE(ky::findCommand("upload")->right, ky::Right::Administer);
}

void tst_Catalogue::numbersOfPeersStay()
{
    QCOMPARE(ky::findCommand("echo")->number, 2000);
    QCOMPARE(ky::findCommand("upload")->number, 5104);
    QCOMPARE(ky::findCommand(4802, 19207)->name, "link_lost");
    QCOMPARE(ky::findCommand(4803, 19207)->name, "link_good");
    QCOMPARE(ky::findCommand(6950, 19210)->name, "host_report");
    QCOMPARE(ky::findCommand(4802), nullptr); // not on the service's port
}

QTEST_GUILESS_MAIN(tst_Catalogue)
#include "tst_Catalogue.moc"
