#pragma once

#include "wire/FrameHead.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

namespace ky {

/// One request as the service hands it over.
struct Request
{
    QString name;           ///< from the command table; empty for a number that is not in it
    qintptr handle = 0;     ///< the connection it came by
    quint16 answerType = 0; ///< type of the answer frame: command plus 10000
    quint16 number = 0;     ///< chosen by the client, returned with the answer
    QByteArray data;        ///< binary data area
    QVariant json;          ///< JSON area; invalid when there was none or it did not parse

    quint16 command() const { return revCommandOf(answerType); }

    /// The arguments: the map of the JSON area or, for clients that send their JSON as data, that
    /// of the data area. Empty if there is neither.
    QVariantMap arguments() const;

    /// The data area, unless the arguments came in it.
    QByteArray payload() const;

    /// The first of the keys that the arguments lack; empty if all are there.
    QString firstMissing(std::initializer_list<const char*> keys) const;
};

} // namespace ky
