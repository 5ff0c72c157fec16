#include "cli/Help.h"

#include "cli/Table.h"

namespace ky {

namespace {

constexpr char kGlobalOptions[] =
    "Options for every command:\n"
    "  --host H        address of the peer (127.0.0.1)\n"
    "  --port P        its port (19208)\n"
    "  --timeout MS    how long to wait for an answer (5000)\n"
    "  --json          print JSON for scripts\n"
    "  --verbose       show what the library logs\n"
    "  --help          help for kyctl, a group or a command\n"
    "\n"
    "Exit status: 0 done, 1 the peer answered with an error, 2 wrong usage, 3 no answer.\n";

QString usageLine(const Group& group, const Verb& verb)
{
    QStringList words{QStringLiteral("kyctl"), QString::fromUtf8(group.name),
                      QString::fromUtf8(verb.name), QString::fromUtf8(verb.arguments)};
    words.removeAll(QString());
    return words.join(QLatin1Char(' '));
}

QString listing(const QList<QStringList>& rows)
{
    QString text;
    const QStringList lines = alignColumns(rows);
    for (const QString& line : lines)
        text += QStringLiteral("  ") + line + QLatin1Char('\n');
    return text;
}

QString generalHelp()
{
    QList<QStringList> rows;
    for (const Group& group : allGroups())
        rows << QStringList{QString::fromUtf8(group.name), QString::fromUtf8(group.summary)};
    return QStringLiteral("Usage: kyctl [OPTION…] COMMAND [ARGUMENT…]\n"
                          "Speaks to any daemon that serves the frame protocol.\n\nCommands:\n") +
           listing(rows) + QStringLiteral("\nExample: kyctl --host 10.0.0.7 commands\n\n") +
           QString::fromUtf8(kGlobalOptions);
}

QString groupHelp(const Group& group)
{
    QList<QStringList> rows;
    for (const Verb& verb : group.verbs)
        rows << QStringList{usageLine(group, verb).mid(int(sizeof("kyctl"))),
                            QString::fromUtf8(verb.summary)};
    return QStringLiteral("Usage: kyctl %1 VERB [ARGUMENT…]\n%2.\n\nVerbs:\n")
               .arg(QString::fromUtf8(group.name), QString::fromUtf8(group.summary)) +
           listing(rows) +
           QStringLiteral("\nExample: %1\n").arg(QString::fromUtf8(group.verbs.front().example));
}

QString verbHelp(const Group& group, const Verb& verb)
{
    QString text = QStringLiteral("Usage: %1%2\n%3.\n")
                       .arg(usageLine(group, verb),
                            verb.options.empty() ? QString() : QStringLiteral(" [OPTION…]"),
                            QString::fromUtf8(verb.summary));
    QList<QStringList> rows;
    for (const Option& option : verb.options)
        rows << QStringList{
            QStringLiteral("%1 %2")
                .arg(QString::fromUtf8(option.name), QString::fromUtf8(option.valueName))
                .trimmed(),
            QString::fromUtf8(option.summary)};
    if (!rows.isEmpty())
        text += QStringLiteral("\nOptions:\n") + listing(rows);
    return text + QStringLiteral("\nExample: %1\n").arg(QString::fromUtf8(verb.example));
}

} // namespace

QString helpText(const Group* group, const Verb* verb)
{
    if (!group)
        return generalHelp();
    return verb ? verbHelp(*group, *verb) : groupHelp(*group);
}

} // namespace ky
