// Thousands of random streams through the three readers of the clients, each compared with a
// slow model of its own rules.
#include "LogCapture.h"
#include "ReaderModels.h"
#include "clients/BlockThreadTcp.h"
#include "clients/KyTcpClient.h"
#include "clients/SCStatusTcp.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

namespace {

constexpr int kStreams = 10000;
constexpr int kSocketStreams = 1500;

/// Text as the log shows it, by the plainest road.
QString shown(const QByteArray& bytes)
{
    const int zero = bytes.indexOf('\0');
    return QString::fromUtf8(zero < 0 ? bytes : bytes.left(zero));
}

QStringList strictLines(const QList<model::Event>& events)
{
    QStringList lines;
    for (const model::Event& event : events) {
        if (event.kind == model::Event::Loss) {
            lines += "[warning][resolveTcpReadData]Network packet loss:" +
                     shown(QByteArray(1, char(event.lost)));
            continue;
        }
        lines += QString("[info][resolveTcpReadData][] Rev Server:Send:[%1] [number:%2] Rev:%3 "
                         "Data[size:%4B]: ")
                     .arg(event.revCommand)
                     .arg(event.number)
                     .arg(event.type)
                     .arg(event.json.size() + event.data.size()) +
                 shown(event.data);
    }
    return lines;
}

/// The owner that a status client wants.
class Owner : public QObject
{
    Q_OBJECT

public slots:
    void stateChanged(QAbstractSocket::SocketState) {}
    void receiveTcpError(QAbstractSocket::SocketError) {}
};

const QString kNotice =
    QStringLiteral("If the data region length is larger than 2048 bytes, it will not be printed");

/// What a report of an answer says behind "Data hex".
QString shownHex(const QString& report)
{
    const QString front = QStringLiteral("\nData hex: ");
    const int start = report.indexOf(front) + front.size();
    return report.mid(start, report.indexOf(QStringLiteral(" \nJSON[size:"), start) - start);
}

QByteArray seedText(quint32 seed)
{
    return "seed " + QByteArray::number(seed);
}

} // namespace

class tst_ReaderModels : public QObject
{
    Q_OBJECT

private slots:
    void blockingClient();
    void relayClient();
    void statusClient();
};

void tst_ReaderModels::blockingClient()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*.debug=false"));
    int frames = 0;
    int losses = 0;
    for (quint32 seed = 1; seed <= kStreams; ++seed) {
        BlockThreadTcp worker;
        worker.getSendData2({}, {}, 2000, 1);
        QSignalSpy finished(&worker, &BlockThreadTcp::sigFinished);
        model::Reader reader(true, false);
        int expectedEnds = 0;
        LogCapture log;
        for (const QByteArray& read : model::Stream(seed).reads()) {
            worker.resolveTcpReadData(read);
            const QList<model::Event> events = reader.feed(read);

            const QStringList lines = log.take();
            QVERIFY2(lines == strictLines(events), seedText(seed));
            for (const model::Event& event : events) {
                if (event.kind == model::Event::Loss) {
                    ++losses;
                    continue;
                }
                ++frames;
                expectedEnds += event.revCommand == 2000 && event.number == 1;
                if (&event == &events.last()) {
                    QVERIFY2(worker.receiveData() == event.data, seedText(seed));
                    QVERIFY2(worker.receiveMap().value("number") == event.number, seedText(seed));
                }
            }
            QVERIFY2(finished.count() == expectedEnds, seedText(seed));
        }
    }
    // The streams have really shown both.
    QVERIFY(frames > kStreams);
    QVERIFY(losses > kStreams);
}

