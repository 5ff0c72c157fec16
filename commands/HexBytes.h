#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace ky {

/// The bytes of a text of hexadecimal pairs, blanks between them or not. Nothing for any other
/// text, half a pair included.
std::optional<QByteArray> bytesOfHex(const QString& text);

/// Lower-case pairs without blanks.
QString hexOfBytes(const QByteArray& bytes);

} // namespace ky
