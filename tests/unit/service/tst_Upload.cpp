#include "EchoService.h"
#include "LogCapture.h"
#include "RawClient.h"
#include "RelayRecorder.h"

#include "host/PublicClass.h"
#include "service/TcpSocket.h"

#include <QDeadlineTimer>
#include <QTemporaryDir>

#include <memory>
#include <random>
#include <sys/ioctl.h>

using ky::buildFrame;

/// Frames of type 5104, whose data goes to a file.
class tst_Upload : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void dataGoesToTheFileAndTheRequestHasNone();
    void uploadInOneReadTakesTheNextFrameToo();
    void uploadInPiecesIsWrittenAsItArrives_data();
    void uploadInPiecesIsWrittenAsItArrives();
    void incompleteJsonAreaWritesNothingYet();
    void uploadIsLogged();
    void secondUploadEmptiesTheSameFile();
    void emptyUploadMakesAnEmptyFile();
    void fileThatCannotBeOpenedLeavesTheFrameInMemory();
    void cutOffUploadLeavesTheNextOneWorking();
    void bytesKeepTheirOrderAndTheNextFrameIsServed();
    void bytesPastTheSocketsBufferAreThoseOfItsPeer_data();
    void bytesPastTheSocketsBufferAreThoseOfItsPeer();
    void stopDuringAnUploadKeepsWhatArrives();
    void oneGibibyteStaysUnder100MiBOfMemory();

private:
    QString path() const { return _dir->filePath("ferno/temp/up/upgrade.zip"); }
    QByteArray content() const
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }
    void read(const QByteArray& bytes)
    {
        _socket->resolveTcpReadData(5, bytes);
        QCoreApplication::sendPostedEvents(_relay.get());
    }

    std::unique_ptr<QTemporaryDir> _dir;
    std::unique_ptr<RelayRecorder> _relay;
    std::unique_ptr<TcpSocket> _socket;
};

void tst_Upload::init()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    _dir = std::make_unique<QTemporaryDir>();
    PublicClass::init()->dataDir = _dir->path();
    _relay = std::make_unique<RelayRecorder>();
    _socket = std::make_unique<TcpSocket>();
    _socket->setRelayObj(_relay.get());
}

void tst_Upload::dataGoesToTheFileAndTheRequestHasNone()
{
    read(buildFrame(5104, 3, "{\"n\":1}", "content"));

    QCOMPARE(content(), QByteArray("content"));
    QCOMPARE(_relay->requests.size(), size_t(1));
    QVERIFY(_relay->requests[0].data.isEmpty());
    QCOMPARE(_relay->requests[0].json.toMap().value("n").toInt(), 1);
    QCOMPARE(_relay->requests[0].answerType, quint16(15104));
}

void tst_Upload::uploadInOneReadTakesTheNextFrameToo()
{
    const QByteArray next = buildFrame(2000, 4, {}, "next");

    read(buildFrame(5104, 3, {}, "content") + next);

    QCOMPARE(content(), "content" + next);
    QCOMPARE(_relay->requests.size(), size_t(1));
}

void tst_Upload::uploadInPiecesIsWrittenAsItArrives_data()
{
    QTest::addColumn<int>("piece");
    for (int piece : {2, 3, 16, 17, 30, 31, 1000, 4096})
        QTest::newRow(qPrintable(QString::number(piece))) << piece;
}

void tst_Upload::uploadInPiecesIsWrittenAsItArrives()
{
    QFETCH(int, piece);
    QByteArray data;
    for (int i = 0; i < 10000; ++i)
        data += char(i * 7);
    const QByteArray frame = buildFrame(5104, 3, "{\"name\":\"x\"}", data);

    for (int at = 0; at < frame.size(); at += piece)
        read(frame.mid(at, piece));
    read(buildFrame(2000, 9, {}, "after"));

    QCOMPARE(content(), data);
    QCOMPARE(_relay->requests.size(), size_t(2));
    QCOMPARE(_relay->requests[0].json.toMap().value("name").toString(), QStringLiteral("x"));
    QCOMPARE(_relay->requests[1].data, QByteArray("after"));
}

