// The receive rules of a service connection: whatever arrives, they tell what the slow model of
// their test tells.
#include "FuzzInput.h"
#include "PlainReceiver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    PlainReceiver receiver;
    ReceiveModel model;
    for (const QByteArray& read : fuzzReads(data, size)) {
        receiver.read(read);
        model.read(read.toStdString());
    }
    const bool isAsTold = receiver.deliveries == model.deliveries &&
                          receiver.losses == model.losses && receiver.file == model.file &&
                          receiver.buffer.toStdString() == model.buffer;
    if (!isAsTold)
        __builtin_trap();
    return 0;
}
