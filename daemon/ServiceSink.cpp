#include "daemon/ServiceSink.h"

#include "service/KyNetworkObject.h"

#include <cstddef>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace ky {

ServiceSink::ServiceSink(KyNetworkObject& service)
    : _service(service)
{}

bool ServiceSink::send(qintptr handle, const QByteArray& frame)
{
    return _service.sendDataToClient(handle, frame);
}

QString ServiceSink::peerOf(qintptr handle)
{
    // The look-up of a peer is for live connections only; sending nothing tells whether it is one.
    if (!_service.sendDataToClient(handle, {}))
        return {};
    const QVariantMap peer = _service.getSocketPeerInfo(handle);
    return QStringLiteral("%1:%2").arg(peer.value(QStringLiteral("ip")).toString(),
                                       peer.value(QStringLiteral("port")).toString());
}

quint64 ServiceSink::takenBytes(qintptr handle)
{
    // A handle is the descriptor of its connection.
    tcp_info info = {};
    socklen_t size = sizeof info;
    const bool isKnown =
        ::getsockopt(int(handle), IPPROTO_TCP, TCP_INFO, &info, &size) == 0 &&
        size >= offsetof(tcp_info, tcpi_bytes_acked) + sizeof info.tcpi_bytes_acked;
    return isKnown ? info.tcpi_bytes_acked : 0;
}

void ServiceSink::cut(qintptr handle)
{
    _service.abortClient(handle);
}

} // namespace ky
