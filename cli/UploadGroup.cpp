#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/Progress.h"
#include "cli/Table.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include <new>
#include <optional>

namespace ky {

namespace {

// A frame is one block of memory.
constexpr qint64 kLargestUpload = 0x7fff0000;

/// Nothing, with the reason, if the file cannot be read or is not what its size says. A view of the
/// file would cost no memory, but end this program if somebody shortened the file meanwhile.
std::optional<QByteArray> contentOf(QFile& file, QString* problem)
{
    try {
        const qint64 size = file.size();
        // Files without a size, as the kernel makes them, are read to their end.
        QByteArray content = size > 0 ? file.read(size) : file.readAll();
        if (content.size() >= size)
            return content;
        *problem = file.error() == QFileDevice::NoError ? QStringLiteral("it was shortened")
                                                        : file.errorString();
    } catch (const std::bad_alloc&) {
        *problem = QStringLiteral("no memory for it");
    }
    return {};
}

int compare(Invocation& call, const PeerReply& reply, const QByteArray& content)
{
    const QByteArray ours = QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex();
    const QByteArray theirs = reply.map.value(QStringLiteral("sha256")).toByteArray();
    if (theirs.isEmpty() || theirs == ours)
        return kDone;
    call.complain(QStringLiteral("the file differs over there: SHA-256 %1, here %2")
                      .arg(valueText(QString::fromUtf8(theirs)), QString::fromLatin1(ours)));
    return kPeerError;
}

PeerReply send(Invocation& call, const QByteArray& content)
{
    Progress progress(content.size(), ::isatty(STDERR_FILENO) == 1);
    QElapsedTimer clock;
    clock.start();
    const PeerReply reply =
        call.peer().upload(content, [&](qint64 sent) { progress.show(sent, clock.elapsed()); });
    progress.end();
    return reply;
}

int runUpload(Invocation& call)
{
    QFile file(call.argument(0));
    // Opening a folder or a pipe would succeed and tell no size.
    if (QFileInfo(file).exists() && !QFileInfo(file).isFile())
        return call.wrong(QStringLiteral("file [%1]: not a file").arg(file.fileName()));
    if (!file.open(QIODevice::ReadOnly))
        return call.wrong(QStringLiteral("file [%1]: %2").arg(file.fileName(), file.errorString()));
    if (file.size() > kLargestUpload)
        return call.wrong(
            QStringLiteral("file [%1]: %2 is more than one frame of this client "
                           "takes (%3)")
                .arg(file.fileName(), sizeText(file.size()), sizeText(kLargestUpload)));
    QString problem;
    const std::optional<QByteArray> content = contentOf(file, &problem);
    if (!content)
        return call.wrong(QStringLiteral("file [%1]: %2").arg(file.fileName(), problem));
    const PeerReply reply = send(call, *content);
    const int status = call.show(reply);
    return status == kDone ? compare(call, reply, *content) : status;
}

} // namespace

const Group& uploadGroup()
{
    static const Group group = {
        "upload",
        "send a file to the peer",
        {{"",
          "FILE",
          "Sends a file, and compares its SHA-256 with what the peer has on its disk",
          {},
          "kyctl --host 10.0.0.7 upload upgrade.zip",
          runUpload,
          60000}}};
    return group;
}

} // namespace ky
