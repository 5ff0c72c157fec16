#include "support/IniText.h"

#include "support/IniFormat.h"

#include <vector>

namespace ky {

namespace {

constexpr char kUtf8Mark[] = "\xef\xbb\xbf";

/// A key or the start of a group: from its first byte to the line end, the ";" or the end of the
/// text that ends it.
struct Line
{
    int start = 0;
    int end = 0;
    int equals = -1; ///< of a key: where its "=" stands
};

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isLineEnd(char c)
{
    return c == '\n' || c == '\r';
}

int skipBlanks(const QByteArray& text, int at)
{
    while (at < text.size() && isBlank(text.at(at)))
        ++at;
    return at;
}

int lineEndFrom(const QByteArray& text, int at)
{
    while (at < text.size() && !isLineEnd(text.at(at)))
        ++at;
    return at;
}

/// Past the rest of the line, which is a comment, and its line end.
int nextLineFrom(const QByteArray& text, int at)
{
    const int end = lineEndFrom(text, at);
    return qMin(end + (text.mid(end, 2) == "\r\n" ? 2 : 1), text.size());
}

/// Past the backslash, what it escapes, and the second half of a line end of two.
int pastEscape(const QByteArray& text, int at)
{
    const char escaped = at + 1 < text.size() ? text.at(at + 1) : '\0';
    const char next = at + 2 < text.size() ? text.at(at + 2) : '\0';
    const bool isPair = (escaped == '\n' && next == '\r') || (escaped == '\r' && next == '\n');
    return qMin(at + (isPair ? 3 : 2), text.size());
}

/// How a text ends that was cut in the middle of a line.
struct OpenEnd
{
    bool isQuoted = false;
    bool isBackslash = false; ///< alone, what it escapes is missing
    bool isLineEnd = false;   ///< an escaped one: the line goes on, with nothing
};

/// The next line from `at` on, which moves behind it. False at the end of the text.
bool nextLine(const QByteArray& text, int* at, Line* line, OpenEnd* open = nullptr)
{
    *line = {skipBlanks(text, *at), 0, -1};
    OpenEnd end;
    int i = line->start;
    while (i < text.size()) {
        const char c = text.at(i);
        if (c == ';' && i == line->start) {
            line->start = i = skipBlanks(text, lineEndFrom(text, i));
            continue;
        }
        if (!end.isQuoted && (c == ';' || isLineEnd(c)))
            break;
        if (c == '\\') {
            end.isBackslash = i + 1 == text.size();
            end.isLineEnd =
                !end.isBackslash && isLineEnd(text.at(i + 1)) && pastEscape(text, i) == text.size();
            i = pastEscape(text, i);
            continue;
        }
        if (c == '"')
            end.isQuoted = !end.isQuoted;
        if (c == '=' && !end.isQuoted && line->equals < 0)
            line->equals = i;
        ++i;
    }
    line->end = *at = i;
    if (i == line->start)
        return false;
    if (open)
        *open = end;
    return true;
}

int firstLineAt(const QByteArray& text)
{
    return text.startsWith(kUtf8Mark) ? int(sizeof kUtf8Mark) - 1 : 0;
}

bool isGroupLine(const QByteArray& text, const Line& line)
{
    return text.at(line.start) == '[';
}

/// What the group that a line starts puts in front of its keys: "WirelessCard/", or nothing.
QString prefixOf(const QByteArray& text, const Line& line)
{
    const int close = text.indexOf(']', line.start);
    const bool isClosed = close >= 0 && close < line.end;
    const int nameEnd = isClosed ? close : line.end;
    const QByteArray name = text.mid(line.start + 1, nameEnd - line.start - 1).trimmed();
    if (name.compare("general", Qt::CaseInsensitive) == 0)
        return {};
    if (name.compare("%general", Qt::CaseInsensitive) == 0)
        return QString::fromLatin1(name.mid(1)) + QLatin1Char('/');
    return plainIniName(name) + QLatin1Char('/');
}

QString fullKey(const QString& prefix, const QByteArray& text, const Line& line)
{
    int end = line.equals;
    while (end > line.start && (text.at(end - 1) == ' ' || text.at(end - 1) == '\t'))
        --end;
    return prefix + plainIniName(text.mid(line.start, end - line.start));
}

/// The lines that hold a key, in order.
std::vector<Line> linesOf(const QString& key, const QByteArray& text)
{
    std::vector<Line> lines;
    QString prefix;
    Line line;
    for (int at = firstLineAt(text); nextLine(text, &at, &line);) {
        if (isGroupLine(text, line))
            prefix = prefixOf(text, line);
        else if (line.equals >= 0 && fullKey(prefix, text, line) == key)
            lines.push_back(line);
    }
    return lines;
}

/// Where the line behind the last one of a group begins; -1 if there is no such group.
int endOfGroup(const QString& group, const QByteArray& text)
{
    const QString wanted = group.isEmpty() ? group : group + QLatin1Char('/');
    int end = -1;
    QString prefix;
    Line line;
    for (int at = firstLineAt(text); nextLine(text, &at, &line);) {
        if (isGroupLine(text, line))
            prefix = prefixOf(text, line);
        if (prefix == wanted)
            end = nextLineFrom(text, line.end);
    }
    return end;
}

/// `text` with the value of one line replaced; blanks behind the "=" stay.
void replaceValue(QByteArray* text, const Line& line, const QByteArray& value)
{
    int start = line.equals + 1;
    while (start < line.end && (text->at(start) == ' ' || text->at(start) == '\t'))
        ++start;
    const bool hasComment = line.end < text->size() && text->at(line.end) == ';';
    text->replace(start, line.end - start, hasComment ? value + ' ' : value);
}

} // namespace

void IniText::set(const QString& name, const QVariant& value)
{
    const QString key = normalisedIniKey(name);
    mendEnd();
    const QByteArray text = iniValue(value);
    const std::vector<Line> lines = linesOf(key, _content);
    for (auto line = lines.rbegin(); line != lines.rend(); ++line)
        replaceValue(&_content, *line, text);
    if (!lines.empty())
        return;
    const int slash = key.indexOf(QLatin1Char('/'));
    append(slash < 0 ? QString() : key.left(slash), iniKey(key.mid(slash + 1)) + '=' + text);
}

/// Closes what a damaged file leaves open at its end, or the next line would become part of it.
void IniText::mendEnd()
{
    OpenEnd open;
    Line line;
    int at = firstLineAt(_content);
    while (nextLine(_content, &at, &line, &open))
        ; // only how the last line ends is of interest
    if (open.isQuoted)
        _content += open.isBackslash ? "\n\"" : "\"";
    else if (open.isBackslash || open.isLineEnd)
        _content += '\n'; // an escaped line end adds nothing to a value
    const bool isEnded = !_content.isEmpty() && isLineEnd(_content.at(_content.size() - 1));
    if (!_content.isEmpty() && (!isEnded || open.isBackslash || open.isLineEnd))
        _content += '\n';
}

void IniText::append(const QString& group, const QByteArray& line)
{
    const int end = endOfGroup(group, _content);
    if (end >= 0)
        _content.insert(end, line + '\n');
    else
        _content += (_content.isEmpty() ? "" : "\n") + iniGroupLine(group) + '\n' + line + '\n';
}

} // namespace ky
