#include "host/IniFile.h"

#include "support/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QMutex>
#include <QSettings>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>

namespace ky {

namespace {

constexpr int kLockMs = 5000;

/// QSettings does the formatting, on a copy: its own way of saving gives the file to the user of
/// this process.
bool changeCopy(const QString& copy, const QString& key, const QVariant& value)
{
    QSettings settings(copy, QSettings::IniFormat);
    settings.setAtomicSyncRequired(false); // the copy is nobody's: no lock, no disk flush
    settings.setValue(key, value);
    settings.sync();
    return settings.status() == QSettings::NoError;
}

/// The content of `file` with one value changed.
bool changedContent(const QString& file, const QString& key, const QVariant& value,
                    QByteArray* content)
{
    const QTemporaryDir folder;
    const QString copy = folder.filePath(QStringLiteral("copy.ini"));
    if (!folder.isValid() || (QFile::exists(file) && !QFile::copy(file, copy)))
        return false;
    QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner);
    QFile changed(copy);
    if (!changeCopy(copy, key, value) || !changed.open(QIODevice::ReadOnly))
        return false;
    *content = changed.readAll();
    return true;
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

bool replace(const QString& file, const QByteArray& content)
{
    const QByteArray name = QFile::encodeName(file);
    struct stat before = {};
    const bool isNew = stat(name.constData(), &before) != 0;
    if (!replaceFile(file, content))
        return false;
    if (!isNew)
        makeLaterThan(name, before);
    return true;
}

} // namespace

QVariant readIniValue(const QString& file, const QString& key)
{
    return QSettings(file, QSettings::IniFormat).value(key);
}

bool writeIniValue(const QString& file, const QString& key, const QVariant& value)
{
    static QMutex mutex;
    const QMutexLocker locker(&mutex);
    QDir().mkpath(QFileInfo(file).absolutePath());
    // The lock that QSettings itself takes while it saves: another process, or a QSettings object
    // of this one, does not save in between.
    QLockFile lock(file + QStringLiteral(".lock"));
    if (!lock.tryLock(kLockMs))
        return false;
    QByteArray content;
    return changedContent(file, key, value, &content) && replace(file, content);
}

} // namespace ky
