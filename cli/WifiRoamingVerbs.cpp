#include "cli/Invocation.h"
#include "cli/NetworkVerbs.h"
#include "cli/Table.h"
#include "cli/WifiView.h"
#include "support/MacAddress.h"

namespace ky {

namespace {

int runList(Invocation& call)
{
    return call.ask("wifi_list", {}, [&call](const QVariantMap& answer) {
        call.print(tableText(answer.value(QStringLiteral("wifi_list")).toList(),
                             {{"ssid", "SSID"},
                              {"bssid", "BSSID"},
                              {"frequency", "MHz"},
                              {"rssi", "dBm"},
                              {"is_encrypted", "ENCRYPTED"}}));
        const QString inUse = valueText(answer.value(QStringLiteral("current_wifi")));
        if (!inUse.isEmpty())
            call.print(QStringLiteral("in use: %1\n").arg(inUse));
    });
}

int runStatus(Invocation& call)
{
    return call.ask("wifi_status", {}, [&call](const QVariantMap& answer) {
        call.print(linkText(answer) + QLatin1Char('\n'));
        call.print(mapText(answer.value(QStringLiteral("status")).toMap()));
    });
}

int runAps(Invocation& call)
{
    return call.ask("wifi_aps", {}, [&call](const QVariantMap& answer) {
        call.print(tableText(answer.value(QStringLiteral("aps")).toList(), {{"mac", "BSSID"},
                                                                            {"frequency", "MHz"},
                                                                            {"signal", "dBm"},
                                                                            {"status", "IN USE"},
                                                                            {"ssid", "SSID"}}));
    });
}

int runRoaming(Invocation& call)
{
    const QString state = call.argument(0);
    if (state != QLatin1String("on") && state != QLatin1String("off"))
        return call.wrong(QStringLiteral("roaming is switched on or off, not %1").arg(state));
    return call.ask("wifi_roaming", {{QStringLiteral("on"), state == QLatin1String("on")}});
}

int runRoam(Invocation& call)
{
    const QString bssid = call.argument(0);
    if (!isMacAddress(bssid))
        return call.wrong(QStringLiteral("'%1' is not a MAC address").arg(bssid));
    return call.ask("wifi_roam", {{QStringLiteral("bssid"), bssid}});
}

} // namespace

std::vector<Verb> wifiRoamingVerbs()
{
    return {
        {"list", "", "Scans and shows every access point in reach", {}, "kyctl wifi list", runList},
        {"status",
         "",
         "Shows the link and the state of the card",
         {},
         "kyctl wifi status",
         runStatus},
        {"aps",
         "",
         "Scans and shows the access points of the network in use",
         {},
         "kyctl wifi aps",
         runAps},
        {"roaming",
         "on|off",
         "Lets link supervision roam, or not",
         {},
         "kyctl wifi roaming on",
         runRoaming},
        {"roam",
         "BSSID",
         "Asks for a roam to one access point",
         {},
         "kyctl wifi roam 02:00:00:00:05:00",
         runRoam},
        {"watch",
         "",
         "Shows the link, the candidates of both bands and the last decision, until Ctrl-C",
         {{"--every", "SECONDS", "time between two looks; 2 if not given"},
          {"--count", "N", "end after so many looks"}},
         "kyctl wifi watch --every 1",
         runWifiWatch}};
}

} // namespace ky
