#include "FakeSink.h"
#include "daemon/FrameCourier.h"
#include "daemon/Relay.h"
#include "daemon/Subsystem.h"

#include <QSemaphore>
#include <QTest>
#include <QThread>

#include <limits>
#include <memory>
#include <new>

class tst_Relay : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void answerCarriesTypeNumberAndCodes();
    void rowIsFoundByNumberWhateverTheName();
    void areasAreAnsweredAsTheyCame();
    void jsonAreaPastItsFieldIsAnError();
    void whoDoesNotReadItsAnswersIsCutOff();
    void failureCarriesCodeAndText();
    void answerThatNoFrameHoldsIsAnError();
    void unknownCommandIsAnswered();
    void typeIsReadModulo65536();
    void argumentsComeFromEitherArea_data();
    void argumentsComeFromEitherArea();
    void nameWithoutNumberIsAProblem();
    void numberTooHighToAnswerIsAProblem();
    void numberThatServesTwiceIsAProblem();
    void ticketAnswersLater();
    void ticketAnswersOnce();
    void ticketAnswersFromAnotherThread();
    void ticketOfAClientThatHasGoneAnswersNobody();
    void ticketDoesNotReachTheNextClientOfTheHandle();
    void threadCommandLeavesTheDaemonFree();
    void commandWithoutMemoryIsAnsweredWithAnError();
    void lateCommandWithoutMemoryIsAnsweredOnce();

private:
    void ask(int command, const QVariant& json = {}, const QByteArray& data = {});

    FakeSink _sink;
    std::unique_ptr<ky::Relay> _relay;
};

void tst_Relay::init()
{
    _sink = FakeSink();
    _sink.peers = {{7, "10.0.0.1:1000"}};
    _relay = std::make_unique<ky::Relay>(QMap<QString, int>{{"one", 2001},
                                                            {"two", 2002},
                                                            {"same", 2001},
                                                            {"zero", 0},
                                                            {"high", 55536},
                                                            {"highest", 55535}});
    _relay->setSink(&_sink);
}

void tst_Relay::ask(int command, const QVariant& json, const QByteArray& data)
{
    _relay->slotRevInterface(QString(), 7, quint16(command + 10000), 42, data, json);
}

void tst_Relay::answerCarriesTypeNumberAndCodes()
{
    _relay->addCommand("one", [](const ky::Request&) { return ky::Answer::ok({{"a", 1}}); });

    ask(2001);

    QCOMPARE(_sink.sent.size(), 1);
    const FakeSink::Sent& answer = _sink.sent.first();
    QCOMPARE(answer.handle, qintptr(7));
    QCOMPARE(answer.type(), 12001);
    QCOMPARE(answer.number(), 42);
    QCOMPARE(answer.jsonSize(), 0);
    QCOMPARE(int(qFromBigEndian(answer.header.revCommand)), 2001);
    QCOMPARE(int(qFromBigEndian(answer.header.dataSize)), answer.body.size());
    QCOMPARE(answer.map().value("a").toInt(), 1);
    QCOMPARE(answer.map().value("ret_code"), QVariant(0.0));
    QCOMPARE(answer.map().value("err_msg"), QVariant(""));
    QVERIFY(QDateTime::fromString(answer.map().value("create_on").toString(), Qt::ISODateWithMs)
                .isValid());
}

void tst_Relay::rowIsFoundByNumberWhateverTheName()
{
    _relay->addCommand("one", [](const ky::Request&) { return ky::Answer::ok(); });

    _relay->slotRevInterface("something else", 7, 12001, 1, {}, {});

    QCOMPARE(_sink.sent.value(0).map().value("ret_code").toInt(), 0);
    QCOMPARE(_sink.sent.size(), 1);
}

void tst_Relay::areasAreAnsweredAsTheyCame()
{
    _relay->addCommand(
        "one", [](const ky::Request& request) { return ky::Answer::areas("{}", request.data); });

    ask(2001, {}, QByteArray("a\0b", 3));

    QCOMPARE(_sink.sent.value(0).jsonSize(), 2);
    QCOMPARE(_sink.sent.value(0).body, QByteArray("{}a\0b", 5));
}

void tst_Relay::answerThatNoFrameHoldsIsAnError()
{
    // Never read: it is its size alone that does not fit.
    const QByteArray huge = QByteArray::fromRawData("x", std::numeric_limits<int>::max() - 16);
    _relay->addCommand("one", [&](const ky::Request&) { return ky::Answer::areas({}, huge); });

    ask(2001);

    QCOMPARE(_sink.sent.size(), 1);
    QCOMPARE(_sink.sent.first().type(), 12001);
    QCOMPARE(_sink.sent.first().map().value("ret_code").toInt(), 40004);
    QCOMPARE(_sink.sent.first().map().value("err_msg").toString(),
             QString("answer: more than one frame can hold"));
}

