#pragma once

#include "ports/CanFrame.h"

#include <QVariantMap>

#include <optional>

namespace ky {

constexpr int kCanFrameSize = sizeof(CanFrame);
constexpr int kCanDataSize = sizeof(CanFrame::data);

/// Which length code a frame carries where "dataLength" does not count. The two channels differ
/// on purpose.
enum class LengthFallback
{
    FullFrame, ///< always 8
    DataSize   ///< as many as there are data bytes
};

/// The length code of a frame. "dataLength" counts only if it is above 0 and the number of data
/// bytes is a multiple of 8, zero included. The result is one byte: 259 gives 3.
quint8 canLengthCode(int dataLength, int dataSize, LengthFallback fallback);

/// The frame that a request map describes ("frameType", "frameFormat", "frameId", "dataLength",
/// "data"; see docs/ports.md). The identifier is not masked: bits 0 to 29 go out as given, bits 30
/// and 31 follow from the two kinds. Empty if the data or the length code does not fit a frame;
/// `error` then tells why.
std::optional<CanFrame> buildCanFrame(const QVariantMap& map, LengthFallback fallback,
                                      QString* error);

/// The five keys of a received frame. "dataLength" is the length code as it came; "data" has that
/// many bytes, but never more than the 8 of the frame.
QVariantMap canFrameMap(const CanFrame& frame);

/// What one read from a carrier brought, judged by its size.
enum class CanRead
{
    Failed,
    Incomplete,
    Frame
};
CanRead judgeCanRead(qint64 size);

} // namespace ky
