#include "PlainReceiver.h"
#include "RelayRecorder.h"
#include "StreamMaker.h"

#include "host/PublicClass.h"
#include "service/TcpSocket.h"

#include <QTemporaryDir>
#include <QtTest>

/// Random streams of frames and noise, cut at random, against the model of the receive rules.
class tst_ReceiveRules : public QObject
{
    Q_OBJECT

private slots:
    void randomStreamsAreTakenAsTheModelTells_data();
    void randomStreamsAreTakenAsTheModelTells();
    void stopWithinNoiseKeepsTheRest();
    void bytesOfAnUploadAreNeitherKeptNorCopied();
    void randomStreamsThroughASocketAreDeliveredAsTheModelTells_data();
    void randomStreamsThroughASocketAreDeliveredAsTheModelTells();
};

namespace {

constexpr int kPlainStreams = 20000;
constexpr int kSocketStreams = 1000;

/// The next read of a stream: short ones half the time.
QByteArray nextRead(StreamMaker& make, const QByteArray& stream, int at)
{
    return stream.mid(at, 1 + make.below(make.below(2) == 0 ? 8 : 200));
}

bool hasTakenAsTold(const PlainReceiver& receiver, const ReceiveModel& model)
{
    return receiver.buffer.toStdString() == model.buffer && receiver.file == model.file &&
           receiver.openings == model.openings && receiver.deliveries == model.deliveries &&
           receiver.losses == model.losses;
}

bool isSame(const RelayRecorder::Request& seen, const ReceiveModel::Delivery& told)
{
    // The relay sees JSON parsed: the model's text is compared through the same parser.
    const auto json = QJsonDocument::fromJson(QByteArray::fromStdString(told.json)).toVariant();
    return quint16(seen.answerType - 10000) == told.type && seen.number == told.number &&
           seen.json == json && seen.data.toStdString() == told.data;
}

std::string contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : "no file";
}

} // namespace

void tst_ReceiveRules::randomStreamsAreTakenAsTheModelTells_data()
{
    QTest::addColumn<bool>("hasUploads");
    QTest::addColumn<bool>("canOpen");
    QTest::addColumn<int>("stopOneReadIn");
    QTest::newRow("frames") << false << true << 0;
    QTest::newRow("uploads") << true << true << 0;
    QTest::newRow("uploads without a file") << true << false << 0;
    QTest::newRow("frames, stopped at times") << false << true << 4;
    QTest::newRow("uploads, stopped at times") << true << true << 4;
}

void tst_ReceiveRules::randomStreamsAreTakenAsTheModelTells()
{
    QFETCH(bool, hasUploads);
    QFETCH(bool, canOpen);
    QFETCH(int, stopOneReadIn);
    for (unsigned seed = 1; seed <= kPlainStreams; ++seed) {
        StreamMaker make(seed, hasUploads);
        PlainReceiver receiver;
        ReceiveModel model;
        receiver.canOpen = model.canOpen = canOpen;
        const QByteArray stream = make.stream();
        for (int at = 0; at < stream.size();) {
            const QByteArray bytes = nextRead(make, stream, at);
            at += bytes.size();
            model.isNeedStop = stopOneReadIn > 0 && make.below(stopOneReadIn) == 0;
            receiver.isNeedStop = model.isNeedStop;

            receiver.read(bytes);
            model.read(bytes.toStdString());

            QVERIFY2(hasTakenAsTold(receiver, model),
                     qPrintable(QStringLiteral("seed %1, byte %2").arg(seed).arg(at)));
        }
        QVERIFY(receiver.hasMemory);
    }
}

void tst_ReceiveRules::stopWithinNoiseKeepsTheRest()
{
    PlainReceiver receiver;
    receiver.lossesToStop = 2;

    receiver.read("noise");

    QCOMPARE(receiver.losses.size(), size_t(2));
    QCOMPARE(receiver.buffer, QByteArray("ise"));
}

void tst_ReceiveRules::bytesOfAnUploadAreNeitherKeptNorCopied()
{
    PlainReceiver receiver;
    const QByteArray json = "{\"name\":\"file\"}";
    const QByteArray frame = ky::buildFrame(5104, 7, json, QByteArray(100000, 'f'));

    // The first read waits in the buffer until the second has come.
    receiver.read(frame.left(1000));
    receiver.read(frame.mid(1000, 1000));
    for (int at = 2000; at < frame.size() - 1000; at += 1000) {
        const QByteArray bytes = frame.mid(at, 1000);
        receiver.read(bytes);
        QVERIFY(receiver.lastWritten == bytes.constData());
    }

    QVERIFY(receiver.buffer.size() <= 16 + json.size() + 1000);
    QVERIFY(receiver.file.size() > 98000);
    QVERIFY(receiver.deliveries.empty());
}

void tst_ReceiveRules::randomStreamsThroughASocketAreDeliveredAsTheModelTells_data()
{
    QTest::addColumn<bool>("hasUploads");
    QTest::newRow("frames") << false;
    QTest::newRow("uploads") << true;
}

void tst_ReceiveRules::randomStreamsThroughASocketAreDeliveredAsTheModelTells()
{
    QFETCH(bool, hasUploads);
    const QTemporaryDir dir;
    PublicClass::init()->dataDir = dir.path();
    const QString path = dir.filePath(QStringLiteral("ferno/temp/up/upgrade.zip"));
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    for (unsigned seed = 1; seed <= kSocketStreams; ++seed) {
        StreamMaker make(seed, hasUploads);
        RelayRecorder relay;
        TcpSocket socket;
        socket.setRelayObj(&relay);
        ReceiveModel model;
        const QByteArray stream = make.stream();
        for (int at = 0; at < stream.size();) {
            const QByteArray bytes = nextRead(make, stream, at);
            at += bytes.size();
            const size_t before = model.deliveries.size();

            socket.resolveTcpReadData(1, bytes);
            model.read(bytes.toStdString());

            // The next upload empties the file.
            const bool isEnd = model.deliveries.size() > before || at == stream.size();
            if (isEnd && model.openings > 0)
                QVERIFY(contentOf(path) == model.file);
        }
        QCoreApplication::sendPostedEvents(&relay);

        QVERIFY2(std::equal(relay.requests.begin(), relay.requests.end(), model.deliveries.begin(),
                            model.deliveries.end(), isSame),
                 qPrintable(QStringLiteral("seed %1").arg(seed)));
    }
}

QTEST_GUILESS_MAIN(tst_ReceiveRules)
#include "tst_ReceiveRules.moc"
