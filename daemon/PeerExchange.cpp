#include "daemon/PeerExchange.h"

#include "clients/BlockTcpObject.h"
#include "clients/BlockThreadTcp.h"

namespace ky {

PeerResult exchangeWithPeer(const PeerRequest& request)
{
    BlockTcpObject client;
    client.init(request.ip, request.port);
    client.setWaitTimeout(request.limitMs);
    PeerResult result;
    if (!client.sendData(request.command, request.data, request.number, request.json)) {
        result.error = client.lastError();
        if (result.error.isEmpty())
            result.error = QStringLiteral("no answer");
    }
    result.result = client.receiveMap();
    result.data = client.receiveData();
    result.json = client.worker()->receiveJsonVar();
    return result;
}

} // namespace ky
