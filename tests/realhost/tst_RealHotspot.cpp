#include "Site.h"

#include "network/SystemNetwork.h"

#include <QtTest>

using site::Robot;

/// The robot as an access point, joined by a second station.
class tst_RealHotspot : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { REQUIRE_SITE(); }
    void init() { site::reset(); }
    void cleanup() { site::run("ip netns exec sta killall -q wpa_supplicant"); }

    void firstStartFailsWithoutAProfileToDelete();
    void startsIsJoinedAndStops();
};

void tst_RealHotspot::firstStartFailsWithoutAProfileToDelete()
{
    Robot robot;
    robot->setLastError("of an earlier call");

    QVERIFY(!robot->startHotspot({{"ssid", "RobotSpot"}, {"passwd", "hotspot-key"}}));

    QCOMPARE(robot->getLastError(), QString("of an earlier call"));
}

void tst_RealHotspot::startsIsJoinedAndStops()
{
    site::run("nmcli connection add type wifi con-name MyHostspot ifname wlan0 ssid any");
    Robot robot;

    QVERIFY2(robot->startHotspot({{"ssid", "RobotSpot"}, {"passwd", "hotspot-key"}}),
             qPrintable(robot->getLastError()));
    site::run("printf 'network={\\nssid=\"RobotSpot\"\\npsk=\"hotspot-key\"\\n}\\n' >/run/sta.conf;"
              "ip netns exec sta wpa_supplicant -B -i wlan7 -c /run/sta.conf");
    QVERIFY2(
        site::waitUntil(
            [] {
                return site::run("ip netns exec sta iw dev wlan7 link").contains("SSID: RobotSpot");
            },
            60000),
        qPrintable(site::run("ip netns exec sta iw dev wlan7 link; nmcli device")));
    // Every line of the table that is asked ends in a blank, so no field ever has the name.
    QVERIFY(!robot->isHostspot());

    QVERIFY2(robot->stopHotspot(), qPrintable(robot->getLastError()));
    QVERIFY(!site::profilesOfType("802-11-wireless").contains("MyHostspot"));
}

QTEST_GUILESS_MAIN(tst_RealHotspot)
#include "tst_RealHotspot.moc"