void tst_Relay::jsonAreaPastItsFieldIsAnError()
{
    int size = 0xffff;
    _relay->addCommand(
        "one", [&](const ky::Request&) { return ky::Answer::areas(QByteArray(size, ' '), {}); });

    ask(2001);
    QCOMPARE(_sink.sent.last().jsonSize(), 0xffff);
    QCOMPARE(_sink.sent.last().body.size(), 0xffff);

    ++size;
    ask(2001);
    QCOMPARE(_sink.sent.last().map().value("ret_code").toInt(), 40004);
}

void tst_Relay::whoDoesNotReadItsAnswersIsCutOff()
{
    const QByteArray large(1024 * 1024, 'x');
    _relay->addCommand("one", [&](const ky::Request&) { return ky::Answer::areas({}, large); });
    _sink.taken[7] = 1;

    for (int i = 0; i < 70 && _sink.cutOff.isEmpty(); ++i)
        ask(2001);

    QCOMPARE(_sink.cutOff, QList<qintptr>{7});
    QCOMPARE(_sink.sent.size(), 64);
}

void tst_Relay::failureCarriesCodeAndText()
{
    _relay->addCommand("one",
                       [](const ky::Request&) { return ky::Answer::of(false, 40300, "why"); });

    ask(2001);

    QCOMPARE(_sink.sent.value(0).map().value("ret_code").toInt(), 40300);
    QCOMPARE(_sink.sent.value(0).map().value("err_msg").toString(), QString("why"));
}

void tst_Relay::unknownCommandIsAnswered()
{
    ask(4999);

    QCOMPARE(_sink.sent.value(0).type(), 14999);
    QCOMPARE(_sink.sent.value(0).map().value("ret_code").toInt(), int(ky::kUnknownCommand));
    QCOMPARE(_sink.sent.value(0).map().value("err_msg").toString(),
             QString("unknown command [4999]"));
}

void tst_Relay::typeIsReadModulo65536()
{
    // 60000 + 10000 does not fit 16 bits.
    ask(60000);

    QCOMPARE(_sink.sent.value(0).type(), 4464);
    QCOMPARE(_sink.sent.value(0).map().value("err_msg").toString(),
             QString("unknown command [60000]"));
}

void tst_Relay::argumentsComeFromEitherArea_data()
{
    QTest::addColumn<QVariant>("json");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QVariantMap>("arguments");
    const QVariantMap map{{"a", 1.0}};
    QTest::newRow("JSON area") << QVariant(map) << QByteArray() << map;
    QTest::newRow("data area") << QVariant() << QByteArray("{\"a\":1}") << map;
    QTest::newRow("JSON area wins") << QVariant(map) << QByteArray("{\"b\":1}") << map;
    QTest::newRow("a list") << QVariant(QVariantList{1}) << QByteArray() << QVariantMap();
    QTest::newRow("noise") << QVariant() << QByteArray("\xff{") << QVariantMap();
    QTest::newRow("nothing") << QVariant() << QByteArray() << QVariantMap();
}

void tst_Relay::argumentsComeFromEitherArea()
{
    QFETCH(QVariant, json);
    QFETCH(QByteArray, data);
    QFETCH(QVariantMap, arguments);
    ky::Request request;
    request.json = json;
    request.data = data;

    QCOMPARE(request.arguments(), arguments);
    QCOMPARE(request.firstMissing({"a"}), arguments.isEmpty() ? QString("a") : QString());
}

void tst_Relay::nameWithoutNumberIsAProblem()
{
    _relay->addCommand("zero", [](const ky::Request&) { return ky::Answer::ok(); });

    QCOMPARE(_relay->firstProblem(), QString("command [zero]: no usable number in the table"));
}

void tst_Relay::numberTooHighToAnswerIsAProblem()
{
    _relay->addCommand("highest", [](const ky::Request&) { return ky::Answer::ok(); });
    QCOMPARE(_relay->firstProblem(), QString());

    _relay->addCommand("high", [](const ky::Request&) { return ky::Answer::ok(); });
    QCOMPARE(_relay->firstProblem(), QString("command [high]: no usable number in the table"));
}

void tst_Relay::numberThatServesTwiceIsAProblem()
{
    _relay->addCommand("one", [](const ky::Request&) { return ky::Answer::ok(); });
    _relay->addCommand("same", [](const ky::Request&) { return ky::Answer::ok(); });

    QCOMPARE(_relay->firstProblem(), QString("command [same]: number 2001 serves already"));
}

