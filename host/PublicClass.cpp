#include "host/PublicClass.h"

#include "support/AtomicFile.h"
#include "support/JsonText.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QMutex>
#include <QSettings>
#include <QTemporaryDir>

namespace {

constexpr int kIniLockMs = 5000;

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

/// The content of `file` with one value changed. QSettings does the formatting, on a copy, since
/// its own way of saving gives the file to the user of this process.
bool changeIni(const QString& file, const QString& key, const QVariant& value, QByteArray* content)
{
    QTemporaryDir folder;
    const QString copy = folder.filePath(QStringLiteral("copy.ini"));
    if (QFile::exists(file) && !QFile::copy(file, copy))
        return false;
    QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner);
    {
        QSettings settings(copy, QSettings::IniFormat);
        settings.setValue(key, value);
        settings.sync();
        if (settings.status() != QSettings::NoError)
            return false;
    }
    *content = readFile(copy);
    return true;
}

} // namespace

PublicClass::PublicClass()
    : applicationDir(QDir::currentPath())
{}

PublicClass::~PublicClass() = default;

PublicClass* PublicClass::init()
{
    static PublicClass instance;
    return &instance;
}

QVariant PublicClass::getJsonVariant(const QByteArray& text)
{
    return ky::parseJson(text);
}

QVariant PublicClass::getJsonVariant(const QString& path)
{
    return ky::parseJson(readFile(path));
}

QByteArray PublicClass::qVariantToByteArray(const QVariant& value,
                                            const QJsonDocument::JsonFormat& format) const
{
    return ky::jsonText(value, format);
}

bool PublicClass::isJson(const QByteArray& text)
{
    return ky::parseJson(text).isValid();
}

bool PublicClass::writeJsonFile(const QString& path, const QVariant& value,
                                QJsonDocument::JsonFormat format)
{
    const QByteArray text = ky::jsonText(value, format);
    return !text.isEmpty() && ky::replaceFile(path, text);
}

QVariant PublicClass::readIni(const QString& file, const QString& key)
{
    return QSettings(file, QSettings::IniFormat).value(key);
}

bool PublicClass::writeIni(const QString& file, const QString& key, const QVariant& value)
{
    static QMutex mutex;
    const QMutexLocker locker(&mutex);
    QDir().mkpath(QFileInfo(file).absolutePath());
    // The lock that QSettings itself takes while it saves: another process, or a QSettings object
    // of this one, does not save in between.
    QLockFile lock(file + QStringLiteral(".lock"));
    if (!lock.tryLock(kIniLockMs))
        return false;
    QByteArray content;
    return changeIni(file, key, value, &content) && ky::replaceFile(file, content);
}

bool PublicClass::remakePath(const QString& path)
{
    return QDir().mkpath(path) && QFileInfo(path).isWritable();
}

bool PublicClass::getMask1Bits(const QString& mask, int& bits)
{
    const QStringList octets = mask.split(QLatin1Char('.'));
    if (octets.size() != 4)
        return false;
    quint32 value = 0;
    for (const QString& octet : octets) {
        bool isNumber = false;
        const uint number = octet.toUInt(&isNumber);
        if (!isNumber || number > 255 || octet.size() > 3 || !octet.at(0).isDigit())
            return false;
        value = value << 8 | number;
    }
    const quint32 zeros = ~value;
    if ((zeros & (zeros + 1)) != 0)
        return false;
    bits = __builtin_popcount(value);
    return true;
}
