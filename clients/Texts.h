#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace ky {

/// Bytes as a log line or a report shows them: UTF-8, up to the first zero byte.
QString textUpToZero(const QByteArray& bytes);

/// The bytes in hexadecimal. Throws std::bad_alloc where that is longer than a QByteArray can be
/// (from 1 GiB on): QByteArray::toHex() computes the length in an int and writes beyond its block.
QByteArray hexOf(const QByteArray& bytes);

/// Puts the values at the places %1, %2 … %99 of `text`, in one pass: a place that is part of a
/// value is not filled again. Places without a value stay as they are.
QString fillPlaces(const QString& text, const QStringList& values);

} // namespace ky
