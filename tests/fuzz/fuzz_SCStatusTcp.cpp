// The reader of the status client, which takes its bytes from a socket: a pair of sockets of this
// process stands for the connection.
#include "FuzzInput.h"
#include "clients/SCStatusTcp.h"

#include <sys/socket.h>
#include <unistd.h>

namespace {

class Owner : public QObject
{
    Q_OBJECT

public slots:
    void stateChanged(QAbstractSocket::SocketState) {}
    void receiveTcpError(QAbstractSocket::SocketError) {}
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzSetUp();
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return 0;
    Owner owner;
    auto* client = new SCStatusTcp(&owner);
    // Makes the socket; the connection itself is given up for the pair.
    client->connectHost(QStringLiteral("127.0.0.1"), 9);
    client->connectHost(QStringLiteral("127.0.0.1"), 9);
    client->tcpSocket()->setSocketDescriptor(ends[1]);
    for (const QByteArray& read : fuzzReads(data, size)) {
        if (::send(ends[0], read.constData(), size_t(read.size()), MSG_NOSIGNAL | MSG_DONTWAIT) !=
            ssize_t(read.size()))
            break;
        client->tcpSocket()->waitForReadyRead(100);
    }
    ::close(ends[0]);
    return 0;
}

#include "fuzz_SCStatusTcp.moc"
