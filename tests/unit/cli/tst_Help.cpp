#include "cli/CommandLine.h"
#include "cli/Help.h"

#include <QSet>
#include <QTest>

class tst_Help : public QObject
{
    Q_OBJECT

private slots:
    void everyGroupIsListed();
    void everyVerbHasHelp();
    void everyExampleIsAValidCommandLine();
    void namesAreUnique();
};

namespace {

/// The words of a command line as a shell parts them; single quotes hold a word together.
QStringList shellWords(const QString& line)
{
    QStringList words;
    QString word;
    bool isQuoted = false;
    for (const QChar c : line) {
        if (c == '\'') {
            isQuoted = !isQuoted;
        } else if (c == ' ' && !isQuoted) {
            words << word;
            word.clear();
        } else {
            word += c;
        }
    }
    return words << word;
}

} // namespace

void tst_Help::everyGroupIsListed()
{
    const QString help = ky::helpText(nullptr, nullptr);

    QVERIFY(help.contains("Example: kyctl "));
    QVERIFY(help.contains("Exit status: 0 done"));
    for (const ky::Group& group : ky::allGroups())
        QVERIFY2(help.contains(QString("\n  %1 ").arg(group.name)), group.name);
}

void tst_Help::everyVerbHasHelp()
{
    for (const ky::Group& group : ky::allGroups()) {
        const QString groupHelp = ky::helpText(&group, nullptr);
        QVERIFY2(groupHelp.contains("Example: kyctl "), group.name);
        for (const ky::Verb& verb : group.verbs) {
            const QString help = ky::helpText(&group, &verb);
            QVERIFY2(help.startsWith(QString("Usage: kyctl %1").arg(group.name)), group.name);
            QVERIFY2(help.contains(QString("\nExample: %1\n").arg(verb.example)), verb.example);
            QVERIFY2(groupHelp.contains(QString::fromUtf8(verb.summary)), verb.summary);
            for (const ky::Option& option : verb.options) {
                QVERIFY2(help.contains(option.name), option.name);
                QVERIFY2(*option.summary != '\0', option.name);
            }
        }
    }
}

void tst_Help::everyExampleIsAValidCommandLine()
{
    for (const ky::Group& group : ky::allGroups()) {
        for (const ky::Verb& verb : group.verbs) {
            const QStringList words = shellWords(QString::fromUtf8(verb.example));
            QCOMPARE(words.first(), QString("kyctl"));

            const ky::CommandLine line = ky::parseCommandLine(words.mid(1));

            QVERIFY2(line.error.isEmpty(),
                     qPrintable(QString::fromUtf8(verb.example) + ": " + line.error));
            QVERIFY2(QString(line.group->name) == group.name, verb.example);
            QVERIFY2(QString(line.verb->name) == verb.name, verb.example);
        }
    }
}

void tst_Help::namesAreUnique()
{
    QSet<QString> groups;
    for (const ky::Group& group : ky::allGroups()) {
        QVERIFY2(!groups.contains(group.name), group.name);
        groups.insert(group.name);
        QSet<QString> verbs;
        for (const ky::Verb& verb : group.verbs) {
            QVERIFY2(!verbs.contains(verb.name), verb.name);
            verbs.insert(verb.name);
            QVERIFY(verb.run != nullptr);
        }
    }
}

QTEST_GUILESS_MAIN(tst_Help)
#include "tst_Help.moc"
