#include "cli/CanText.h"

#include "cli/Table.h"

#include <algorithm>

namespace ky {

namespace {

constexpr int kStandardDigits = 3;
constexpr int kExtendedDigits = 8;
constexpr uint kLargestStandard = 0x7FF;
constexpr uint kLargestExtended = 0x1FFFFFFF;
constexpr int kMostBytes = 8;

bool isHex(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) {
        return QStringLiteral("0123456789abcdefABCDEF").contains(c);
    });
}

bool takeIdentifier(const QString& text, QVariantMap* frame)
{
    if (text.isEmpty() || text.size() > kExtendedDigits || !isHex(text))
        return false;
    const uint identifier = text.toUInt(nullptr, 16);
    const bool isExtended = text.size() > kStandardDigits;
    frame->insert(QStringLiteral("frameId"), int(identifier));
    frame->insert(QStringLiteral("frameType"), isExtended ? 1 : 0);
    return identifier <= (isExtended ? kLargestExtended : kLargestStandard);
}

bool takeRemote(const QString& text, QVariantMap* frame)
{
    bool isNumber = true;
    const int length = text.isEmpty() ? 0 : text.toInt(&isNumber);
    frame->insert(QStringLiteral("frameFormat"), 1);
    frame->insert(QStringLiteral("dataLength"), length);
    return isNumber && length >= 0 && length <= kMostBytes;
}

bool takeData(QString text, QVariantMap* frame)
{
    text.remove(QLatin1Char('.'));
    frame->insert(QStringLiteral("frameFormat"), 0);
    frame->insert(QStringLiteral("dataLength"), text.size() / 2);
    frame->insert(QStringLiteral("data"), text);
    return isHex(text) && text.size() % 2 == 0 && text.size() <= 2 * kMostBytes;
}

QString dataText(const QVariantMap& frame)
{
    if (frame.value(QStringLiteral("frameFormat")).toInt() == 1)
        return QStringLiteral("remote request");
    const QByteArray bytes =
        QByteArray::fromHex(frame.value(QStringLiteral("data")).toString().toLatin1());
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

} // namespace

std::optional<QVariantMap> parseCanText(const QString& text)
{
    const int hash = text.indexOf(QLatin1Char('#'));
    QVariantMap frame;
    if (hash < 0 || !takeIdentifier(text.left(hash), &frame))
        return {};
    const QString rest = text.mid(hash + 1);
    const bool isRemote = rest.startsWith(QLatin1Char('R'), Qt::CaseInsensitive);
    if (isRemote ? !takeRemote(rest.mid(1), &frame) : !takeData(rest, &frame))
        return {};
    return frame;
}

QString canLine(const QVariantMap& frame)
{
    const bool isExtended = frame.value(QStringLiteral("frameType")).toInt() == 1;
    const QString identifier = QStringLiteral("%1").arg(
        frame.value(QStringLiteral("frameId")).toUInt(),
        isExtended ? kExtendedDigits : kStandardDigits, 16, QLatin1Char('0'));
    const QString line =
        QStringLiteral(" (%1)  %2  %3   [%4]  %5")
            .arg(valueText(frame.value(QStringLiteral("time"))),
                 valueText(frame.value(QStringLiteral("portName"))), identifier.toUpper(),
                 frame.value(QStringLiteral("dataLength")).toString(), dataText(frame));
    return line.endsWith(QLatin1Char(' ')) ? line.left(line.size() - 2) : line;
}

} // namespace ky
