#pragma once

#include <QByteArray>
#include <QString>

namespace ky {

/// One NetworkManager profile: groups of keys, in the dialect that NetworkManager itself reads and
/// writes. QSettings does not: it cuts a value at ";", splits it at ",", takes a backslash
/// otherwise and knows no UTF-8, and it writes the whole file anew in its own order.
///
/// Total on any bytes: what is neither a group, a key nor a comment is skipped, and stays where it
/// is. Of a key that stands twice the last one counts. Only a key that is removed changes content.
class KeyFile
{
public:
    /// Reads the content of a keyfile; one that cannot be read is an empty one.
    static KeyFile read(const QString& path);

    KeyFile() = default;
    explicit KeyFile(const QByteArray& content)
        : _content(content)
    {}

    /// Whether the key is there and has exactly this text.
    bool holds(const char* group, const char* key, const QString& text) const;

    /// The text of a key: blanks in front of it are dropped, the escapes \s \n \t \r and \\ are
    /// resolved, others stay as they stand. Empty if the key is absent.
    QString value(const char* group, const char* key) const;

    /// The bytes of a key that holds an SSID: plain text, with ";" written as "\\;", or a list of
    /// decimal numbers, each with a ";" behind it.
    QByteArray ssid(const char* group, const char* key) const;

    /// Takes out each line that holds the key; all other bytes stay. False if there is none.
    bool remove(const char* group, const char* key);

    const QByteArray& content() const { return _content; }

private:
    QByteArray _content;
};

/// Takes a key out of a keyfile on the disk, whose owner, mode and other bytes stay. True also if
/// the key was not there; on false the file is as it was and `error` (may be null) tells why.
bool removeFromKeyFile(const QString& path, const char* group, const char* key,
                       QString* error = nullptr);

} // namespace ky
