#include "ports/SerialMessage.h"

#include <QDataStream>
#include <QIODevice>

#include <numeric>

namespace ky {

namespace {

constexpr quint8 kFirst = 0xAA;
constexpr quint8 kSecond = 0xBB;
constexpr quint8 kLast = 0xCC;

quint8 sumOf(const QByteArray& bytes)
{
    return std::accumulate(bytes.begin(), bytes.end(), quint8(0),
                           [](quint8 sum, char byte) { return quint8(sum + quint8(byte)); });
}

} // namespace

QByteArray composeSerialMessage(qint16 value)
{
    QByteArray message;
    QDataStream stream(&message, QIODevice::WriteOnly);
    stream << kFirst << kSecond << value;
    stream << sumOf(message) << kLast;
    return message;
}

SerialMessage readSerialMessage(const QByteArray& message)
{
    quint8 first = 0;
    quint8 second = 0;
    quint8 checksum = 0;
    quint8 last = 0;
    SerialMessage read;
    QDataStream(message) >> first >> second >> read.value >> checksum >> last;
    if (first != kFirst || second != kSecond || last != kLast)
        return read;
    const bool isGood = sumOf(message.left(message.size() - 1)) == checksum;
    read.verdict = isGood ? MessageVerdict::Good : MessageVerdict::BadChecksum;
    return read;
}

} // namespace ky
