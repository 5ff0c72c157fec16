// The reader of the relay client.
#include "FuzzInput.h"
#include "clients/KyTcpClient.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzSetUp();
    KyTcpClient client;
    int delivered = 0;
    QObject::connect(&client, &KyTcpClient::sigSendWebSocketData, &client,
                     [&](const QString&, const QVariantMap& map) {
                         ++delivered;
                         if (map.value(QStringLiteral("headHex")).toString().size() != 32)
                             qFatal("a header of another size");
                     });
    for (const QByteArray& read : fuzzReads(data, size)) {
        const int before = delivered;
        const int result = client.resolveTcpReadData(read);
        if (result < -1 || result > 1 || (result == 0) != (delivered == before + 1))
            qFatal("a result that does not fit");
    }
    return 0;
}
