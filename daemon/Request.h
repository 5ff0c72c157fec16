#pragma once

#include "commands/ArgumentReading.h"
#include "commands/Command.h"
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

    Arguments arguments;          ///< what a handler goes by; see readArguments() below
    bool isDataArguments = false; ///< the arguments came in the data area

    quint16 command() const { return revCommandOf(answerType); }

    /// The object of the JSON area or, for clients that send their JSON as data, that of the data
    /// area. Empty if there is neither.
    QVariantMap object() const;

    /// The data area, unless the arguments came in it.
    QByteArray payload() const { return isDataArguments ? QByteArray() : data; }
};

/// Reads the arguments of a request by the row of its command. Empty on success, else what is wrong
/// with them. Arguments in the data area are not parsed at all beyond the size that the row allows.
QString readArguments(const Command& row, Request* request);

} // namespace ky