void tst_Upload::incompleteJsonAreaWritesNothingYet()
{
    const QByteArray frame = buildFrame(5104, 3, "{\"name\":\"upgrade\"}", "data");

    read(frame.left(20));
    read(frame.mid(20, 5));
    QCOMPARE(content(), QByteArray());
    read(frame.mid(25));

    QCOMPARE(content(), QByteArray("data"));
    QCOMPARE(_relay->requests.size(), size_t(1));
}

void tst_Upload::uploadIsLogged()
{
    const LogCapture log("ky.service");

    read(buildFrame(5104, 1, {}, "content"));

    QCOMPARE(log.lines().value(0),
             QStringLiteral("[debug][resolveTcpReadData]upgradeFilePath: ") + path());
    QCOMPARE(log.lines().value(1), QStringLiteral("[debug][resolveData]Save File"));
}

void tst_Upload::secondUploadEmptiesTheSameFile()
{
    read(buildFrame(5104, 1, {}, "a long first content"));
    read(buildFrame(5104, 2, {}, "second"));

    QCOMPARE(content(), QByteArray("second"));
    QCOMPARE(_relay->requests.size(), size_t(2));
}

void tst_Upload::emptyUploadMakesAnEmptyFile()
{
    read(buildFrame(5104, 1, {}, "old"));
    read(buildFrame(5104, 2, {}, {}));

    QCOMPARE(content(), QByteArray());
    QCOMPARE(_relay->requests.size(), size_t(2));
}

void tst_Upload::fileThatCannotBeOpenedLeavesTheFrameInMemory()
{
    QVERIFY(QDir().mkpath(path())); // a folder of the file's name

    const QByteArray frame = buildFrame(5104, 1, "[1]", "in memory");
    read(frame.left(21));
    read(frame.mid(21));

    QCOMPARE(_relay->requests.size(), size_t(1));
    QCOMPARE(_relay->requests[0].data, QByteArray("in memory"));
    QVERIFY(_relay->requests[0].json.isValid());
}

void tst_Upload::cutOffUploadLeavesTheNextOneWorking()
{
    EchoService service;
    QByteArray answer;
    const ClientThreads clients(1, [&](int) {
        {
            RawClient first;
            first.connectTo(service.port());
            first.send(buildFrame(5104, 1, {}, QByteArray(100000, 'x')).left(60000));
        }
        RawClient second;
        second.connectTo(service.port());
        second.send(buildFrame(5104, 2, {}, "whole"));
        answer = second.receiveFrame();
    });

    QTRY_VERIFY(clients.areDone());

    QCOMPARE(answer, buildFrame(15104, 2, {}, {}));
    QCOMPARE(service.requests, qint64(1));
}

namespace {

QByteArray noise(int size)
{
    std::minstd_rand random(1);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char& byte : bytes)
        byte = char(random() >> 8);
    return bytes;
}

/// A client and the service's end of its connection, which lives on the thread of the test.
class Connection
{
public:
    explicit Connection(TcpSocket& socket)
    {
        QTcpServer listener;
        listener.listen(QHostAddress::LocalHost);
        client.connectTo(listener.serverPort());
        accepted = accept(int(listener.socketDescriptor()), nullptr, nullptr);
        socket.setSocketDescriptor(accepted);
        socket.setIntptr(accepted);
    }

    /// Whether all that was sent soon waits in the kernel for the service.
    bool isWaiting(int size) const
    {
        const QDeadlineTimer limit(5000);
        int waiting = 0;
        while (waiting < size && !limit.hasExpired())
            ioctl(accepted, FIONREAD, &waiting);
        return waiting == size;
    }

    RawClient client;
    int accepted = -1;
};

} // namespace

void tst_Upload::bytesKeepTheirOrderAndTheNextFrameIsServed()
{
    EchoService service;
    const QByteArray data = noise(64 * 1024 * 1024);
    QByteArray first;
    QByteArray second;
    const ClientThreads clients(1, [&](int) {
        RawClient client;
        client.connectTo(service.port());
        client.send(buildFrame(5104, 1, "{}", data));
        first = client.receiveFrame();
        client.send(buildFrame(2000, 2, {}, "next"));
        second = client.receiveFrame();
    });

    QVERIFY(serveUntil([&] { return clients.areDone(); }, 60000));

    QCOMPARE(first, buildFrame(15104, 1, {}, {}));
    QCOMPARE(second, buildFrame(12000, 2, {}, "next"));
    QVERIFY(content() == data);
}

