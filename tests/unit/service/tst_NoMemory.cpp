#include "EchoService.h"
#include "ListenerTools.h"
#include "MemoryLimit.h"

#include "host/PublicClass.h"
#include "service/TcpSocket.h"
#include "wire/FrameHead.h"

#include <QScopeGuard>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>

#include <cstdlib>
#include <memory>
#include <sys/mman.h>

using ky::buildFrame;

/// Frames that announce more than the process can hold.
class tst_NoMemory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false")); }
    void announcedSizesSetLittleAside();
    void frameThatFitsNoMemoryEndsOnlyItsConnection();
    void answerThatFitsNoMemoryEndsItsConnection_data();
    void answerThatFitsNoMemoryEndsItsConnection();
    void readThatFitsNoMemoryEndsItsConnection();
    void uploadGoesOnWithoutTheMemoryForItsShortcut();
};

namespace {

/// The header of a request whose body has that size.
QByteArray headOf(quint32 bodySize)
{
    QByteArray head = buildFrame(2000, 1, {}, {});
    qToBigEndian(bodySize, head.data() + 4);
    return head;
}

} // namespace

void tst_NoMemory::announcedSizesSetLittleAside()
{
    constexpr int kSockets = 64;
    std::vector<std::unique_ptr<TcpSocket>> sockets;
    for (int i = 0; i < kSockets; ++i)
        sockets.push_back(std::make_unique<TcpSocket>());
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));
    const long before = virtualKib();

    for (const auto& socket : sockets)
        socket->resolveTcpReadData(5, headOf(0xffffffffu) + "the first of it");
    const long grownKib = virtualKib() - before;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    // 1 MiB each, and what the allocator needs for itself.
    QVERIFY2(grownKib < kSockets * 1536L, qPrintable(QString::number(grownKib)));
    QCOMPARE(LogCapture::with("no memory"), QStringList());
}

void tst_NoMemory::frameThatFitsNoMemoryEndsOnlyItsConnection()
{
    EchoService service;
    RawClient other;
    RawClient greedy;
    QVERIFY(other.connectTo(service.port()));
    QVERIFY(greedy.connectTo(service.port()));
    other.send(buildFrame(2000, 1, {}, "text"));
    greedy.send(buildFrame(2000, 1, {}, "text"));
    QTRY_COMPARE(service.requests, qint64(2));
    const QByteArray answer = buildFrame(12000, 1, {}, "text");
    QCOMPARE(greedy.receiveFrame(), answer);
    QCOMPARE(other.receiveFrame(), answer);
    const QByteArray piece(1024 * 1024, 'g');
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));
    {
        const MemoryLimit limit(200);
        int sentMib = 0;
        greedy.send(headOf(1u << 30));
        while (sentMib < 1024 && greedy.send(piece))
            ++sentMib;

        QVERIFY2(sentMib < 1024, "the connection was not ended");
        other.send(buildFrame(2000, 1, {}, "text"));
        QTRY_COMPARE(service.requests, qint64(3));
        QCOMPARE(other.receiveFrame(), answer);
    }
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    QCOMPARE(LogCapture::with("[warning][resolveTcpReadData][no memory for a frame of "
                              "1073741824 bytes, handle:")
                 .size(),
             1);
    RawClient next;
    QVERIFY(next.connectTo(service.port()));
    next.send(buildFrame(2000, 1, {}, "text"));
    QTRY_COMPARE(service.requests, qint64(4));
    QCOMPARE(next.receiveFrame(), answer);
}

void tst_NoMemory::answerThatFitsNoMemoryEndsItsConnection_data()
{
    QTest::addColumn<bool>("isAwaited");
    QTest::addColumn<QByteArray>("lineStart");

    QTest::newRow("queued") << false << QByteArray("[warning][slotWrite][no memory for an answer");
    QTest::newRow("awaited") << true
                             << QByteArray("[warning][slotWaitWrite][no memory for an answer");
}

