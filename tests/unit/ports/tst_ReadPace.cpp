#include "ports/ReadPace.h"

#include <QtTest>

#include <chrono>

using namespace std::chrono_literals;

class tst_ReadPace : public QObject
{
    Q_OBJECT

private slots:
    void noFrameIsNotBusy();
    void busWhoseFramesComeFastIsBusy_data();
    void busWhoseFramesComeFastIsBusy();
    void shortBurstIsNotBusy();
    void quietGapEndsTheBusyTime();
    void slowerFramesEndTheBusyTime();
    void burstsWithGapsAreNotBusy();
    void gapIsCountedFromTheLastFrame();
};

namespace {

/// Frames at even intervals; the clock starts anywhere.
struct Bus
{
    void frames(int count, std::chrono::microseconds interval)
    {
        for (int i = 0; i < count; ++i) {
            now += interval;
            pace.frameReadAt(now);
        }
    }

    ky::ReadPace pace;
    ky::ReadPace::Time now{1234567s};
};

} // namespace

void tst_ReadPace::noFrameIsNotBusy()
{
    QVERIFY(!ky::ReadPace().isBusy());
}

void tst_ReadPace::busWhoseFramesComeFastIsBusy_data()
{
    QTest::addColumn<int>("interval");
    QTest::addColumn<bool>("isBusy");

    QTest::newRow("1 Mbit/s full of long frames") << 125 << true;
    QTest::newRow("2000 a second") << 500 << true;
    QTest::newRow("a little less") << 501 << false;
    QTest::newRow("250 kbit/s full of long frames") << 520 << false;
    QTest::newRow("100 a second") << 10000 << false;
    QTest::newRow("all at once") << 0 << true;
}

void tst_ReadPace::busWhoseFramesComeFastIsBusy()
{
    QFETCH(int, interval);
    Bus bus;

    bus.frames(200, std::chrono::microseconds(interval));

    QTEST(bus.pace.isBusy(), "isBusy");
}

void tst_ReadPace::shortBurstIsNotBusy()
{
    Bus bus;

    bus.frames(32, 125us);
    QVERIFY(!bus.pace.isBusy());
    bus.frames(1, 125us);

    QVERIFY(bus.pace.isBusy());
}

void tst_ReadPace::quietGapEndsTheBusyTime()
{
    Bus bus;
    bus.frames(100, 125us);

    bus.frames(1, 5ms);
    QVERIFY(bus.pace.isBusy());
    bus.frames(1, 5001us);

    QVERIFY(!bus.pace.isBusy());
}

void tst_ReadPace::slowerFramesEndTheBusyTime()
{
    Bus bus;
    bus.frames(100, 125us);

    bus.frames(64, 1ms);

    QVERIFY(!bus.pace.isBusy());
}

void tst_ReadPace::burstsWithGapsAreNotBusy()
{
    Bus bus;

    for (int i = 0; i < 10; ++i) {
        bus.frames(1, 10ms);
        bus.frames(31, 1us);
        QVERIFY(!bus.pace.isBusy());
    }
}

void tst_ReadPace::gapIsCountedFromTheLastFrame()
{
    Bus bus;

    bus.frames(33, 400us); // 13 ms in all, more than a quiet gap lasts

    QVERIFY(bus.pace.isBusy());
}

QTEST_GUILESS_MAIN(tst_ReadPace)
#include "tst_ReadPace.moc"