void tst_Upload::bytesPastTheSocketsBufferAreThoseOfItsPeer_data()
{
    // Behind a proxy the descriptor leads to somebody else.
    QTest::addColumn<bool>("isPeerKnown");
    QTest::newRow("the descriptor leads to the peer") << true;
    QTest::newRow("not known to") << false;
}

void tst_Upload::bytesPastTheSocketsBufferAreThoseOfItsPeer()
{
    QFETCH(bool, isPeerKnown);
    Connection connection(*_socket);
    if (isPeerKnown)
        _socket->updatePeerInfo();
    const QByteArray data = noise(50000);
    const QByteArray frame = buildFrame(5104, 1, {}, data);
    connection.client.send(frame.left(16));
    QTRY_VERIFY(QFile::exists(path()));
    connection.client.send(frame.mid(16));
    QVERIFY(connection.isWaiting(data.size()));

    QSignalSpy reads(_socket.get(), &QIODevice::readyRead);
    while (reads.isEmpty())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    const qint64 atOnce = QFileInfo(path()).size();
    QTRY_COMPARE(_relay->requests.size(), size_t(1));

    // One notice brings all of it only to a socket that may read past its own buffer.
    QVERIFY2((atOnce == data.size()) == isPeerKnown, qPrintable(QString::number(atOnce)));
    QVERIFY(content() == data);
}

void tst_Upload::stopDuringAnUploadKeepsWhatArrives()
{
    Connection connection(*_socket);
    _socket->updatePeerInfo();
    const QByteArray data = noise(90000);
    const QByteArray frame = buildFrame(5104, 1, {}, data);
    connection.client.send(frame.left(16));
    QTRY_VERIFY(QFile::exists(path()));
    connection.client.send(frame.mid(16, 30000));
    QTRY_COMPARE(QFileInfo(path()).size(), qint64(30000));

    _socket->setIsNeedStop(true);
    QSignalSpy reads(_socket.get(), &QIODevice::readyRead);
    connection.client.send(frame.mid(30016, 10000));
    QTRY_VERIFY(!reads.isEmpty() && connection.isWaiting(0) && _socket->bytesAvailable() == 0);
    QCOMPARE(QFileInfo(path()).size(), qint64(30000));

    _socket->setIsNeedStop(false);
    connection.client.send(frame.mid(40016));
    QTRY_COMPARE(QFileInfo(path()).size(), qint64(90000));
    QVERIFY(content() == data);
    // What came meanwhile has not been counted: the upload ends so many bytes late.
    QCoreApplication::processEvents();
    QCOMPARE(_relay->requests.size(), size_t(0));
    connection.client.send(QByteArray(10000, 'x'));
    QTRY_COMPARE(_relay->requests.size(), size_t(1));
    QVERIFY(content() == data + QByteArray(10000, 'x'));
}

void tst_Upload::oneGibibyteStaysUnder100MiBOfMemory()
{
    // On disk: a file of a memory file system may be accounted to this process.
    constexpr qint64 kSize = 1024LL * 1024 * 1024;
    EchoService service;
    const long before = residentKib();
    std::atomic<long> most{0};
    QByteArray answer;
    const ClientThreads clients(1, [&](int) {
        const QByteArray piece(1024 * 1024, 'u');
        QByteArray head = buildFrame(5104, 1, {}, {});
        qToBigEndian(quint32(kSize), head.data() + 4);
        RawClient client;
        client.connectTo(service.port());
        client.send(head);
        for (qint64 sent = 0; sent < kSize; sent += piece.size()) {
            client.send(piece);
            if (sent % (64 * piece.size()) == 0)
                most = std::max(most.load(), residentKib());
        }
        answer = client.receiveFrame();
    });

    QVERIFY(serveUntil([&] { return clients.areDone(); }, 200000));

    QCOMPARE(answer, buildFrame(15104, 1, {}, {}));
    QCOMPARE(QFileInfo(path()).size(), kSize);
    QVERIFY2(most - before < 100 * 1024, qPrintable(QString::number(most - before)));
}

QTEST_GUILESS_MAIN(tst_Upload)
#include "tst_Upload.moc"
