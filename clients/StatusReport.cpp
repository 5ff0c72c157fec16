#include "clients/StatusReport.h"

#include "clients/Texts.h"
#include "wire/FrameHead.h"

namespace ky {

namespace {

constexpr int kLongFrame = 2048;
constexpr char kRequest[] =
    "\n%1---------[Request] ---------\nType:%2 (0x%3) \nPort: %4\nNumber: %5 (0x%6)\n"
    "Head hex: %7 \nData[size:%8 (0x%9)]: %10 \nData hex: %11 \nJSON[size:%12]: %13";
constexpr char kResponse[] =
    "%1---------[Response]---------\nType:%2 (%3) \nNumber: %4 (0x%5)\nHead hex: %6\n"
    "Data[size:%7 (0x%8)]: %9 \nData hex: %10 \nJSON[size:%11]: %12\n";

QString upperHex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex().toUpper());
}

QString decimal(int value)
{
    return QString::number(value);
}

QString hexadecimal(int value)
{
    return QString::number(value, 16);
}

} // namespace

QString dataHexText(const QByteArray& data, int measuredSize)
{
    if (measuredSize > kLongFrame)
        return QStringLiteral("If the data region length is larger than 2048 bytes, it will not be "
                              "printed");
    return upperHex(data);
}

QString requestReport(const QString& time, quint16 port, const QByteArray& frame,
                      const QByteArray& json, const QByteArray& data)
{
    const FrameHead head = readFrameHead(frame.constData());
    return fillPlaces(QString::fromLatin1(kRequest),
                      {time, decimal(head.type), hexadecimal(head.type), decimal(port),
                       decimal(head.number), hexadecimal(head.number),
                       upperHex(frame.left(kHeaderSize)), decimal(data.size()),
                       hexadecimal(data.size()), textUpToZero(data),
                       dataHexText(data, frame.size()), decimal(json.size()), textUpToZero(json)});
}

QString responseReport(const QString& time, const QByteArray& head, const QByteArray& json,
                       const QByteArray& data, const QString& dataHex)
{
    const FrameHead fields = readFrameHead(head.constData());
    return fillPlaces(QString::fromLatin1(kResponse),
                      {time, decimal(fields.type), hexadecimal(fields.type), decimal(fields.number),
                       hexadecimal(fields.number), upperHex(head), decimal(data.size()),
                       hexadecimal(data.size()), textUpToZero(data), dataHex, decimal(json.size()),
                       textUpToZero(json)});
}

} // namespace ky
