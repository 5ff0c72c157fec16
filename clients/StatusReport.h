#pragma once

#include "wire/FrameHead.h"

#include <QString>

namespace ky {

/// A data area in upper-case hexadecimal, or a sentence in its place when `measuredSize`, the size
/// that decides, is above 2048 bytes.
QString dataHexText(const QByteArray& data, int measuredSize);

/// The report of a request frame whose areas are `json` and `data`, sent to `port` at `time`.
QString requestReport(const QString& time, quint16 port, const QByteArray& frame,
                      const QByteArray& json, const QByteArray& data);

/// The report of a response with this 16-byte header. `dataHex` is the text of dataHexText().
QString responseReport(const QString& time, const QByteArray& head, const QByteArray& json,
                       const QByteArray& data, const QString& dataHex);

} // namespace ky
