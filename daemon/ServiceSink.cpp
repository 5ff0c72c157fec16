#include "daemon/ServiceSink.h"

#include "service/KyNetworkObject.h"

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

} // namespace ky
