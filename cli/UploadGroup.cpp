#include "cli/FileContent.h"
#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/Progress.h"
#include "cli/Table.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFileInfo>

#include <unistd.h>

#include <optional>

namespace ky {

namespace {

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
    const QFileInfo file(call.argument(0));
    // Opening a folder or a pipe would succeed and tell no size.
    if (file.exists() && !file.isFile())
        return call.wrong(QStringLiteral("file [%1]: not a file").arg(call.argument(0)));
    QString problem;
    const std::optional<QByteArray> content = contentOfFile(call.argument(0), &problem);
    if (!content)
        return call.wrong(problem);
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
          runUpload}}};
    return group;
}

} // namespace ky