void tst_Relay::ticketAnswersLater()
{
    ky::Ticket kept;
    _relay->addLateCommand("one",
                           [&](const ky::Request&, const ky::Ticket& ticket) { kept = ticket; });
    ask(2001);
    QCOMPARE(_sink.sent.size(), 0);

    kept.answer(ky::Answer::ok());

    QCOMPARE(_sink.sent.size(), 1);
    QCOMPARE(_sink.sent.first().type(), 12001);
    QCOMPARE(_sink.sent.first().number(), 42);
}

void tst_Relay::ticketAnswersOnce()
{
    _relay->addLateCommand("one", [](const ky::Request&, const ky::Ticket& ticket) {
        ticket.answer(ky::Answer::ok());
        ticket.answer(ky::Answer::ok());
    });

    ask(2001);

    QCOMPARE(_sink.sent.size(), 1);
}

void tst_Relay::ticketAnswersFromAnotherThread()
{
    std::unique_ptr<QThread> thread;
    _relay->addLateCommand("one", [&](const ky::Request&, const ky::Ticket& ticket) {
        thread.reset(QThread::create([ticket] { ticket.answer(ky::Answer::ok()); }));
        thread->start();
    });

    ask(2001);

    QTRY_COMPARE(_sink.sent.size(), 1);
    thread->wait();
}

void tst_Relay::ticketOfAClientThatHasGoneAnswersNobody()
{
    ky::Ticket kept;
    _relay->addLateCommand("one",
                           [&](const ky::Request&, const ky::Ticket& ticket) { kept = ticket; });
    ask(2001);
    _sink.peers.clear();

    kept.answer(ky::Answer::ok());

    QCOMPARE(_sink.sent.size(), 0);
}

void tst_Relay::ticketDoesNotReachTheNextClientOfTheHandle()
{
    ky::Ticket kept;
    _relay->addLateCommand("one",
                           [&](const ky::Request&, const ky::Ticket& ticket) { kept = ticket; });
    ask(2001);
    _sink.peers.insert(7, "10.0.0.1:1001");

    kept.answer(ky::Answer::ok());

    QCOMPARE(_sink.sent.size(), 0);
}

namespace {

/// A subsystem with one command that blocks until the test lets it go.
class Blocking : public ky::Subsystem
{
public:
    explicit Blocking(const ky::DaemonContext& context)
        : Subsystem(context)
    {
        addThreadCommand(_thread, "one", [this](const ky::Request&) {
            // Limited, so that a handler in the daemon's thread is a failure and no standstill.
            gate.tryAcquire(1, 5000);
            return ky::Answer::ok();
        });
        addCommand("two", [](const ky::Request&) { return ky::Answer::ok(); });
    }

    QSemaphore gate;

private:
    ky::OwnThread _thread{QStringLiteral("blocking")};
};

} // namespace

void tst_Relay::threadCommandLeavesTheDaemonFree()
{
    ky::EventHub events({});
    ky::FrameCourier courier([](const ky::Parcel&) { return QString(); });
    const ky::DaemonSettings settings;
    Blocking subsystem({*_relay, *_relay, *_relay, events, courier, settings});

    ask(2001);
    ask(2002);
    QCOMPARE(_sink.sent.size(), 1);
    QCOMPARE(_sink.sent.value(0).type(), 12002);

    subsystem.gate.release();
    QTRY_COMPARE(_sink.sent.size(), 2);
    QCOMPARE(_sink.sent.value(1).type(), 12001);
}

void tst_Relay::commandWithoutMemoryIsAnsweredWithAnError()
{
    _relay->addCommand("one", [](const ky::Request&) -> ky::Answer { throw std::bad_alloc(); });
    _relay->addCommand("two", [](const ky::Request&) { return ky::Answer::ok(); });

    ask(2001);
    ask(2002);

    QCOMPARE(_sink.sent.size(), 2);
    QCOMPARE(_sink.sent.value(0).type(), 12001);
    QCOMPARE(_sink.sent.value(0).number(), 42);
    QCOMPARE(_sink.sent.value(0).map().value("ret_code").toInt(), int(ky::kOutOfMemory));
    QCOMPARE(_sink.sent.value(0).map().value("err_msg").toString(), QString("not enough memory"));
    QCOMPARE(_sink.sent.value(1).map().value("ret_code").toInt(), 0);
}

void tst_Relay::lateCommandWithoutMemoryIsAnsweredOnce()
{
    ky::Ticket kept;
    _relay->addLateCommand("one", [&](const ky::Request&, const ky::Ticket& ticket) {
        kept = ticket;
        throw std::bad_alloc();
    });

    ask(2001);
    kept.answer(ky::Answer::ok());

    QCOMPARE(_sink.sent.size(), 1);
    QCOMPARE(_sink.sent.first().type(), 12001);
    QCOMPARE(_sink.sent.first().map().value("ret_code").toInt(), int(ky::kOutOfMemory));
}

QTEST_GUILESS_MAIN(tst_Relay)
#include "tst_Relay.moc"
