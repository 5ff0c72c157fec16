#pragma once

#include <QVariantMap>

namespace ky {

/// What makes the keys of a frame to send unfit, as one line; empty if they make a frame. "frameId"
/// is needed: a number that fits the kind of identifier. "frameType" and "frameFormat" are 0 or 1,
/// "dataLength" is 0 to 8, "data" a text in hexadecimal. More bytes than a frame holds are left to
/// the port, which has a text for them.
QString canRequestProblem(const QVariantMap& map);

} // namespace ky
