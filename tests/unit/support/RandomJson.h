#pragma once

#include <QDebug>
#include <QJsonDocument>
#include <QVariant>

#include <random>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KY_WATCHES_LEAKS
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(KY_WATCHES_LEAKS)
#include <sanitizer/lsan_interface.h>
#endif

/// What QJsonDocument makes of a text, invalid if it does not parse. Of a name that is there twice
/// it loses the first value for good, which is its own affair.
inline QVariant valueOfDocument(const QByteArray& text)
{
#if defined(__SANITIZE_ADDRESS__) || defined(KY_WATCHES_LEAKS)
    const __lsan::ScopedDisabler notOurs;
#endif
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    return error.error == QJsonParseError::NoError ? document.toVariant() : QVariant();
}

/// The names in all objects of a value.
inline int namesIn(const QVariant& value)
{
    int count = 0;
    const QVariantMap map = value.toMap();
    for (const QVariant& entry : map)
        count += 1 + namesIn(entry);
    if (value.userType() == QMetaType::QVariantList) {
        for (const QVariant& entry : value.toList())
            count += namesIn(entry);
    }
    return count;
}

/// The names in a text that is JSON, each as often as it stands there.
inline int namesIn(const QByteArray& text)
{
    int count = 0;
    bool isString = false;
    for (int at = 0; at < text.size(); ++at) {
        if (isString && text[at] == '\\')
            ++at;
        else if (text[at] == '"')
            isString = !isString;
        else if (!isString && text[at] == ':')
            ++count;
    }
    return count;
}

/// A value with the types of all its parts, doubles to the last digit.
inline QString shown(const QVariant& value)
{
    QStringList parts;
    switch (value.userType()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        for (auto entry = map.constBegin(); entry != map.constEnd(); ++entry)
            parts << QString::fromLatin1(entry.key().toUtf8().toHex()) + ':' + shown(*entry);
        return '{' + parts.join(',') + '}';
    }
    case QMetaType::QVariantList:
        for (const QVariant& entry : value.toList())
            parts << shown(entry);
        return '[' + parts.join(',') + ']';
    case QMetaType::Double:
        return QStringLiteral("double ") + QString::number(value.toDouble(), 'g', 17);
    case QMetaType::QString:
        for (const QChar c : value.toString())
            parts << QString::number(c.unicode(), 16);
        return '"' + parts.join(' ') + '"';
    default:
        return QString::fromLatin1(value.typeName()) + ' ' + value.toString();
    }
}

/// Values and texts of every kind, the unusual ones often. The same seed gives the same ones.
class RandomJson
{
public:
    explicit RandomJson(unsigned seed)
        : _engine(seed)
    {}

    int below(int end) { return int(_engine() % unsigned(end)); }

    QString string()
    {
        static const QVector<ushort> unusual = {
            0x00,   0x01,   0x08,   0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x1F,
            0x22,   0x2F,   0x5C,   0x7F,   0x80,   0xE9,   0x7FF,  0x800,  0x4E2D,
            0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFEFF, 0xFFFE, 0xFFFF};
        QString text;
        const bool isUnusual = below(3) == 0;
        for (int i = below(8); i > 0; --i) {
            if (isUnusual && below(2))
                text += QChar(unusual.at(below(unusual.size())));
            else if (isUnusual && below(3) == 0)
                text += QString::fromUtf8("\xF0\x9F\x98\x80");
            else
                text += QChar('a' + below(26));
        }
        return text;
    }

    QVariant number()
    {
        switch (below(8)) {
        case 0:
            return below(1000) - 500;
        case 1:
            return uint(_engine());
        case 2:
            return qlonglong(wide());
        case 3:
            return qulonglong(wide());
        case 4:
            return (below(2000000) - 1000000) / 1000.0;
        case 5:
            return double(qlonglong(wide() >> below(64)));
        case 6:
            return std::ldexp(double(wide()), below(2100) - 1100);
        default: {
            const auto nearLimit = qlonglong((quint64(1) << 53) + quint64(below(5)) - 2);
            return below(2) ? nearLimit : -nearLimit;
        }
        }
    }

    QVariant value(int depth = 0)
    {
        switch (below(depth > 4 ? 6 : 9)) {
        case 0:
            return below(2) == 1;
        case 1:
            return below(2) ? QVariant() : QVariant::fromValue(nullptr);
        case 2:
        case 3:
            return number();
        case 4:
            return string();
        case 5:
            return below(4) ? QVariant(string()) : QVariant(string().toUtf8());
        case 6: {
            QVariantList list;
            for (int i = below(5); i > 0; --i)
                list << value(depth + 1);
            return list;
        }
        default:
            return map(depth);
        }
    }

    QVariantMap map(int depth = 0)
    {
        QVariantMap map;
        for (int i = below(6); i > 0; --i)
            map.insert(string(), value(depth + 1));
        return map;
    }

    QByteArray text()
    {
        const QVariant document = below(4) ? QVariant(map()) : QVariant(QVariantList{value()});
        return QJsonDocument::fromVariant(document).toJson(below(2) ? QJsonDocument::Compact
                                                                    : QJsonDocument::Indented);
    }

    QByteArray damaged(QByteArray text)
    {
        static const QByteArray bytes("{}[]:,\"\\u0d8e+-.19tfn /\n\t\0\x1F\xC3\xA9\xF0\xED\xFF",
                                      32);
        for (int i = 1 + below(3); i > 0 && !text.isEmpty(); --i) {
            const int at = below(text.size());
            const char byte = bytes.at(below(bytes.size()));
            switch (below(4)) {
            case 0:
                text.remove(at, 1 + below(3));
                break;
            case 1:
                text.insert(at, byte);
                break;
            case 2:
                text.truncate(at);
                break;
            default:
                text[at] = byte;
            }
        }
        return text;
    }

private:
    quint64 wide()
    {
        const quint64 high = _engine();
        return high << 32 | _engine();
    }

    std::mt19937 _engine;
};
