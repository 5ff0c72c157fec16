#include "daemon/NetworkHost.h"

#include "daemon/FrameCourier.h"

namespace ky {

NetworkHost::NetworkHost(FrameCourier& courier)
    : _thread(QStringLiteral("network"))
{
    _thread.call([this, &courier] {
        _network = std::make_unique<DaemonNetwork>();
        QObject::connect(
            _network.get(), &SystemNetwork::sigWriteTcpClient, _network.get(),
            [&courier](const QString& ip, int port, int type, int number, const QByteArray& bytes) {
                courier.post({ip, port, type, number, bytes});
            });
    });
    // Link supervision begins once the daemon is up.
    _thread.post([this] { _network->initAutoConnect(); });
}

NetworkHost::~NetworkHost()
{
    _thread.end([this] { _network.reset(); });
}

} // namespace ky
