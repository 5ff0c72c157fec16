#pragma once

#include "wire/FrameHead.h"

#include <QString>
#include <QVariantMap>

namespace ky {

/// One received frame and what the blocking client makes of it.
struct Reply
{
    FrameHead head;
    QByteArray json;
    QByteArray data;
    QVariantMap map;   ///< the result map of the exchange
    QString createdOn; ///< "create_on" of a JSON data area
    QString warning;   ///< the log line of an error reply; empty for any other
};

/// The frame at `bytes`, whole, parted into its areas. A JSON area longer than the body is cut to
/// it and leaves no data.
Reply splitReply(const FrameHead& head, const char* bytes);

/// Fills the result map: who answered what, and the error that the reply reports, if any. Command
/// names and error texts come from the host's tables.
void judgeReply(Reply& reply, const QString& ip, quint16 port);

/// The text under which an error reply is shown. `slot` is a text chosen before: while it is empty
/// the peer's own words stand, whatever the code.
QString errorText(const QString& slot, int code, const QString& peerText, const QString& ip,
                  quint16 port);

/// 99 times the quotient, rounded and held within what an int can carry; a part of nothing counts
/// as endless.
int progressOf(double dividend, double divisor);

} // namespace ky
