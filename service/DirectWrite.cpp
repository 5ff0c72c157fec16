#include "service/DirectWrite.h"

#include <QHostAddress>
#include <QTcpSocket>

#include <netinet/in.h>
#include <sys/socket.h>

namespace ky {

bool leadsToPeer(const QTcpSocket& socket)
{
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    auto* peer = reinterpret_cast<sockaddr*>(&address);
    if (::getpeername(int(socket.socketDescriptor()), peer, &size) != 0 ||
        address.ss_family != AF_INET)
        return false;
    const auto* inet = reinterpret_cast<const sockaddr_in*>(peer);
    return ntohs(inet->sin_port) == socket.peerPort() &&
           QHostAddress(ntohl(inet->sin_addr.s_addr)) == socket.peerAddress();
}

int writeAtOnce(const QTcpSocket& socket, const QByteArray& bytes)
{
    if (socket.bytesToWrite() > 0)
        return 0;
    const ssize_t count = ::send(int(socket.socketDescriptor()), bytes.constData(),
                                 size_t(bytes.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
    return count > 0 ? int(count) : 0;
}

} // namespace ky