void tst_ReaderModels::relayClient()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*.debug=false"));
    int frames = 0;
    for (quint32 seed = 1; seed <= kStreams; ++seed) {
        KyTcpClient client;
        QList<QVariantMap> maps;
        connect(&client, &KyTcpClient::sigSendWebSocketData, this,
                [&maps](const QString&, const QVariantMap& map) { maps += map; });
        model::Reader reader(false, true);
        LogCapture log;
        for (const QByteArray& read : model::Stream(seed).reads()) {
            maps.clear();
            const int result = client.resolveTcpReadData(read);
            const QList<model::Event> events = reader.feed(read);

            int losses = 0;
            int delivered = 0;
            for (const model::Event& event : events) {
                if (event.kind == model::Event::Loss) {
                    ++losses;
                    continue;
                }
                ++delivered;
                QVERIFY2(maps.size() == 1, seedText(seed));
                const QVariantMap expected{
                    {"headHex", QString::fromLatin1(event.head.toHex())},
                    {"sendCommand", event.revCommand},
                    {"number", event.number},
                    {"data", shown(event.json + event.data)},
                    {"jsonData", QString("")},
                    {"revCommand", event.type},
                };
                QVERIFY2(maps.first() == expected, seedText(seed));
            }
            frames += delivered;
            const int expectedResult = delivered > 0 ? 0 : reader.held().isEmpty() ? -1 : 1;
            QVERIFY2(result == expectedResult, seedText(seed));
            QVERIFY2(log.take().filter("Network packet loss").size() == losses, seedText(seed));
        }
    }
    QVERIFY(frames > kStreams);
}

void tst_ReaderModels::statusClient()
{
    // This reader takes its bytes from a socket, so each read goes over loopback by itself.
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    int frames = 0;
    int losses = 0;
    int notices = 0;
    for (quint32 seed = 1; seed <= kSocketStreams; ++seed) {
        Owner owner;
        auto* client = new SCStatusTcp(&owner);
        QVERIFY(!client->connectHost(QStringLiteral("127.0.0.1"), server.serverPort()));
        QVERIFY(client->tcpSocket()->waitForConnected(2000));
        QVERIFY(server.hasPendingConnections() || server.waitForNewConnection(2000));
        const std::unique_ptr<QTcpSocket> peer(server.nextPendingConnection());
        peer->setSocketOption(QAbstractSocket::LowDelayOption, 1);

        QStringList seen;
        QStringList hexes;
        connect(client, &SCStatusTcp::sigPrintInfo, this,
                [&](const QString& report) { hexes += shownHex(report); });
        connect(
            client, &SCStatusTcp::sigChangedText, this,
            [&](bool ok, int command, const QByteArray& data, const QByteArray& hex, int number) {
                seen += QString("%1 %2 %3 %4 %5")
                            .arg(ok)
                            .arg(command)
                            .arg(QString::fromLatin1(data.toBase64()), QString::fromLatin1(hex))
                            .arg(number);
            });
        model::Reader reader(false, false);
        int delivered = 0;
        for (const QByteArray& read : model::Stream(seed, seed % 4 == 0).reads()) {
            seen.clear();
            hexes.clear();
            QCOMPARE(peer->write(read), qint64(read.size()));
            QVERIFY(peer->flush());
            QVERIFY(client->tcpSocket()->waitForReadyRead(2000));

            QStringList expected;
            QStringList expectedHexes;
            for (const model::Event& event : reader.feed(read)) {
                const bool isFrame = event.kind == model::Event::Frame;
                (isFrame ? delivered : losses) += 1;
                expected += isFrame ? QString("1 %1 %2 %3 %4")
                                          .arg(event.type)
                                          .arg(QString::fromLatin1(event.data.toBase64()),
                                               QString::fromLatin1(event.data.toHex()))
                                          .arg(event.number)
                                    : QString("0 0   0");
                if (!isFrame)
                    continue;
                const bool isLong = event.buffered > 2048;
                notices += isLong;
                expectedHexes +=
                    isLong ? kNotice : QString::fromLatin1(event.data.toHex().toUpper());
            }
            QVERIFY2(seen == expected, seedText(seed));
            QVERIFY2(hexes == expectedHexes, seedText(seed));
        }
        frames += delivered;
    }
    QVERIFY(frames > kSocketStreams);
    QVERIFY(losses > kSocketStreams / 2);
    QVERIFY2(notices > 25, QByteArray::number(notices));
}

QTEST_GUILESS_MAIN(tst_ReaderModels)
#include "tst_ReaderModels.moc"
