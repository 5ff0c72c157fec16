#pragma once

#include <QAbstractSocket>
#include <QString>

namespace ky {

/// Words for an error that a client of the library tells by its number: "Connection refused" for
/// "socketError:0". Empty for any other text, and for numbers that a peer does not cause.
inline QString socketErrorWords(const QString& clientError)
{
    const QString prefix = QStringLiteral("socketError:");
    bool isNumber = false;
    const int number = clientError.mid(prefix.size()).toInt(&isNumber);
    if (!clientError.startsWith(prefix) || !isNumber)
        return {};
    switch (number) {
    case QAbstractSocket::ConnectionRefusedError:
        return QStringLiteral("Connection refused");
    case QAbstractSocket::RemoteHostClosedError:
        return QStringLiteral("the connection was closed");
    case QAbstractSocket::NetworkError:
        return QStringLiteral("Network unreachable");
    default:
        return {};
    }
}

} // namespace ky
