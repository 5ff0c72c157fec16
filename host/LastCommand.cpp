#include "host/LastCommand.h"

namespace ky {

namespace {

/// Whether the sign at `at` parts commands. In "2>&1", ">&2" and ">|" it belongs to a redirection.
bool isSeparator(const QString& line, int at)
{
    if (!QStringLiteral("|;&\n").contains(line.at(at)))
        return false;
    return at == 0 || (line.at(at - 1) != QLatin1Char('>') && line.at(at - 1) != QLatin1Char('<'));
}

/// Where the last command begins that is not empty. A trailing separator ends a command and
/// begins none: "a; grep b;" ends in grep.
int lastCommandStart(const QString& line)
{
    int start = 0;
    int candidate = -1;
    QChar quote;
    for (int i = 0; i < line.size(); ++i) {
        const QChar c = line.at(i);
        if (c == QLatin1Char('\\') && quote != QLatin1Char('\'')) {
            ++i;
        } else if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
        } else if (c == QLatin1Char('\'') || c == QLatin1Char('"')) {
            quote = c;
        } else if (isSeparator(line, i)) {
            candidate = i + 1;
            continue;
        }
        if (candidate >= 0 && !c.isSpace()) {
            start = candidate;
            candidate = -1;
        }
    }
    return start;
}

} // namespace

QString lastCommandWord(const QString& line)
{
    QString command = line.mid(lastCommandStart(line)).trimmed();
    for (int i = 0; i < command.size(); ++i) {
        if (command.at(i).isSpace() || QStringLiteral("|;&").contains(command.at(i)))
            return command.left(i);
    }
    return command;
}

} // namespace ky
