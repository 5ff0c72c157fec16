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

namespace {

constexpr ky::Argument kArguments[] = {
    ky::whole("a", "a number", 0, 10).required(),
};

constexpr ky::Command row(const char* name)
{
    return ky::command(name, 1, "of this test");
}

constexpr ky::Command kOne = row("one");
constexpr ky::Command kTwo = row("two");
constexpr ky::Command kSame = row("same");
constexpr ky::Command kZero = row("zero");
constexpr ky::Command kHigh = row("high");
constexpr ky::Command kHighest = row("highest");
constexpr ky::Command kJudged = row("one").takes(kArguments).takesUpTo(1000);

} // namespace

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
    void wrongArgumentsDoNotReachTheHandler_data();
    void wrongArgumentsDoNotReachTheHandler();
    void nameWithoutARowIsAProblem();
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
                                                            {"highest", 55535},
                                                            {"hardware_info", 2455},
                                                            {"version", 2012}});
    _relay->setSink(&_sink);
}

void tst_Relay::ask(int command, const QVariant& json, const QByteArray& data)
{
    _relay->slotRevInterface(QString(), 7, quint16(command + 10000), 42, data, json);
}

void tst_Relay::answerCarriesTypeNumberAndCodes()
{
    _relay->addCommand(kOne, [](const ky::Request&) { return ky::Answer::ok({{"a", 1}}); });

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
    _relay->addCommand(kOne, [](const ky::Request&) { return ky::Answer::ok(); });

    _relay->slotRevInterface("something else", 7, 12001, 1, {}, {});

    QCOMPARE(_sink.sent.value(0).map().value("ret_code").toInt(), 0);
    QCOMPARE(_sink.sent.size(), 1);
}

void tst_Relay::areasAreAnsweredAsTheyCame()
{
    _relay->addCommand(
        kOne, [](const ky::Request& request) { return ky::Answer::areas("{}", request.data); });

    ask(2001, {}, QByteArray("a\0b", 3));

    QCOMPARE(_sink.sent.value(0).jsonSize(), 2);
    QCOMPARE(_sink.sent.value(0).body, QByteArray("{}a\0b", 5));
}

void tst_Relay::answerThatNoFrameHoldsIsAnError()
{
    // Never read: it is its size alone that does not fit.
    const QByteArray huge = QByteArray::fromRawData("x", std::numeric_limits<int>::max() - 16);
    _relay->addCommand(kOne, [&](const ky::Request&) { return ky::Answer::areas({}, huge); });

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
        kOne, [&](const ky::Request&) { return ky::Answer::areas(QByteArray(size, ' '), {}); });

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
    _relay->addCommand(kOne, [&](const ky::Request&) { return ky::Answer::areas({}, large); });
    _sink.taken[7] = 1;

    for (int i = 0; i < 70 && _sink.cutOff.isEmpty(); ++i)
        ask(2001);

    QCOMPARE(_sink.cutOff, QList<qintptr>{7});
    QCOMPARE(_sink.sent.size(), 64);
}

void tst_Relay::failureCarriesCodeAndText()
{
    _relay->addCommand(kOne,
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
    QTest::addColumn<bool>("hasArguments");
    QTest::addColumn<QByteArray>("payload");
    const QVariantMap map{{"a", 1.0}};
    const QByteArray text("{\"a\":1}");
    QTest::newRow("JSON area") << QVariant(map) << QByteArray() << true << QByteArray();
    QTest::newRow("data area") << QVariant() << text << true << QByteArray();
    QTest::newRow("data area, blanks in front")
        << QVariant() << " \n\t" + text << true << QByteArray();
    QTest::newRow("JSON area wins")
        << QVariant(map) << QByteArray("{\"a\":11}") << true << QByteArray("{\"a\":11}");
    QTest::newRow("data beside them")
        << QVariant(map) << QByteArray("x") << true << QByteArray("x");
    QTest::newRow("a list") << QVariant(QVariantList{1}) << QByteArray() << false << QByteArray();
    QTest::newRow("noise") << QVariant() << QByteArray("\xff{") << false << QByteArray("\xff{");
    QTest::newRow("broken JSON") << QVariant() << QByteArray("{\"a\":") << false
                                 << QByteArray("{\"a\":");
    QTest::newRow("nothing") << QVariant() << QByteArray() << false << QByteArray();
}

void tst_Relay::argumentsComeFromEitherArea()
{
    QFETCH(QVariant, json);
    QFETCH(QByteArray, data);
    QFETCH(bool, hasArguments);
    ky::Request request;
    request.json = json;
    request.data = data;

    const QString problem = ky::readArguments(kJudged, &request);

    QCOMPARE(problem, hasArguments ? QString() : QString("argument [a]: missing"));
    QCOMPARE(request.arguments.whole("a"), hasArguments ? 1 : 0);
    QTEST(request.payload(), "payload");
}

void tst_Relay::wrongArgumentsDoNotReachTheHandler_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("text");
    QTest::newRow("missing") << QByteArray("{}") << "argument [a]: missing";
    QTest::newRow("out of range") << QByteArray("{\"a\":11}")
                                  << "argument [a]: not a whole number from 0 to 10";
    const QByteArray largest = "{\"a\":1" + QByteArray(1001 - 7, ' ') + '}';
    QTest::newRow("more than the row allows") << largest << "arguments: more than 1000 bytes";
    QTest::newRow("no more than it allows") << largest.left(999) + '}' << "";
}

