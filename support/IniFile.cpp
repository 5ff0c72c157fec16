#include "support/IniFile.h"

#include "support/IniReading.h"
#include "support/IniText.h"
#include "support/PrivateFile.h"
#include "support/SettingsLock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QSettings>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>

namespace ky {

namespace {

constexpr char kNotStored[] = "settings not stored: ";

bool fail(QString* error, const char* attempt, const QString& file, const QString& reason)
{
    if (error)
        *error = QStringLiteral("%1 [%2]: %3").arg(QLatin1String(attempt), file, reason);
    return false;
}

/// A device or a pipe keeps nothing of what it takes.
bool canKeepSettings(const QString& path)
{
    struct stat facts = {};
    return stat(QFile::encodeName(path).constData(), &facts) != 0 || S_ISREG(facts.st_mode);
}

/// The content of a file; empty if there is none. What cannot be read for another reason is not
/// taken for an empty one: its keys would be lost.
std::optional<QByteArray> contentOf(const QString& path, QString* error)
{
    struct stat facts = {};
    if (stat(QFile::encodeName(path).constData(), &facts) != 0 && errno == ENOENT)
        return QByteArray();
    QFile file(path);
    QByteArray content;
    if (file.open(QIODevice::ReadOnly))
        content = file.readAll();
    if (file.error() == QFile::NoError)
        return content;
    fail(error, "read", path, file.errorString());
    return std::nullopt;
}

qint64 timeMs(const struct stat& facts)
{
    return qint64(facts.st_mtim.tv_sec) * 1000 + facts.st_mtim.tv_nsec / 1000000;
}

/// QSettings takes a file of the same size and the same millisecond for the one that it has in its
/// cache, and the clock of a file system ticks slower than that: the new file gets a time of its
/// own.
void makeLaterThan(const QByteArray& name, const struct stat& before)
{
    struct stat now = {};
    if (stat(name.constData(), &now) != 0 || timeMs(now) > timeMs(before))
        return;
    const qint64 laterMs = timeMs(before) + 1;
    const timespec time = {time_t(laterMs / 1000), long(laterMs % 1000) * 1000000};
    const timespec times[] = {time, time};
    utimensat(AT_FDCWD, name.constData(), times, 0);
}

bool replace(const QString& file, const QByteArray& content, QString* error)
{
    const QByteArray name = QFile::encodeName(file);
    struct stat before = {};
    const bool isNew = stat(name.constData(), &before) != 0;
    if (!replacePrivateFile(file, content, error))
        return false;
    if (!isNew)
        makeLaterThan(name, before);
    return true;
}

/// The text with the values set, if QSettings reads these and nothing else anew from it.
std::optional<QByteArray> changed(const QString& file, const QByteArray& before,
                                  const IniValues& values, QString* error)
{
    IniText text(before);
    for (const auto& [key, value] : values)
        text.set(key, value);
    QString reason;
    const std::optional<QVariantMap> old = readIniText(before, &reason);
    const std::optional<QVariantMap> now = readIniText(text.content(), &reason);
    if (!old || !now)
        fail(error, "check new text of", file, reason);
    else if (!isChangedAsWanted(*old, *now, values))
        fail(error, "check new text of", file, QStringLiteral("it does not read as it should"));
    else
        return text.content();
    return std::nullopt;
}

} // namespace

QVariant readIniValue(const QString& file, const QString& key)
{
    return QSettings(file, QSettings::IniFormat).value(key);
}

bool writeIniValues(const QString& file, const IniValues& values, QString* error)
{
    static QMutex mutex;
    const QMutexLocker locker(&mutex);
    QDir().mkpath(QFileInfo(file).absolutePath());
    if (!canKeepSettings(file))
        return fail(error, "write", file, QStringLiteral("not a file"));
    const SettingsLock lock(file);
    if (lock.isHeldByOthers())
        return fail(error, "lock", file, QStringLiteral("held by ") + lock.holder());
    const std::optional<QByteArray> before = contentOf(file, error);
    if (!before)
        return false;
    const std::optional<QByteArray> after = changed(file, *before, values, error);
    if (!after)
        return false;
    return *after == *before || replace(file, *after, error);
}

QString notStored(const QString& reason)
{
    return QLatin1String(kNotStored) + reason;
}

bool isNotStored(const QString& lastError)
{
    return lastError.startsWith(QLatin1String(kNotStored));
}

} // namespace ky
