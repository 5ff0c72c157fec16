#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

namespace ky {

/// The text of an INI file, to be changed key by key and read by QSettings (IniFormat).
///
/// Nothing but the value that is set changes: comments, order, line ends, keys and groups that
/// nobody here knows and lines that say nothing stay as they are, byte for byte. QSettings would
/// write the whole file anew, without its comments.
///
/// Total on any bytes. It takes lines apart as QSettings does: quotes and a backslash at the end
/// carry a line on, ";" ends it.
class IniText
{
public:
    explicit IniText(const QByteArray& content)
        : _content(content)
    {}

    /// Sets "group/key", or a key of no group. A key that stands several times is set in each
    /// place, whichever of them is read; a new one goes to the end of its group, a new group to the
    /// end of the text.
    void set(const QString& name, const QVariant& value);

    const QByteArray& content() const { return _content; }

private:
    void mendEnd();
    void append(const QString& group, const QByteArray& line);

    QByteArray _content;
};

} // namespace ky
