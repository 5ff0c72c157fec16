#include "cli/Invocation.h"
#include "cli/NetworkVerbs.h"
#include "cli/Table.h"

namespace ky {

namespace {

int runCards(Invocation& call)
{
    return call.ask("net_cards", {}, [&call](const QVariantMap& answer) {
        call.print(tableText(answer.value(QStringLiteral("cards")).toList(),
                             {{"name", "NAME"},
                              {"hardwareAddress", "HARDWARE"},
                              {"ip", "ADDRESS"},
                              {"mask", "MASK"},
                              {"gateway", "GATEWAY"},
                              {"dhcp", "DHCP"}}));
    });
}

int switchCard(Invocation& call)
{
    const QString state = call.argument(0);
    const QString card = call.argument(1);
    const int kind = card == QLatin1String("wired")      ? 0
                     : card == QLatin1String("wireless") ? 1
                                                         : -1;
    if (kind < 0 || (state != QLatin1String("on") && state != QLatin1String("off")))
        return call.wrong(
            QStringLiteral("say which card and how: 'net card off wireless' (on or off, "
                           "wired or wireless)"));
    return call.ask("card_switch", {{QStringLiteral("kind"), kind},
                                    {QStringLiteral("disable"), state == QLatin1String("off")}});
}

int runCard(Invocation& call)
{
    const QString first = call.argument(0);
    if (!call.argument(1).isEmpty() || first == QLatin1String("on") ||
        first == QLatin1String("off"))
        return switchCard(call);
    QVariantMap which;
    for (const char* role : {"wifi", "wired", "internal"}) {
        if (call.has(qPrintable(QStringLiteral("--") + QLatin1String(role))))
            which.insert(QStringLiteral("role"), QLatin1String(role));
    }
    if (!first.isEmpty())
        which.insert(QStringLiteral("name"), first);
    if (which.size() != 1)
        return call.wrong(QStringLiteral("one NAME, or one of --wifi, --wired and --internal"));
    return call.ask("net_card", which, [&call](const QVariantMap& answer) {
        call.print(mapText(answer.value(QStringLiteral("card")).toMap()));
    });
}

int runInterfaces(Invocation& call)
{
    return call.ask("net_interfaces", {}, [&call](const QVariantMap& answer) {
        call.print(tableText(answer.value(QStringLiteral("interfaces")).toList(),
                             {{"index", "INDEX"},
                              {"name", "NAME"},
                              {"type", "TYPE"},
                              {"flags", "FLAGS"},
                              {"maximumTransmissionUnit", "MTU"},
                              {"hardwareAddress", "HARDWARE"}}));
    });
}

int runDriver(Invocation& call)
{
    return call.ask("net_driver");
}

int runPing(Invocation& call)
{
    return call.ask("net_ping", {{QStringLiteral("ip"), call.argument(0)}});
}

int runConnectDevice(Invocation& call)
{
    return call.ask("net_connect_device", {{QStringLiteral("name"), call.argument(0)}});
}

int runDisableDriver(Invocation& call)
{
    return call.ask("net_disable_driver", {{QStringLiteral("disable"), !call.has("--off")}});
}

int runSettings(Invocation& call)
{
    return call.ask("net_settings", {{QStringLiteral("reload"), call.has("--reload")}},
                    [&call](const QVariantMap& answer) {
                        call.print(mapText(answer.value(QStringLiteral("settings")).toMap()));
                    });
}

int runProfile(Invocation& call)
{
    return call.ask("net_profile", {{QStringLiteral("id"), call.argument(0)}});
}

} // namespace

std::vector<Verb> netCardVerbs()
{
    return {
        {"cards", "", "Lists the cards with their addresses", {}, "kyctl net cards", runCards},
        {"card",
         "[NAME|on|off] [wired|wireless]",
         "Shows one card: addresses, gateway, what NetworkManager tells of it; or switches one on "
         "or off, which removes the Wi-Fi profiles",
         {{"--wifi", "", "the wireless card"},
          {"--wired", "", "the wired card of the settings"},
          {"--internal", "", "the internal wired card, 192.168.192.5"}},
         "kyctl net card wlan0",
         runCard},
        {"interfaces",
         "",
         "Lists every interface as the kernel does",
         {},
         "kyctl net interfaces",
         runInterfaces},
        {"driver", "", "Shows the driver of the wired card", {}, "kyctl net driver", runDriver},
        {"ping",
         "ADDRESS",
         "Sends one probe; status 1 if it is lost",
         {},
         "kyctl net ping 10.0.0.1",
         runPing},
        {"connect-device",
         "NAME",
         "Has NetworkManager connect a card",
         {},
         "kyctl net connect-device eth1",
         runConnectDevice},
        {"disable-driver",
         "",
         "Puts the driver of the wired card on the kernel's blacklist",
         {{"--off", "", "only note that it is wanted again; the blacklist stays"}},
         "kyctl net disable-driver",
         runDisableDriver},
        {"settings",
         "",
         "Shows the stored settings, without pass phrases",
         {{"--reload", "", "have the daemon read them again first"}},
         "kyctl net settings --reload",
         runSettings},
        {"profile",
         "ID",
         "Shows the keyfile and the UUID of a profile",
         {},
         "kyctl net profile RobotNet",
         runProfile},
    };
}

} // namespace ky
