#pragma once

#include <QByteArray>

/// Four bytes, big-endian. A shorter array is left-aligned: what is missing counts as zero bytes
/// behind it. Bytes after the fourth are ignored.
Q_DECL_EXPORT quint32 byteToUInt32(QByteArray bytes);

/// A wire timestamp (whole seconds since 1900, then a fraction in 1/2^32 s) in milliseconds, the
/// fraction cut and not rounded.
Q_DECL_EXPORT qint64 byte64ToMillionSecond(QByteArray bytes);

/// Milliseconds since 1900 as the eight bytes of a wire timestamp. The seconds keep their low 32
/// bits; the fraction is cut, so the way back gives one millisecond less for most values.
Q_DECL_EXPORT QByteArray millionSecondToByte64(long long milliseconds);

/// One exchange with a time server: composes the request, takes the reply apart, computes the
/// offset of the local clock.
///
/// A send: construct, toByteArray(), keep originBytes. A receive: construct anew,
/// parseByByteArray(), checkByOriginTimestamp() with the kept bytes, calcOffset().
/// All times are whole milliseconds since 1900-01-01 00:00 UTC.
/// Thread: one thread for its whole life.
class Q_DECL_EXPORT NTPPackage
{
public:
    NTPPackage();

    /// The request, to be sent as the first 48 bytes of the array padded with zero bytes. Stamps
    /// localTimestamp and originBytes with the present time. The array is shorter than 48 bytes
    /// when the timestamp holds a zero byte: the timestamp ends there. Only the first four fields
    /// and the timestamp are sent, whatever the others hold.
    QByteArray toByteArray();

    /// Fills every field from a datagram of at least four bytes; what a short one lacks reads as
    /// zero. localTimestamp becomes the present time, the time of arrival.
    void parseByByteArray(QByteArray data);

    /// How far the local clock is behind the server, in milliseconds; negative when it is ahead.
    /// Meaningful after parseByByteArray() only.
    qint64 calcOffset();

    /// Whether originBytes are exactly these bytes: the proof that a reply answers the request.
    bool checkByOriginTimestamp(QByteArray other);

    quint8 li = 0;              ///< leap indicator
    quint8 vn = 3;              ///< version number
    quint8 mode = 3;            ///< 3 is client
    quint8 stratum = 0;         ///< distance from a reference clock
    qint8 poll = 4;             ///< log2 of the poll interval in seconds
    qint8 precision = -6;       ///< log2 of the clock's precision in seconds
    quint32 rootDelay = 0;      ///< raw
    quint32 rootDispersion = 0; ///< raw
    quint32 referenceId = 0;    ///< raw
    qint64 referenceTimestamp = 0;
    qint64 originTimestamp = 0;
    qint64 receiveTimestamp = 0;
    qint64 transmitTimestamp = 0;
    QByteArray originBytes;    ///< transmit timestamp of the request, origin field of the reply
    qint64 localTimestamp = 0; ///< time of sending, time of arrival
};
