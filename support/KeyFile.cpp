#include "support/KeyFile.h"

#include "support/AtomicFile.h"

#include <QFile>

#include <optional>

namespace ky {

namespace {

bool isBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// A stretch of the content, so that reading a thousand profiles copies none of them.
struct Span
{
    const char* from = nullptr;
    const char* to = nullptr;

    int size() const { return int(to - from); }
    bool is(const char* text) const
    {
        return size() == int(qstrlen(text)) && qstrncmp(from, text, uint(size())) == 0;
    }
};

/// Walks over the lines and knows the group that each stands in.
class Lines
{
public:
    explicit Lines(const QByteArray& content)
        : _next(content.constData())
        , _end(content.constData() + content.size())
    {}

    bool next()
    {
        if (_next == _end)
            return false;
        _whole.from = _next;
        const void* feed = memchr(_next, '\n', size_t(_end - _next));
        _next = feed ? static_cast<const char*>(feed) + 1 : _end;
        _whole.to = _next;
        _line = stripped();
        if (_line.size() > 0 && *_line.from == '[')
            _group = groupName();
        return true;
    }

    /// The line with its line end, as it stands in the content.
    Span whole() const { return _whole; }

    /// Where the value begins, if this line holds the key.
    std::optional<Span> valueOf(const char* group, const char* key) const
    {
        if (_line.size() == 0 || *_line.from == '#' || *_line.from == '[' || !_group.is(group))
            return std::nullopt;
        const void* sign = memchr(_line.from, '=', size_t(_line.size()));
        if (!sign)
            return std::nullopt;
        Span name{_line.from, static_cast<const char*>(sign)};
        Span value{name.to + 1, _line.to};
        while (name.size() > 0 && isBlank(name.to[-1]))
            --name.to;
        while (value.size() > 0 && isBlank(*value.from))
            ++value.from;
        if (!name.is(key))
            return std::nullopt;
        return value;
    }

private:
    Span stripped() const
    {
        Span line = _whole;
        if (line.size() > 0 && line.to[-1] == '\n')
            --line.to;
        if (line.size() > 0 && line.to[-1] == '\r')
            --line.to;
        while (line.size() > 0 && isBlank(*line.from))
            ++line.from;
        return line;
    }

    Span groupName() const
    {
        const char* from = _line.from + 1;
        const void* end = memchr(from, ']', size_t(_line.to - from));
        return end ? Span{from, static_cast<const char*>(end)} : Span{from, from};
    }

    const char* _next;
    const char* _end;
    Span _whole;
    Span _line;
    Span _group;
};

std::optional<Span> lastValue(const QByteArray& content, const char* group, const char* key)
{
    std::optional<Span> found;
    Lines lines(content);
    while (lines.next()) {
        if (const std::optional<Span> value = lines.valueOf(group, key))
            found = value;
    }
    return found;
}

char resolved(char escape)
{
    switch (escape) {
    case 's':
        return ' ';
    case 'n':
        return '\n';
    case 't':
        return '\t';
    case 'r':
        return '\r';
    case '\\':
        return '\\';
    default:
        return '\0';
    }
}

QByteArray unescaped(Span value)
{
    QByteArray text;
    text.reserve(value.size());
    for (const char* at = value.from; at < value.to; ++at) {
        const char c = *at == '\\' && at + 1 < value.to ? resolved(at[1]) : '\0';
        text += c != '\0' ? c : *at;
        if (c != '\0')
            ++at;
    }
    return text;
}

/// Reads "82;111;98;": numbers from 0 to 255 of at most three digits, each with a ";" behind it,
/// blanks around them. Anything else is no list.
std::optional<QByteArray> byteList(const QByteArray& text)
{
    QByteArray bytes;
    int at = 0;
    const auto skipBlanks = [&] {
        while (at < text.size() && isBlank(text.at(at)))
            ++at;
    };
    for (skipBlanks(); at < text.size(); skipBlanks()) {
        int number = 0;
        const int first = at;
        while (at < text.size() && at - first < 3 && isDigit(text.at(at)))
            number = number * 10 + (text.at(at++) - '0');
        const bool hasDigits = at > first;
        skipBlanks();
        if (!hasDigits || number > 255 || at == text.size() || text.at(at++) != ';')
            return std::nullopt;
        bytes += char(number);
    }
    if (bytes.isEmpty())
        return std::nullopt;
    return bytes;
}

} // namespace

KeyFile KeyFile::read(const QString& path)
{
    QFile file(path);
    // Unbuffered: one read of the whole, without the 16 KiB that a buffered file sets up first.
    return file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) ? KeyFile(file.readAll())
                                                                  : KeyFile();
}

bool KeyFile::holds(const char* group, const char* key, const QString& text) const
{
    const std::optional<Span> value = lastValue(_content, group, key);
    return value && QString::fromUtf8(unescaped(*value)) == text;
}

QString KeyFile::value(const char* group, const char* key) const
{
    const std::optional<Span> value = lastValue(_content, group, key);
    return value ? QString::fromUtf8(unescaped(*value)) : QString();
}

QByteArray KeyFile::ssid(const char* group, const char* key) const
{
    const std::optional<Span> value = lastValue(_content, group, key);
    if (!value)
        return {};
    QByteArray text = unescaped(*value);
    if (const std::optional<QByteArray> bytes = byteList(text))
        return *bytes;
    return text.replace("\\;", ";");
}

bool KeyFile::remove(const char* group, const char* key)
{
    QByteArray kept;
    kept.reserve(_content.size());
    Lines lines(_content);
    while (lines.next()) {
        if (!lines.valueOf(group, key))
            kept.append(lines.whole().from, lines.whole().size());
    }
    const bool hasChanged = kept.size() != _content.size();
    _content = kept;
    return hasChanged;
}

bool removeFromKeyFile(const QString& path, const char* group, const char* key, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("open [%1]: %2").arg(path, file.errorString());
        return false;
    }
    KeyFile profile(file.readAll());
    file.close();
    return !profile.remove(group, key) || replaceFile(path, profile.content(), error);
}

} // namespace ky
