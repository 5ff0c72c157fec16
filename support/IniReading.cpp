#include "support/IniReading.h"

#include "support/IniFormat.h"

#include <QDataStream>
#include <QSettings>

#include <atomic>
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
        _isWhole = _fd >= 0 && write(_fd, content.constData(), size_t(content.size())) ==
                                   ssize_t(content.size());
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

std::optional<QVariantMap> readIniText(const QByteArray& text)
{
    QVariantMap values;
    if (text.isEmpty())
        return values;
    const MemoryFile file(text);
    if (!file.isWhole() || ::access(file.path().toLatin1().constData(), R_OK) != 0)
        return std::nullopt;
    const QSettings settings(file.path(), QSettings::IniFormat);
    const QStringList keys = settings.allKeys();
    for (const QString& key : keys)
        values.insert(key, canBeAsked(key) ? settings.value(key) : QVariant());
    if (settings.status() == QSettings::AccessError)
        return std::nullopt;
    return values;
}

bool readsAsChanged(const QByteArray& before, const QByteArray& after, const IniValues& values)
{
    std::optional<QVariantMap> old = readIniText(before);
    std::optional<QVariantMap> now = readIniText(after);
    if (!old || !now)
        return false;
    const QVariantMap wanted = asMap(values);
    for (auto value = wanted.begin(); value != wanted.end(); ++value) {
        if (!now->contains(value.key()) || !isReadFor(now->take(value.key()), value.value()))
            return false;
        old->remove(value.key());
    }
    if (old->keys() != now->keys())
        return false;
    for (auto value = old->begin(); value != old->end(); ++value) {
        if (bytesOf(now->value(value.key())) != bytesOf(value.value()))
            return false;
    }
    return true;
}

} // namespace ky
