#include "EchoService.h"
#include "RawClient.h"
#include "RelayRecorder.h"

#include "host/PublicClass.h"
#include "service/TcpSocket.h"

#include <QTemporaryDir>

#include <memory>

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

namespace {

QStringList logged;

void keepLog(QtMsgType, const QMessageLogContext&, const QString& text)
{
    logged << text;
}

} // namespace

void tst_Upload::uploadIsLogged()
{
    logged.clear();
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.debug=true"));
    const auto before = qInstallMessageHandler(keepLog);

    read(buildFrame(5104, 1, {}, "content"));

    qInstallMessageHandler(before);
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    QCOMPARE(logged.value(0),
             QStringLiteral("[debug][resolveTcpReadData]upgradeFilePath: ") + path());
    QCOMPARE(logged.value(1), QStringLiteral("[debug][resolveData]Save File"));
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
