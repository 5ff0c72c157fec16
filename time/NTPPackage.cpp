#include "time/NTPPackage.h"

#include <QDateTime>

namespace {

constexpr qint64 kEpochMs = 2208988800000; // from 1900-01-01 to 1970-01-01
constexpr int kPacketSize = 48;
constexpr int kTransmitAt = 40;
constexpr int kTimestampSize = 8;

qint64 nowSince1900Ms()
{
    return QDateTime::currentMSecsSinceEpoch() + kEpochMs;
}

void appendBigEndian(QByteArray& bytes, quint32 value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.append(char(value >> shift & 0xFF));
}

} // namespace

quint32 byteToUInt32(QByteArray bytes)
{
    quint32 value = 0;
    for (int i = 0; i < 4; ++i) {
        value <<= 8;
        if (i < bytes.size())
            value += quint8(bytes.at(i));
    }
    return value;
}

qint64 byte64ToMillionSecond(QByteArray bytes)
{
    const qint64 seconds = byteToUInt32(bytes.left(4));
    const qint64 fraction = byteToUInt32(bytes.mid(4, 4));
    return seconds * 1000 + (fraction * 1000 >> 32);
}

QByteArray millionSecondToByte64(long long milliseconds)
{
    const qint64 seconds = milliseconds / 1000;
    const qint64 rest = milliseconds % 1000;
    const qint64 fraction = rest * 0x3E800000000 / 1000000; // 1000 * 2^32
    QByteArray bytes;
    bytes.reserve(kTimestampSize);
    appendBigEndian(bytes, quint32(seconds));
    appendBigEndian(bytes, quint32(fraction));
    return bytes;
}

NTPPackage::NTPPackage() = default;

QByteArray NTPPackage::toByteArray()
{
    QByteArray packet(kPacketSize, '\0');
    packet[0] = char(li << 6 | vn << 3 | mode);
    packet[1] = char(stratum);
    packet[2] = char(poll);
    packet[3] = char(precision);
    localTimestamp = nowSince1900Ms();
    const QByteArray timestamp = millionSecondToByte64(localTimestamp);
    // On purpose the overload that takes a text: it ends at the first zero byte of the timestamp,
    // and the packet shrinks by what is cut. Servers see the zeros behind it.
    packet.replace(kTransmitAt, kTimestampSize, timestamp.constData());
    originBytes = timestamp;
    return packet;
}

void NTPPackage::parseByByteArray(QByteArray data)
{
    const quint8 first = quint8(data.at(0));
    li = first >> 6;
    vn = first >> 3 & 0x07;
    mode = first & 0x07;
    stratum = quint8(data.at(1));
    poll = qint8(data.at(2));
    precision = qint8(data.at(3));
    rootDelay = byteToUInt32(data.mid(4, 4));
    rootDispersion = byteToUInt32(data.mid(8, 4));
    referenceId = byteToUInt32(data.mid(12, 4));
    referenceTimestamp = byte64ToMillionSecond(data.mid(16, kTimestampSize));
    originTimestamp = byte64ToMillionSecond(data.mid(24, kTimestampSize));
    receiveTimestamp = byte64ToMillionSecond(data.mid(32, kTimestampSize));
    transmitTimestamp = byte64ToMillionSecond(data.mid(kTransmitAt, kTimestampSize));
    originBytes = data.mid(24, kTimestampSize);
    localTimestamp = nowSince1900Ms(); // last, so that the work above counts as travel
}

qint64 NTPPackage::calcOffset()
{
    return (receiveTimestamp - originTimestamp + transmitTimestamp - localTimestamp) / 2;
}

bool NTPPackage::checkByOriginTimestamp(QByteArray other)
{
    return originBytes == other;
}
