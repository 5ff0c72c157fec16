#include "cli/Invocation.h"
#include "cli/NetworkVerbs.h"

namespace ky {

namespace {

/// The addressing that the arguments from `first` on tell; nothing if they make no sense.
bool readAddressing(const Invocation& call, int first, QVariantMap* request)
{
    const bool isDhcp = call.has("--dhcp");
    const int given = call.arguments().size() - first;
    if (isDhcp ? given != 0 : given < 2)
        return false;
    request->insert(QStringLiteral("dhcp"), isDhcp);
    request->insert(QStringLiteral("ip"), call.argument(first));
    request->insert(QStringLiteral("mask"), call.argument(first + 1));
    request->insert(QStringLiteral("gateway"), call.argument(first + 2));
    return true;
}

int setAddress(Invocation& call, const char* command)
{
    QVariantMap request;
    if (!readAddressing(call, 0, &request))
        return call.wrong(QStringLiteral("give ADDRESS and MASK, or --dhcp"));
    return call.ask(command, request);
}

int runWifi(Invocation& call)
{
    return setAddress(call, "net_set_wifi_ip");
}

int runWired(Invocation& call)
{
    return setAddress(call, "net_set_wired_ip");
}

int runSsid(Invocation& call)
{
    QVariantMap request{{QStringLiteral("ssid"), call.argument(0)},
                        {QStringLiteral("passwd"), call.option("--password")},
                        {QStringLiteral("nonBroadcast"), call.has("--hidden")}};
    if (!readAddressing(call, 1, &request))
        return call.wrong(QStringLiteral("give SSID, ADDRESS and MASK"));
    return call.ask("net_set_ssid_ip", request);
}

int runFactory(Invocation& call)
{
    return call.ask("net_factory");
}

int runActivate(Invocation& call)
{
    return call.ask("net_activate");
}

int runHmi(Invocation& call)
{
    if (call.arguments().isEmpty())
        return call.ask("net_hmi");
    return call.ask("net_hmi", {{QStringLiteral("hmiIP"), call.argument(0)}});
}

int runReport(Invocation& call)
{
    return call.ask("net_report");
}

int runSupervision(Invocation& call)
{
    const QString state = call.argument(0);
    if (state == QLatin1String("status"))
        return call.ask("supervision_status");
    if (state != QLatin1String("on") && state != QLatin1String("off"))
        return call.wrong(QStringLiteral("supervision takes on, off or status, not %1").arg(state));
    return call.ask("supervision_set", {{QStringLiteral("on"), state == QLatin1String("on")}});
}

} // namespace

std::vector<Verb> netAddressVerbs()
{
    const std::vector<Option> dhcp = {{"--dhcp", "", "take the address from the network"}};
    return {{"set-wifi-ip", "[ADDRESS] [MASK] [GATEWAY]",
             "Sets the address of the Wi-Fi connection in use", dhcp,
             "kyctl net set-wifi-ip 10.0.0.7 255.255.255.0 10.0.0.1", runWifi},
            {"set-wired-ip", "[ADDRESS] [MASK] [GATEWAY]",
             "Sets the address of the wired card, whose profile is made anew", dhcp,
             "kyctl net set-wired-ip --dhcp", runWired},
            {"set-ssid-ip",
             "SSID ADDRESS MASK [GATEWAY]",
             "Joins a Wi-Fi and sets its address",
             {{"--password", "TEXT", "its pass phrase"}, {"--hidden", "", "it hides its name"}},
             "kyctl net set-ssid-ip site 10.0.0.7 255.255.255.0 --password secret12",
             runSsid},
            {"factory",
             "",
             "Puts the internal card back on its address",
             {},
             "kyctl net factory",
             runFactory},
            {"activate",
             "",
             "Makes sure that a wired card has the internal address",
             {},
             "kyctl net activate",
             runActivate},
            {"hmi",
             "[ADDRESS]",
             "Shows or sets the address of the operator panel",
             {},
             "kyctl net hmi 10.0.0.20",
             runHmi},
            {"report",
             "",
             "Sends the report of addresses and Wi-Fi",
             {},
             "kyctl net report",
             runReport},
            {"supervision",
             "on|off|status",
             "Starts or stops link supervision, or shows it",
             {},
             "kyctl net supervision status",
             runSupervision}};
}

} // namespace ky
