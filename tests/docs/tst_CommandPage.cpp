#include "CommandPage.h"
#include "commands/Catalogue.h"

#include <QFile>
#include <QTest>

class tst_CommandPage : public QObject
{
    Q_OBJECT

private slots:
    void pageIsThatOfTheCatalogue();
    void everyCommandHasASection();
};

void tst_CommandPage::pageIsThatOfTheCatalogue()
{
    QFile file(KY_TEST_DATA "/commands.md");
    if (qEnvironmentVariableIsSet("KY_WRITE_DOCS")) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(commandPage());
        file.close();
    }
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> written = file.readAll().split('\n');
    const QList<QByteArray> made = commandPage().split('\n');

    for (int i = 0; i < qMin(written.size(), made.size()); ++i)
        QVERIFY2(written[i] == made[i],
                 "docs/commands.md: not that of the catalogue; KY_WRITE_DOCS=1 writes it:\n- " +
                     written[i] + "\n+ " + made[i]);
    QCOMPARE(written.size(), made.size());
}

void tst_CommandPage::everyCommandHasASection()
{
    const QByteArray page = commandPage();
    for (const ky::CommandGroup* group : ky::commandGroups()) {
        for (const ky::Command& row : group->rows) {
            const QByteArray title =
                "\n### `" + QByteArray(row.name) + "` (" + QByteArray::number(row.number) + ")\n";
            QVERIFY2(page.contains(title), row.name);
            for (const ky::Argument& argument : row.arguments)
                QVERIFY2(page.contains("| `" + QByteArray(argument.name) + "` |"), argument.name);
        }
    }
}

QTEST_GUILESS_MAIN(tst_CommandPage)
#include "tst_CommandPage.moc"