void tst_NoMemory::answerThatFitsNoMemoryEndsItsConnection()
{
    QFETCH(bool, isAwaited);
    QFETCH(QByteArray, lineStart);
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress::LocalHost));
    TcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, listener.serverPort());
    QVERIFY(socket.waitForConnected(5000));
    socket.updatePeerInfo();
    // The peer reads nothing, so the socket wants to keep most of it. Mapped, since under the
    // address sanitizer no block of that size can be had.
    constexpr int kSize = 128 * 1024 * 1024;
    void* const area =
        mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    QVERIFY(area != MAP_FAILED);
    const auto unmap = qScopeGuard([area] { munmap(area, kSize); });
    const auto answer = QByteArray::fromRawData(static_cast<const char*>(area), kSize);
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));
    QSignalSpy finished(&socket, &TcpSocket::sigFinished);
    {
        const MemoryLimit limit(64);
        if (isAwaited)
            socket.slotWaitWrite(answer);
        else
            socket.slotWrite(answer);
    }
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    QCOMPARE(socket.state(), QAbstractSocket::UnconnectedState);
    const QStringList lines = LogCapture::with("[no memory for");
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().startsWith(QString::fromUtf8(lineStart)), qPrintable(lines.first()));
    QCOMPARE(finished.count(), isAwaited ? 1 : 0);
}

namespace {

/// A socket of the service, on the thread of the test, and its client.
class Connection
{
public:
    Connection()
    {
        QTcpServer listener;
        listener.listen(QHostAddress::LocalHost);
        client.connectTo(listener.serverPort());
        socket.setSocketDescriptor(accept(int(listener.socketDescriptor()), nullptr, nullptr));
        socket.updatePeerInfo();
    }

    RawClient client;
    TcpSocket socket;
};

} // namespace

void tst_NoMemory::readThatFitsNoMemoryEndsItsConnection()
{
    Connection connection;
    TcpSocket& socket = connection.socket;
    constexpr int kSize = 128 * 1024 * 1024;
    // The socket holds the bytes in many blocks, and they are to be read in one.
    socket.setReadBufferSize(0);
    QObject::disconnect(&socket, &QIODevice::readyRead, &socket, &TcpSocket::slotReadyRead);
    const ClientThreads sender(1, [&](int) {
        const QByteArray piece(1024 * 1024, 'x');
        for (int sent = 0; sent < kSize; sent += piece.size())
            connection.client.send(piece);
    });
    QVERIFY(serveUntil([&] { return socket.bytesAvailable() == kSize; }, 30000));
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));
    int linesAtTheEnd = -1;
    connect(&socket, &QAbstractSocket::disconnected, this,
            [&] { linesAtTheEnd = LogCapture::with("[no memory for").size(); });
    {
        const MemoryLimit limit(64);

        socket.slotReadyRead();
    }
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    QCOMPARE(socket.state(), QAbstractSocket::UnconnectedState);
    const QStringList lines = LogCapture::with("[no memory for");
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().startsWith(
                 QLatin1String("[warning][slotReadyRead][no memory for a read of 134217728 bytes")),
             qPrintable(lines.first()));
    QCOMPARE(linesAtTheEnd, 0); // what the connection held is given back before it is told
}

namespace {

/// Small blocks can be had while this lives, and none of 64 KiB or more.
class NoLargeBlocks
{
public:
    NoLargeBlocks()
    {
        for (void* block = malloc(kLarge); block; block = malloc(kLarge)) {
            *static_cast<void**>(block) = _blocks;
            _blocks = block;
        }
    }
    ~NoLargeBlocks()
    {
        while (void* block = _blocks) {
            _blocks = *static_cast<void**>(block);
            free(block);
        }
    }
    NoLargeBlocks(const NoLargeBlocks&) = delete;
    NoLargeBlocks& operator=(const NoLargeBlocks&) = delete;

private:
    static constexpr size_t kLarge = size_t(64) * 1024;

    MemoryLimit _limit{0};
    void* _blocks = nullptr;
};

} // namespace

void tst_NoMemory::uploadGoesOnWithoutTheMemoryForItsShortcut()
{
#if defined(__SANITIZE_ADDRESS__)
    QSKIP("the sanitizer's allocator always has blocks of this size");
#endif
    const QTemporaryDir dir;
    PublicClass::init()->dataDir = dir.path();
    Connection connection;
    RelayRecorder relay;
    connection.socket.setRelayObj(&relay);
    QByteArray data;
    for (int i = 0; i < 40000; ++i)
        data += QByteArray::number(i) + ' ';
    const QByteArray head = buildFrame(5104, 1, {}, data).left(ky::kHeaderSize);
    const QString path = dir.filePath(QStringLiteral("ferno/temp/up/upgrade.zip"));
    {
        const NoLargeBlocks limit;

        connection.client.send(head);
        QTRY_VERIFY(QFile::exists(path));
        connection.client.send(data);
        QVERIFY(serveUntil([&] { return !relay.requests.empty(); }, 20000));
    }

    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll() == data);
}

QTEST_GUILESS_MAIN(tst_NoMemory)
#include "tst_NoMemory.moc"
