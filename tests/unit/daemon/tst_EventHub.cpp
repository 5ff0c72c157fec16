#include "FakeSink.h"
#include "daemon/EventHub.h"

#include <QTest>

#include <memory>

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

QTEST_GUILESS_MAIN(tst_EventHub)
#include "tst_EventHub.moc"
