#include "support/IniReading.h"

#include "support/InPlaceWrite.h"
#include "support/IniFormat.h"

#include <QDataStream>
#include <QSettings>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ky {

namespace {

/// A file in memory, which no folder lists and which ends with this object.
class MemoryFile
{
public:
    explicit MemoryFile(const QByteArray& content)
        : _fd(memfd_create("settings", MFD_CLOEXEC))
    {
        _isWhole = _fd >= 0 && writeAll(_fd, content);
        // QSettings goes by name, size and time to know a file again, and the number of a
        // descriptor comes back: each file has a time of its own.
        static std::atomic<qint64> next{0};
        const qint64 number = ++next;
        const timespec time = {time_t(number / 1000), long(number % 1000) * 1000000};
        const timespec times[] = {time, time};
        _isWhole = _isWhole && futimens(_fd, times) == 0;
    }
    ~MemoryFile()
    {
        if (_fd >= 0)
            close(_fd);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    bool isWhole() const { return _isWhole; }
    QString path() const { return QStringLiteral("/proc/self/fd/%1").arg(_fd); }

private:
    int _fd;
    bool _isWhole = false;
};

QByteArray bytesOf(const QVariant& value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << value;
    return bytes;
}

/// Numbers and booleans are read as their text.
bool isReadFor(const QVariant& read, const QVariant& value)
{
    if (read.userType() == value.userType() && read == value)
        return true;
    const int type = value.userType();
    if (type == QMetaType::QStringList || type == QMetaType::QVariantList)
        return read.toStringList() == value.toStringList();
    return read.userType() == QMetaType::QString && read.toString() == value.toString();
}

/// QSettings lists keys that it then asks for by another name, as "a/" for "a".
bool canBeAsked(const QString& key)
{
    return !key.isEmpty() && key == normalisedIniKey(key);
}

QVariantMap asMap(const IniValues& values)
{
    QVariantMap map;
    for (const auto& [key, value] : values)
        map.insert(normalisedIniKey(key), value);
    return map;
}

} // namespace

std::optional<QVariantMap> readIniText(const QByteArray& text, QString* error)
{
    QVariantMap values;
    if (text.isEmpty())
        return values;
    const MemoryFile file(text);
    if (!file.isWhole() || access(file.path().toLatin1().constData(), R_OK) != 0) {
        if (error)
            *error = QString::fromLocal8Bit(strerror(errno));
        return std::nullopt;
    }
    const QSettings settings(file.path(), QSettings::IniFormat);
    const QStringList keys = settings.allKeys();
    for (const QString& key : keys)
        values.insert(key, canBeAsked(key) ? settings.value(key) : QVariant());
    return values;
}

bool isChangedAsWanted(QVariantMap before, QVariantMap after, const IniValues& values)
{
    const QVariantMap wanted = asMap(values);
    for (auto value = wanted.begin(); value != wanted.end(); ++value) {
        if (!after.contains(value.key()) || !isReadFor(after.take(value.key()), value.value()))
            return false;
        before.remove(value.key());
    }
    if (before.keys() != after.keys())
        return false;
    for (auto value = before.begin(); value != before.end(); ++value) {
        if (bytesOf(after.value(value.key())) != bytesOf(value.value()))
            return false;
    }
    return true;
}

} // namespace ky
