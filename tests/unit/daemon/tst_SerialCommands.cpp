#include "FakeSink.h"
#include "daemon/FrameCourier.h"
#include "daemon/SerialCommands.h"
#include "ports/SystemSerialPort.h"
#include "pty/Pty.h"

#include <QTest>

#include <memory>

/// The serial subsystem without a service around it.
class tst_SerialCommands : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void portKnowsTheRequestInProgress_data();
    void portKnowsTheRequestInProgress();
    void onlyRealErrorsAreEvents();

private:
    QVariantMap ask(int command, int number, const QVariantMap& arguments);
    QStringList errorEvents() const;

    FakeSink _sink;
    std::unique_ptr<ky::Relay> _relay;
    std::unique_ptr<ky::EventHub> _events;
};

namespace {

constexpr int kHandle = 7;
constexpr int kOpen = 2211;
constexpr int kWrite = 2212;
constexpr int kExchange = 2213;
constexpr int kClose = 2214;
constexpr int kErrorEvent = 2912;

/// The subsystem with its port in reach.
class Serial : public ky::SerialCommands
{
public:
    using SerialCommands::SerialCommands;
    const SystemSerialPort& port() const { return *_port; }
};

QVariantMap lineRequest(const QString& name)
{
    return {
        {"portName", name}, {"baudRate", 9600}, {"stopBits", 1}, {"dataBits", 8}, {"parity", 0}};
}

} // namespace

void tst_SerialCommands::init()
{
    const QMap<QString, int> numbers{{"serial_list", 2210},
                                     {"serial_open", kOpen},
                                     {"serial_write", kWrite},
                                     {"serial_exchange", kExchange},
                                     {"serial_close", kClose},
                                     {"serial_ports_save", 2215},
                                     {"serial_ports_remove", 2216},
                                     {"event_serial_data", 2911},
                                     {"event_serial_error", kErrorEvent}};
    _sink = FakeSink();
    _sink.peers = {{kHandle, "10.0.0.1:1000"}};
    _relay = std::make_unique<ky::Relay>(numbers);
    _relay->setSink(&_sink);
    _events = std::make_unique<ky::EventHub>(numbers);
    _events->setSink(&_sink);
    _events->subscribe(kHandle, {"event_serial_error"});
}

/// The answer to one request.
QVariantMap tst_SerialCommands::ask(int command, int number, const QVariantMap& arguments)
{
    _relay->slotRevInterface(QString(), kHandle, quint16(command + 10000), quint16(number), {},
                             arguments);
    QVariantMap answer;
    const auto hasAnswer = [&] {
        for (const FakeSink::Sent& sent : qAsConst(_sink.sent)) {
            if (sent.type() == command + 10000 && sent.number() == number)
                answer = sent.map();
        }
        return !answer.isEmpty();
    };
    return QTest::qWaitFor(hasAnswer, 5000) ? answer : QVariantMap();
}

QStringList tst_SerialCommands::errorEvents() const
{
    QStringList texts;
    for (const FakeSink::Sent& sent : _sink.sent) {
        if (sent.type() == kErrorEvent)
            texts << sent.map().value("text").toString();
    }
    return texts;
}

void tst_SerialCommands::portKnowsTheRequestInProgress_data()
{
    QTest::addColumn<int>("command");

    QTest::newRow("open") << kOpen;
    QTest::newRow("write") << kWrite;
    QTest::newRow("exchange") << kExchange;
    QTest::newRow("close") << kClose;
}

void tst_SerialCommands::portKnowsTheRequestInProgress()
{
    QFETCH(int, command);
    ky::FrameCourier courier([](const ky::Parcel&) { return QString(); });
    const ky::DaemonSettings settings;
    Serial serial({*_relay, *_relay, *_relay, *_events, courier, settings});

    const QVariantMap answer = ask(command, 1234, {{"portName", "ttyNone9"}, {"data", "00"}});

    QVERIFY(answer.contains("ret_code")); // answered, so the request is over
    QCOMPARE(serial.port().getRequstHandle(), qint64(kHandle));
    QCOMPARE(serial.port().getRequstNumber(), 1234);
}

void tst_SerialCommands::onlyRealErrorsAreEvents()
{
    ky::FrameCourier courier([](const ky::Parcel&) { return QString(); });
    const ky::DaemonSettings settings;
    Serial serial({*_relay, *_relay, *_relay, *_events, courier, settings});
    Pty pty;

    QCOMPARE(ask(kOpen, 1, lineRequest(pty.path()))["ret_code"], QVariant(0.0));
    const QVariantMap refused = ask(kOpen, 2, lineRequest("ttyNone9"));

    QCOMPARE(refused["ret_code"].toInt(), 40211);
    QTRY_VERIFY(!errorEvents().isEmpty());
    QCOMPARE(errorEvents().size(), 1);
    QVERIFY2(refused["err_msg"].toString().endsWith(errorEvents().first()),
             qPrintable(errorEvents().first()));
}

QTEST_GUILESS_MAIN(tst_SerialCommands)
#include "tst_SerialCommands.moc"
