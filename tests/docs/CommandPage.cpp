#include "CommandPage.h"

#include "commands/ArgumentText.h"
#include "commands/Catalogue.h"

#include <QStringList>

using namespace ky;

namespace {

constexpr char kHead[] =
    "# Commands\n"
    "\n"
    "Generated from the tables in `commands/`; a test checks that it is current. `kyctl call NAME\n"
    "--help` shows the same for one command. How requests and answers travel: "
    "[daemon.md](daemon.md).\n"
    "\n"
    "Arguments are the keys of a JSON object. A flag is `true` or `false`, nothing else; a number "
    "may\n"
    "come as digits in a string; every other value needs the JSON type given here. Other keys are\n"
    "ignored. A missing or wrong argument is answered with 40002, its name and what was expected,\n"
    "before anything is done:\n"
    "\n"
    "    argument [volume]: not a whole number from 0 to 100\n"
    "\n"
    "Every answer has `ret_code`, `err_msg` and `create_on` in addition to what is listed here.\n"
    "Right is how much a command lets a client do: `view` the host, `operate` it or `administer` "
    "it.\n"
    "The daemon does not enforce it: it answers whoever reaches its port. Time is the longest "
    "that\n"
    "the command's own work takes, by the limits of the tools that it runs; commands without one "
    "are\n"
    "done in a moment.\n";

constexpr int kOfAnyCommand[] = {40001, 40002, 40004, 40005};

QString text(const char* words)
{
    return QString::fromUtf8(words);
}

/// A cell of a table: "|" would end it.
QString cell(const QString& words)
{
    return QString(words).replace(QLatin1Char('|'), QStringLiteral("\\|"));
}

QString code(const char* word)
{
    return *word == '\0' ? QString() : QStringLiteral("`%1`").arg(text(word));
}

QString line(const QStringList& cells)
{
    return QStringLiteral("| %1 |\n").arg(cells.join(QStringLiteral(" | ")));
}

QString head(const QStringList& titles)
{
    return line(titles) +
           QStringLiteral("|%1\n").arg(QStringLiteral("---|").repeated(titles.size()));
}

QString presence(const Argument& row)
{
    return *row.usual != '\0' ? QStringLiteral("`%1`").arg(text(row.usual)) : presenceOf(row);
}

QString valueOf(const Argument& row)
{
    QString value = expectationOf(row);
    if (*row.unitName != '\0')
        value += QStringLiteral(", %1").arg(text(row.unitName));
    return row.isSecret ? value + QStringLiteral("; secret") : value;
}

QString argumentLines(Rows<Argument> arguments, const QString& place)
{
    QString lines;
    for (const Argument& row : arguments) {
        const QString name = place + text(row.name);
        lines += line({QStringLiteral("`%1`").arg(name), cell(valueOf(row)), cell(presence(row)),
                       cell(text(row.summary))});
        const bool isList = row.kind == ValueKind::List;
        lines +=
            argumentLines(row.keys, name + (isList ? QStringLiteral("[].") : QStringLiteral(".")));
    }
    return lines;
}

QString argumentTable(const Command& row)
{
    if (row.arguments.isEmpty())
        return {};
    return QLatin1Char('\n') +
           head({QStringLiteral("Argument"), QStringLiteral("Is"), QStringLiteral("Without it"),
                 QStringLiteral("Meaning")}) +
           argumentLines(row.arguments, {});
}

QString answerTable(const Command& row)
{
    if (row.answer.isEmpty())
        return {};
    QString table =
        QLatin1Char('\n') + head({row.isEvent ? QStringLiteral("Holds") : QStringLiteral("Answer"),
                                  QStringLiteral("Meaning")});
    for (const Field& field : row.answer)
        table += line({code(field.name), cell(text(field.summary))});
    return table;
}

QString rightOf(const Command& row)
{
    QString right = text(nameOf(row.right));
    for (const Argument& argument : row.arguments) {
        if (argument.raisedRight > row.right)
            right += QStringLiteral(" (with `%1`: %2)")
                         .arg(text(argument.name), text(nameOf(argument.raisedRight)));
    }
    return right;
}

QString facts(const Command& row)
{
    QStringList facts{QStringLiteral("Right: %1").arg(rightOf(row))};
    if (row.port != kServicePort)
        facts << QStringLiteral("port %1").arg(row.port);
    if (row.isChange)
        facts << QStringLiteral("changes the host");
    if (row.limitMs > 0)
        facts << QStringLiteral("time: %1 s").arg((row.limitMs + 999) / 1000);
    QStringList codes;
    for (const int code : row.errors) {
        if (code != 0)
            codes << QString::number(code);
    }
    if (!codes.isEmpty())
        facts << QStringLiteral("errors: %1").arg(codes.join(QStringLiteral(", ")));
    return facts.join(QStringLiteral("; ")) + QStringLiteral(".\n");
}

QString section(const Command& row)
{
    QString section =
        QStringLiteral("\n### `%1` (%2)\n\n%3.\n%4")
            .arg(text(row.name))
            .arg(row.number)
            .arg(text(row.summary).left(1).toUpper() + text(row.summary).mid(1), facts(row));
    section += argumentTable(row);
    if (*row.requestData != '\0')
        section += QStringLiteral("\nData area of the request: %1.\n").arg(text(row.requestData));
    section += answerTable(row);
    if (qstrcmp(row.example, "{}") != 0)
        section +=
            QStringLiteral("\n    kyctl call %1 '%2'\n").arg(text(row.name), text(row.example));
    return section;
}

QString blockText(const Block& block)
{
    return block.first == 0 ? QString()
                            : QStringLiteral("%1 to %2").arg(block.first).arg(block.last);
}

QString blockTable()
{
    QString table = QStringLiteral("\n## Numbers\n\n") +
                    head({QStringLiteral("Subsystem"), QStringLiteral("Commands"),
                          QStringLiteral("Events"), QStringLiteral("Errors")});
    for (const CommandGroup* group : commandGroups())
        table += line({text(group->title), blockText(group->numbers),
                       blockText(group->eventNumbers), blockText(group->errorCodes)});
    return table +
           QStringLiteral("\n`echo` 2000, `upload` 5104, `link_lost` 4802, `link_good` 4803 "
                          "and `host_report` 6950 are fixed.\n");
}

QString errorTable()
{
    QString table = QStringLiteral("\n## Errors\n\n") +
                    head({QStringLiteral("Code"), QStringLiteral("Meaning")});
    for (const CommandGroup* group : commandGroups()) {
        for (const ErrorText& error : group->errors)
            table += line({QString::number(error.code), text(error.text)});
    }
    QStringList any;
    for (const int code : kOfAnyCommand)
        any << QString::number(code);
    return table +
           QStringLiteral("\n%1 may come from any command.\n").arg(any.join(QStringLiteral(", ")));
}

} // namespace

QByteArray commandPage()
{
    QString page = text(kHead) + blockTable();
    for (const CommandGroup* group : commandGroups()) {
        page += QStringLiteral("\n## %1\n").arg(text(group->title));
        for (const Command& row : group->rows)
            page += section(row);
    }
    return (page + errorTable()).toUtf8();
}
