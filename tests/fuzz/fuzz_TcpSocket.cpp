// The reader of the service's connections. Uploads go to a folder of the process's own.
#include "FuzzInput.h"
#include "host/PublicClass.h"
#include "service/TcpSocket.h"

#include <QTemporaryDir>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzSetUp();
    static const QTemporaryDir folder;
    PublicClass::init()->dataDir = folder.path();
    TcpSocket socket;
    for (const QByteArray& read : fuzzReads(data, size))
        socket.resolveTcpReadData(1, read);
    return 0;
}
