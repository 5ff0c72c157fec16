#include "ReceiveModel.h"
#include "RelayRecorder.h"

#include "host/PublicClass.h"
#include "service/TcpSocket.h"
#include "wire/FrameWriter.h"

#include <QTemporaryDir>
#include <QtTest>

#include <random>

/// Random streams of frames and noise, cut at random, against the model of the receive rules.
class tst_TcpSocketModel : public QObject
{
    Q_OBJECT

private slots:
    void randomStreamsAreDeliveredAsTheModelTells_data();
    void randomStreamsAreDeliveredAsTheModelTells();

private:
    QTemporaryDir _dir;
};

namespace {

constexpr int kStreams = 10000;

class StreamMaker
{
public:
    StreamMaker(unsigned seed, bool hasUploads)
        : _random(seed)
        , _hasUploads(hasUploads)
    {}

    int below(int limit) { return int(_random() % unsigned(limit)); }

    QByteArray stream()
    {
        QByteArray bytes;
        const int pieces = 1 + below(8);
        for (int i = 0; i < pieces; ++i)
            bytes += below(4) == 0 ? noise() : frame();
        return bytes;
    }

private:
    /// Noise that likes the bytes of a header.
    QByteArray noise()
    {
        static const char likely[] = {'\x5a', '\x01', '\0', '\x10', 'n'};
        QByteArray bytes;
        for (int i = below(40); i > 0; --i)
            bytes += likely[below(int(sizeof likely))];
        return bytes;
    }

    QByteArray frame()
    {
        static const QByteArray jsons[] = {{}, "{}", "[1,2]", "{\"a\":\"b\"}", "broken{"};
        QByteArray data;
        for (int i = below(3) == 0 ? 0 : below(60); i > 0; --i)
            data += below(3) == 0 ? '\x5a' : char(below(3));
        const int type = _hasUploads && below(3) == 0 ? 5104 : 2000 + below(3000);
        QByteArray frame =
            ky::buildFrame(quint16(type), quint16(below(65536)), jsons[below(5)], data);
        if (below(10) == 0)
            frame[12] = char(below(2)); // jsonSize far over dataSize
        if (below(20) == 0)
            frame[7] = char(below(256)); // announces another size
        return frame;
    }

    std::mt19937 _random;
    bool _hasUploads;
};

std::vector<ReceiveModel::Delivery> delivered(const std::vector<RelayRecorder::Request>& requests)
{
    std::vector<ReceiveModel::Delivery> list;
    for (const auto& r : requests)
        list.push_back({quint16(r.answerType - 10000), r.number, {}, r.data.toStdString()});
    return list;
}

/// The relay sees JSON parsed: the model's text is compared through the same parser.
bool isSameJson(const std::string& text, const QVariant& json)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(text)).toVariant() == json;
}

std::string contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : "no file";
}

} // namespace

void tst_TcpSocketModel::randomStreamsAreDeliveredAsTheModelTells_data()
{
    QTest::addColumn<unsigned>("seed");
    QTest::addColumn<bool>("hasUploads");
    for (unsigned seed = 1; seed <= 10; ++seed) {
        const QString name = QStringLiteral("seed %1").arg(seed);
        QTest::newRow(qPrintable(name)) << seed << false;
        QTest::newRow(qPrintable(name + ", with uploads")) << seed << true;
    }
}

void tst_TcpSocketModel::randomStreamsAreDeliveredAsTheModelTells()
{
    QFETCH(unsigned, seed);
    QFETCH(bool, hasUploads);
    PublicClass::init()->dataDir = _dir.path();
    const QString path = _dir.filePath(QStringLiteral("ferno/temp/up/upgrade.zip"));
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    StreamMaker make(seed, hasUploads);
    for (int i = 0; i < kStreams / 10; ++i) {
        RelayRecorder relay;
        TcpSocket socket;
        socket.setRelayObj(&relay);
        ReceiveModel model;
        const QByteArray stream = make.stream();
        for (int at = 0; at < stream.size();) {
            const QByteArray chunk = stream.mid(at, 1 + make.below(make.below(2) == 0 ? 8 : 200));
            at += chunk.size();
            const size_t before = model.deliveries.size();

            socket.resolveTcpReadData(1, chunk);
            model.read(chunk.toStdString());

            // The next upload empties the file.
            const bool isEnd = model.deliveries.size() > before || at == stream.size();
            if (isEnd && model.openings > 0)
                QVERIFY(contentOf(path) == model.file);
        }
        QCoreApplication::sendPostedEvents(&relay);

        QCOMPARE(relay.requests.size(), model.deliveries.size());
        const auto seen = delivered(relay.requests);
        for (size_t n = 0; n < seen.size(); ++n) {
            QVERIFY(isSameJson(model.deliveries[n].json, relay.requests[n].json));
            model.deliveries[n].json.clear();
            QVERIFY2(seen[n] == model.deliveries[n],
                     qPrintable(QStringLiteral("stream %1 frame %2").arg(i).arg(n)));
        }
    }
}

QTEST_GUILESS_MAIN(tst_TcpSocketModel)
#include "tst_TcpSocketModel.moc"
