#include "FakeSink.h"
#include "daemon/EventHub.h"

#include <QTest>

#include <memory>

constexpr int kMiB = 1024 * 1024;

class tst_EventHub : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void onlyEventNamesAreEvents();
    void eventReachesWhoAskedForIt();
    void everyEventHasItsOwnNumber();
    void newSubscriptionReplacesTheOld();
    void emptySubscriptionEndsIt();
    void goneSubscriberIsForgotten();
    void nextClientOfTheHandleGetsNothing();
    void unknownEventIsNotSent();
    void whoStopsReadingIsCutOff();
    void whoReadsLateStays();

private:
    FakeSink _sink;
    std::unique_ptr<ky::EventHub> _hub;
};

void tst_EventHub::init()
{
    _sink = FakeSink();
    _sink.peers = {{7, "a:1"}, {8, "b:2"}};
    _hub = std::make_unique<ky::EventHub>(
        QMap<QString, int>{{"echo", 2000}, {"event_x", 2900}, {"event_y", 2901}});
    _hub->setSink(&_sink);
}

void tst_EventHub::onlyEventNamesAreEvents()
{
    QCOMPARE(_hub->names(), (QStringList{"event_x", "event_y"}));
}

void tst_EventHub::eventReachesWhoAskedForIt()
{
    _hub->subscribe(7, {"event_x"});
    _hub->subscribe(8, {"event_y"});

    _hub->publish("event_x", {{"a", 1}});

    QCOMPARE(_sink.sent.size(), 1);
    QCOMPARE(_sink.sent.first().handle, qintptr(7));
    QCOMPARE(_sink.sent.first().type(), 2900);
    QCOMPARE(_sink.sent.first().jsonSize(), 0);
    QCOMPARE(_sink.sent.first().map().value("a").toInt(), 1);
    QCOMPARE(_sink.sent.first().map().value("event").toString(), QString("event_x"));
    QVERIFY(_sink.sent.first().map().contains("create_on"));
}

void tst_EventHub::everyEventHasItsOwnNumber()
{
    _hub->subscribe(7, {"event_x"});

    _hub->publish("event_x", {});
    _hub->publish("event_x", {});

    QCOMPARE(_sink.sent.size(), 2);
    QVERIFY(_sink.sent.at(0).number() != _sink.sent.at(1).number());
}

void tst_EventHub::newSubscriptionReplacesTheOld()
{
    _hub->subscribe(7, {"event_x"});
    _hub->subscribe(7, {"event_y"});

    _hub->publish("event_x", {});

    QCOMPARE(_sink.sent.size(), 0);
}

void tst_EventHub::emptySubscriptionEndsIt()
{
    _hub->subscribe(7, {"event_x"});
    _hub->subscribe(7, {});

    QCOMPARE(_hub->subscriberCount(), 0);
}

void tst_EventHub::goneSubscriberIsForgotten()
{
    _hub->subscribe(7, {"event_x"});
    _hub->subscribe(8, {"event_x"});
    _sink.peers.remove(7);

    _hub->publish("event_x", {});

    QCOMPARE(_sink.sent.size(), 1);
    QCOMPARE(_sink.sent.first().handle, qintptr(8));
    QCOMPARE(_hub->subscriberCount(), 1);
}

void tst_EventHub::nextClientOfTheHandleGetsNothing()
{
    _hub->subscribe(7, {"event_x"});
    _sink.peers.insert(7, "c:3");

    _hub->publish("event_x", {});

    QCOMPARE(_sink.sent.size(), 0);
    QCOMPARE(_hub->subscriberCount(), 0);
}

void tst_EventHub::unknownEventIsNotSent()
{
    _hub->subscribe(7, {"event_x"});

    _hub->publish("event_z", {});
    _hub->publish("echo", {});

    QCOMPARE(_sink.sent.size(), 0);
}

void tst_EventHub::whoStopsReadingIsCutOff()
{
    _hub->subscribe(7, {"event_x"});
    _hub->subscribe(8, {"event_x"});
    _sink.taken[7] = 100 * kMiB; // answers of earlier: no credit

    int count = 0;
    for (; count < 40 && _sink.cutOff.isEmpty(); ++count) {
        _hub->publish("event_x", {{"text", QString(kMiB, 'x')}});
        _sink.taken[8] = quint64(count + 1) * (kMiB + 1000);
    }

    QCOMPARE(_sink.cutOff, QList<qintptr>{7});
    QCOMPARE(count, 16); // 16 events of a little more than a MiB are above the limit
    QCOMPARE(_hub->subscriberCount(), 1);
    _hub->publish("event_x", {});
    QCOMPARE(_sink.sent.last().handle, qintptr(8));
}

void tst_EventHub::whoReadsLateStays()
{
    _hub->subscribe(7, {"event_x"});

    for (int i = 0; i < 40; ++i) {
        _hub->publish("event_x", {{"text", QString(kMiB, 'x')}});
        _sink.taken[7] = quint64(qMax(0, i - 10)) * (kMiB + 1000); // ten behind, all the time
    }

    QVERIFY(_sink.cutOff.isEmpty());
    QCOMPARE(_hub->subscriberCount(), 1);
}

QTEST_GUILESS_MAIN(tst_EventHub)
#include "tst_EventHub.moc"
