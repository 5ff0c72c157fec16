// The reader of the blocking client: a peer may send anything.
#include "FuzzInput.h"
#include "clients/BlockThreadTcp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzSetUp();
    BlockThreadTcp worker;
    worker.setPort(19208);
    worker.getSendData2({}, {}, 2000, 7);
    for (const QByteArray& read : fuzzReads(data, size))
        worker.resolveTcpReadData(read);
    if (worker.receiveData().size() > int(size))
        qFatal("more data than have come");
    return 0;
}
