#pragma once

#include <QString>

#include <initializer_list>

namespace ky {

/// A piece of a shell line that has been composed by shellPart() and goes into another line as it
/// stands.
class ShellPart
{
public:
    ShellPart() = default;
    const QString& text() const { return _text; }

private:
    friend ShellPart shellPart(const char*, std::initializer_list<class ShellValue>);
    QString _text;
};

/// What fills one marker: text from anywhere, escaped where it lands, or a composed piece.
class ShellValue
{
public:
    ShellValue(const QString& text)
        : _text(text)
    {}
    ShellValue(const char* text)
        : _text(QString::fromUtf8(text))
    {}
    ShellValue(int number)
        : _text(QString::number(number))
    {}
    ShellValue(const ShellPart& part)
        : _text(part.text())
        , _isComposed(true)
    {}

    const QString& text() const { return _text; }
    bool isComposed() const { return _isComposed; }

private:
    QString _text;
    bool _isComposed = false;
};

/// Fills the markers %1 to %99 of a shell line in one pass: a value that itself holds a marker is
/// not filled again. Each value is escaped for the quoting in force at its marker (bare, single
/// or double quotes), so that the tool receives exactly the value and no value can end a quote or
/// start a command. A value without shell metacharacters leaves the line as the template reads;
/// an empty one leaves nothing. A marker without a value stays. The template is UTF-8.
QString shellLine(const char* lineTemplate, std::initializer_list<ShellValue> values);

/// The same for a piece of a line. The quoting starts bare, so the piece must be whole: it closes
/// each quote that it opens, and its marker in the outer line stands bare.
ShellPart shellPart(const char* partTemplate, std::initializer_list<ShellValue> values);

template <typename... Values>
QString shellLine(const char* lineTemplate, const Values&... values)
{
    return shellLine(lineTemplate, std::initializer_list<ShellValue>{ShellValue(values)...});
}

template <typename... Values>
ShellPart shellPart(const char* partTemplate, const Values&... values)
{
    return shellPart(partTemplate, std::initializer_list<ShellValue>{ShellValue(values)...});
}

} // namespace ky
