#pragma once

#include <QByteArray>

/// The six-byte message of a temperature-reporting peripheral:
/// AA BB, a signed 16-bit value (big-endian), a checksum, CC.
namespace ky {

/// The message of one value. Its checksum is the sum of the first four bytes.
QByteArray composeSerialMessage(qint16 value);

enum class MessageVerdict
{
    BadFrame,
    BadChecksum,
    Good
};

struct SerialMessage
{
    MessageVerdict verdict = MessageVerdict::BadFrame;
    qint16 value = 0;
};

/// Reads a message of any length; what is missing reads as zero. The checksum is compared with the
/// sum of all bytes but the last: its own byte is among them, other than in composing. The
/// peripheral's format has this asymmetry.
SerialMessage readSerialMessage(const QByteArray& message);

} // namespace ky
