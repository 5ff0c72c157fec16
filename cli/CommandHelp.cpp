#include "cli/CommandHelp.h"

#include "cli/Table.h"
#include "commands/ArgumentText.h"
#include "commands/Catalogue.h"
#include "support/JsonText.h"

#include <QMap>

namespace ky {

namespace {

QString text(const char* words)
{
    return QString::fromUtf8(words);
}

QString sentence(const QString& words)
{
    return words.left(1).toUpper() + words.mid(1) + QLatin1Char('.');
}

QString listing(const char* title, const QList<QStringList>& rows)
{
    if (rows.isEmpty())
        return {};
    QString lines = QStringLiteral("\n%1:\n").arg(text(title));
    const QStringList aligned = alignColumns(rows);
    for (const QString& line : aligned)
        lines += QStringLiteral("  ") + line + QLatin1Char('\n');
    return lines;
}

/// "40 by default" for what holds without it, else when it has to be there.
QString presenceText(const Argument& row)
{
    const QString presence = presenceOf(row);
    return *row.usual != '\0' ? QStringLiteral("%1 by default").arg(presence) : presence;
}

QString wantedText(const Argument& row)
{
    QStringList parts{expectationOf(row)};
    if (*row.unitName != '\0')
        parts.first() += QStringLiteral(" (%1)").arg(text(row.unitName));
    parts << presenceText(row);
    if (row.isSecret)
        parts << QStringLiteral("secret");
    parts.removeAll(QString());
    return parts.join(QStringLiteral("; "));
}

/// The keys of a map or of a list's entries stand below it, a little to the right.
void addArguments(Rows<Argument> arguments, const QString& indent, QList<QStringList>* rows)
{
    for (const Argument& row : arguments) {
        *rows << QStringList{indent + text(row.name), text(row.summary), wantedText(row)};
        addArguments(row.keys, indent + QStringLiteral("  "), rows);
    }
}

QList<QStringList> answerRows(const Command& row)
{
    QList<QStringList> rows;
    for (const Field& field : row.answer)
        rows << QStringList{text(field.name), text(field.summary).remove(QLatin1Char('`'))};
    return rows;
}

QList<QStringList> errorRows(const Command& row)
{
    QList<QStringList> rows;
    for (const int code : row.errors) {
        if (code != 0)
            rows << QStringList{QString::number(code), errorTextOf(code)};
    }
    return rows;
}

QString rightText(const Command& row)
{
    QString right = QStringLiteral("right: %1").arg(text(nameOf(row.right)));
    for (const Argument& argument : row.arguments) {
        if (argument.raisedRight > row.right)
            right += QStringLiteral(" (with %1: %2)")
                         .arg(text(argument.name), text(nameOf(argument.raisedRight)));
    }
    return right;
}

QString factsText(const Command& row)
{
    QString facts = QStringLiteral("%1 %2; %3")
                        .arg(row.isEvent ? QStringLiteral("Event") : QStringLiteral("Command"))
                        .arg(row.number)
                        .arg(rightText(row));
    if (row.isChange)
        facts += QStringLiteral("; changes the host");
    if (row.limitMs > 0)
        facts += QStringLiteral("; takes up to %1 s").arg((row.limitMs + 999) / 1000);
    return facts;
}

QString exampleText(const Command& row)
{
    if (row.isEvent)
        return QStringLiteral("kyctl watch %1").arg(text(row.name));
    const bool hasArguments = qstrcmp(row.example, "{}") != 0;
    return hasArguments
               ? QStringLiteral("kyctl call %1 '%2'").arg(text(row.name), text(row.example))
               : QStringLiteral("kyctl call %1").arg(text(row.name));
}

QVariantList argumentList(Rows<Argument> arguments)
{
    QVariantList list;
    for (const Argument& row : arguments) {
        QVariantMap map{{QStringLiteral("name"), text(row.name)},
                        {QStringLiteral("summary"), text(row.summary)},
                        {QStringLiteral("value"), expectationOf(row)},
                        {QStringLiteral("unit"), text(row.unitName)},
                        {QStringLiteral("presence"), presenceText(row)},
                        {QStringLiteral("is_secret"), row.isSecret}};
        if (!row.keys.isEmpty())
            map.insert(QStringLiteral("keys"), argumentList(row.keys));
        list << map;
    }
    return list;
}

QVariantMap entryOf(const Command& row)
{
    QVariantMap answer;
    for (const Field& field : row.answer)
        answer.insert(text(field.name), text(field.summary));
    QVariantMap errors;
    for (const QStringList& error : errorRows(row))
        errors.insert(error.first(), error.last());
    return {
        {QStringLiteral("number"), row.number},
        {QStringLiteral("name"), text(row.name)},
        {QStringLiteral("kind"), row.isEvent ? QStringLiteral("event") : QStringLiteral("command")},
        {QStringLiteral("summary"), text(row.summary)},
        {QStringLiteral("right"), text(nameOf(row.right))},
        {QStringLiteral("is_change"), row.isChange},
        {QStringLiteral("limit_ms"), row.limitMs},
        {QStringLiteral("arguments"), argumentList(row.arguments)},
        {QStringLiteral("answer"), answer},
        {QStringLiteral("errors"), errors},
        {QStringLiteral("example"), parseJson(row.example)}};
}

/// The rows of the service's port, by number.
QVariantList entries()
{
    QMap<int, QVariantMap> byNumber;
    for (const CommandGroup* group : commandGroups()) {
        for (const Command& row : group->rows) {
            if (row.port == kServicePort)
                byNumber.insert(row.number, entryOf(row));
        }
    }
    QVariantList list;
    for (const QVariantMap& entry : qAsConst(byNumber))
        list << entry;
    return list;
}

} // namespace

QString commandHelp(const Command& row)
{
    QList<QStringList> arguments;
    addArguments(row.arguments, {}, &arguments);
    QString help =
        row.isEvent
            ? QStringLiteral("Usage: kyctl watch %1\n").arg(text(row.name))
            : QStringLiteral("Usage: kyctl call %1%2\n")
                  .arg(text(row.name), arguments.isEmpty() ? QString() : QStringLiteral(" JSON"));
    help += sentence(text(row.summary)) + QLatin1Char('\n');
    help += listing("Arguments", arguments);
    if (*row.requestData != '\0')
        help += QStringLiteral("\nData area: %1\n").arg(text(row.requestData));
    help += listing(row.isEvent ? "Holds" : "Answer", answerRows(row));
    help += listing("Errors", errorRows(row));
    return help + QStringLiteral("\n%1.\n\nExample: %2\n").arg(factsText(row), exampleText(row));
}

QString commandTable()
{
    return tableText(
        entries(),
        {{"number", "NUMBER"}, {"name", "NAME"}, {"kind", "KIND"}, {"summary", "SUMMARY"}});
}

QVariantMap commandList()
{
    return {{QStringLiteral("commands"), entries()}};
}

} // namespace ky
