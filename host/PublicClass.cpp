#include "host/PublicClass.h"

#include "support/AtomicFile.h"
#include "support/IniFile.h"
#include "support/JsonText.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>

namespace {

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

/// JSON text of a value that is no document by itself, taken out of a list of that value.
QByteArray singleValueText(const QVariant& value)
{
    const QJsonValue json = QJsonValue::fromVariant(value);
    if (json.isNull() && value.userType() != QMetaType::Nullptr)
        return {};
    const QByteArray list = QJsonDocument(QJsonArray{json}).toJson(QJsonDocument::Compact);
    return list.mid(1, list.size() - 2);
}

bool isAsciiDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
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
    const QByteArray text = ky::jsonText(value, format);
    return text.isEmpty() ? singleValueText(value) : text;
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
    return ky::readIniValue(file, key);
}

bool PublicClass::writeIni(const QString& file, const QString& key, const QVariant& value)
{
    return ky::writeIniValues(file, {{key, value}});
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
        // toUInt() alone would take signs and blanks around the number.
        const bool isPlain = std::all_of(octet.begin(), octet.end(), isAsciiDigit);
        if (!isNumber || !isPlain || number > 255 || octet.size() > 3)
            return false;
        value = value << 8 | number;
    }
    const quint32 zeros = ~value;
    if ((zeros & (zeros + 1)) != 0)
        return false;
    bits = __builtin_popcount(value);
    return true;
}
