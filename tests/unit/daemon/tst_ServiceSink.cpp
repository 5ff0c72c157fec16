#include "FreePort.h"
#include "TaskState.h"

#include "daemon/ServiceSink.h"
#include "service/KyNetworkObject.h"

#include <QTcpSocket>
#include <QTest>

/// The daemon's end of the service, with the handle of whoever asked last.
class Asked : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE void slotRevInterface(const QString&, qintptr asker, quint16, quint16,
                                      const QByteArray&, const QVariant&)
    {
        handle = asker;
    }
    qintptr handle = -1;
};

class tst_ServiceSink : public QObject
{
    Q_OBJECT

private slots:
    void countsWhatThePeerTakes();
    void cutEndsAConnectionThatDoesNotRead();
};

namespace {

/// A request without areas.
const QByteArray kRequest = QByteArray::fromHex("5a0100010000000007d0000000000000");

/// A service with one client.
struct Line
{
    bool open()
    {
        const quint16 port = freePort();
        if (!service.listenTcp(port, 4, 1024, true))
            return false;
        client.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
        client.write(kRequest);
        return QTest::qWaitFor([&] { return asked.handle >= 0; }, 5000);
    }

    Asked asked;
    KyNetworkObject service{&asked};
    ky::ServiceSink sink{service};
    QTcpSocket client;
};

} // namespace

void tst_ServiceSink::countsWhatThePeerTakes()
{
    Line line;
    QVERIFY(line.open());
    const quint64 before = line.sink.takenBytes(line.asked.handle);

    line.sink.send(line.asked.handle, QByteArray(100000, 'x'));

    QTRY_COMPARE(line.client.bytesAvailable(), 100000);
    QTRY_COMPARE(line.sink.takenBytes(line.asked.handle) - before, quint64(100000));
    QCOMPARE(line.sink.takenBytes(-1), quint64(0));
}

void tst_ServiceSink::cutEndsAConnectionThatDoesNotRead()
{
    Line line;
    QVERIFY(line.open());
    line.client.setReadBufferSize(1);
    const quint64 before = line.sink.takenBytes(line.asked.handle);
    line.sink.send(line.asked.handle, QByteArray(32 * 1024 * 1024, 'x'));
    QTRY_VERIFY(line.sink.takenBytes(line.asked.handle) > before);
    QVERIFY(TaskState::waitUntilOthersSleep()); // the kernel takes no more
    QVERIFY2(line.sink.takenBytes(line.asked.handle) - before < 16 * 1024 * 1024,
             "the kernel holds less than what is allowed to wait");

    line.sink.cut(line.asked.handle);

    QTRY_VERIFY(line.sink.peerOf(line.asked.handle).isEmpty());
}

QTEST_GUILESS_MAIN(tst_ServiceSink)
#include "tst_ServiceSink.moc"
