#pragma once

#include <QtGlobal>

/// The 16-byte header in front of every frame. The fields are kept in wire order (big-endian), as
/// they are sent and received: convert with qFromBigEndian() and qToBigEndian().
///
/// A body of `dataSize` bytes follows: `jsonSize` bytes of JSON text (UTF-8), then binary data.
struct VantHeader
{
    quint8 sync = 0x5A;
    quint8 version = 0x01;
    quint16 number = 0;     ///< chosen by the requester, returned unchanged with the answer
    quint32 dataSize = 0;   ///< bytes of the body: JSON area and binary data area
    quint16 type = 0;       ///< command of a request; an answer has the command plus 10000
    quint16 revCommand = 0; ///< `type` minus 10000, modulo 65536
    quint16 jsonSize = 0;   ///< bytes of the JSON area, 0 when there is none
    quint8 reserved14 = 0;  ///< written 0, read by nobody
    quint8 marker15 = 0;    ///< written 2, read by nobody
};

static_assert(sizeof(VantHeader) == 16, "the header has no gaps on the wire");
