// What is made of one frame of the peer, and of texts with places in them.
#include "FuzzInput.h"
#include "clients/Reply.h"
#include "clients/StatusReport.h"
#include "clients/Texts.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzSetUp();
    if (size < 16)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    ky::FrameHead head = ky::readFrameHead(bytes.constData());
    head.dataSize = quint32(bytes.size() - 16);
    ky::Reply reply = ky::splitReply(head, bytes.constData());
    if (reply.json + reply.data != bytes.mid(16))
        qFatal("bytes lost between the areas");
    ky::judgeReply(reply, QStringLiteral("%1"), 19208);
    ky::requestReport(QStringLiteral("[now]:"), 1, bytes, reply.json, reply.data);
    ky::responseReport(QStringLiteral("[now]:"), bytes.left(16), reply.json, reply.data,
                       ky::dataHexText(reply.data, bytes.size()));
    ky::fillPlaces(QString::fromUtf8(bytes), {QStringLiteral("%2"), QStringLiteral("two")});
    return 0;
}
