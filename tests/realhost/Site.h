#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>

class SystemNetwork;

/// The site of the virtual machine: its access points, and independent looks at the host, by tools
/// and not by the library.
namespace site {

constexpr char kKey[] = "robot-site-key";
constexpr char kRouter[] = "10.77.0.1";

/// Access points by the numbers of the site script.
enum AccessPoint
{
    Site5G = 1,
    Site24G,
    Open,
    Hidden,
    Chinese,
    Enterprise
};
QString bssid(int accessPoint);

/// Whether this is the machine, with its site up.
bool isUp();

/// Standard output of a shell line; its standard error is added to it.
QString run(const QString& line, int limitMs = 60000);
bool waitUntil(const std::function<bool()>& condition, int limitMs);

void setLevel(int accessPoint, int dbm);
void switchAccessPoint(int accessPoint, bool isOn);
/// Everything as at boot: all access points up and near, no profile of a card.
void reset();

/// Whether NetworkManager lists an access point of this network.
bool sees(const QString& ssid);
/// SSID, BSSID and level of the link as `iw` has them now; empty and 0 without one.
QString linkedSsid();
QString linkedBssid();
int linkedLevel();
QString addressOf(const QString& card);
bool canReachRouter();
QStringList profilesOfType(const QString& type);

/// The language of the host's tools for as long as it lives: "zh_CN.UTF-8".
class Language
{
public:
    explicit Language(const QString& name);
    ~Language();
    Q_DISABLE_COPY(Language)
};

/// A SystemNetwork in a working directory of its own, as a daemon would set it up on a host of the
/// ordinary board.
class Robot
{
public:
    explicit Robot(const QStringList& settings = {});
    ~Robot();
    SystemNetwork* operator->() { return _network.get(); }
    SystemNetwork& network() { return *_network; }

private:
    QTemporaryDir _home;
    std::unique_ptr<SystemNetwork> _network;
};

} // namespace site

/// First line of initTestCase(): these tests change the host.
#define REQUIRE_SITE()                                                                             \
    if (!site::isUp())                                                                             \
    QFAIL("not the machine of ./dev realhost: nothing was run")