void tst_Relay::wrongArgumentsDoNotReachTheHandler()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, text);
    int calls = 0;
    const auto handler = [&](const ky::Request&) { return ++calls, ky::Answer::ok(); };
    constexpr ky::Command late = row("two").takes(kArguments).takesUpTo(1000);
    _relay->addCommand(kJudged, handler);
    _relay->addLateCommand(late, [&](const ky::Request& request, const ky::Ticket& ticket) {
        ticket.answer(handler(request));
    });

    ask(2001, {}, data);
    ask(2002, {}, data);

    QCOMPARE(calls, text.isEmpty() ? 2 : 0);
    QCOMPARE(_sink.sent.size(), 2);
    for (const FakeSink::Sent& sent : qAsConst(_sink.sent)) {
        QCOMPARE(sent.map().value("ret_code").toInt(), text.isEmpty() ? 0 : 40002);
        QTEST(sent.map().value("err_msg").toString(), "text");
    }
}

void tst_Relay::nameWithoutARowIsAProblem()
{
    _relay->addCommand("one", [](const ky::Request&) { return ky::Answer::ok(); });

    QCOMPARE(_relay->firstProblem(), QString("command [one]: not in the catalogue"));
}

void tst_Relay::nameWithoutNumberIsAProblem()
{
    _relay->addCommand(kZero, [](const ky::Request&) { return ky::Answer::ok(); });

    QCOMPARE(_relay->firstProblem(), QString("command [zero]: no usable number in the table"));
}

void tst_Relay::numberTooHighToAnswerIsAProblem()
{
    _relay->addCommand(kHighest, [](const ky::Request&) { return ky::Answer::ok(); });
    QCOMPARE(_relay->firstProblem(), QString());

    _relay->addCommand(kHigh, [](const ky::Request&) { return ky::Answer::ok(); });
    QCOMPARE(_relay->firstProblem(), QString("command [high]: no usable number in the table"));
}

void tst_Relay::numberThatServesTwiceIsAProblem()
{
    _relay->addCommand(kOne, [](const ky::Request&) { return ky::Answer::ok(); });
    _relay->addCommand(kSame, [](const ky::Request&) { return ky::Answer::ok(); });

    QCOMPARE(_relay->firstProblem(), QString("command [same]: number 2001 serves already"));
}

void tst_Relay::ticketAnswersLater()
{
    ky::Ticket kept;
    _relay->addLateCommand(kOne,
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
    _relay->addLateCommand(kOne, [](const ky::Request&, const ky::Ticket& ticket) {
        ticket.answer(ky::Answer::ok());
        ticket.answer(ky::Answer::ok());
    });

    ask(2001);

    QCOMPARE(_sink.sent.size(), 1);
}

void tst_Relay::ticketAnswersFromAnotherThread()
{
    std::unique_ptr<QThread> thread;
    _relay->addLateCommand(kOne, [&](const ky::Request&, const ky::Ticket& ticket) {
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
    _relay->addLateCommand(kOne,
                           [&](const ky::Request&, const ky::Ticket& ticket) { kept = ticket; });
    ask(2001);
    _sink.peers.clear();

    kept.answer(ky::Answer::ok());

    QCOMPARE(_sink.sent.size(), 0);
}

void tst_Relay::ticketDoesNotReachTheNextClientOfTheHandle()
{
    ky::Ticket kept;
    _relay->addLateCommand(kOne,
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
        addThreadCommand(_thread, "hardware_info", [this](const ky::Request&) {
            // Limited, so that a handler in the daemon's thread is a failure and no standstill.
            gate.tryAcquire(1, 5000);
            return ky::Answer::ok();
        });
        addCommand("version", [](const ky::Request&) { return ky::Answer::ok(); });
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

    ask(2455);
    ask(2012);
    QCOMPARE(_sink.sent.size(), 1);
    QCOMPARE(_sink.sent.value(0).type(), 12012);

    subsystem.gate.release();
    QTRY_COMPARE(_sink.sent.size(), 2);
    QCOMPARE(_sink.sent.value(1).type(), 12455);
}

void tst_Relay::commandWithoutMemoryIsAnsweredWithAnError()
{
    _relay->addCommand(kOne, [](const ky::Request&) -> ky::Answer { throw std::bad_alloc(); });
    _relay->addCommand(kTwo, [](const ky::Request&) { return ky::Answer::ok(); });

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
    _relay->addLateCommand(kOne, [&](const ky::Request&, const ky::Ticket& ticket) {
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
