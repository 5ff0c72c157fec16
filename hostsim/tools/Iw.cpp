#include "EmbeddedTexts.h"
#include "model/Radio.h"
#include "tools/Tools.h"

namespace hostsim {

namespace {

int link(Call& call, const Host& host, const Card& card)
{
    const AccessPoint* ap = host.accessPoint(card.link.bssid);
    // A card that is an access point has no link of its own.
    if (!ap || isHotspot(card)) {
        call.out("Not connected.\n");
        return 0;
    }
    const Traffic& t = card.traffic;
    call.out("Connected to " + ap->bssid + " (on " + card.name + ")\n" + //
             "\tSSID: " + wirelessEscaped(ap->ssid) + "\n" +             //
             "\tfreq: " + std::to_string(ap->frequency) + "\n" +         //
             "\tRX: " + std::to_string(t.rxBytes) + " bytes (" + std::to_string(t.rxPackets) +
             " packets)\n" + //
             "\tTX: " + std::to_string(t.txBytes) + " bytes (" + std::to_string(t.txPackets) +
             " packets)\n" + //
             "\tsignal: " + std::to_string(ap->level) + " dBm\n" +
             "\trx bitrate: 130.0 MBit/s MCS 15\n\ttx bitrate: 130.0 MBit/s MCS 15\n\n"
             "\tbss flags:\tshort-slot-time\n\tdtim period:\t2\n\tbeacon int:\t100\n");
    return 0;
}

} // namespace

int iw(Call& call)
{
    const size_t at = call.arg(0) == "dev" ? 1 : 0;
    const Host host = call.host();
    const Card* card = host.card(call.arg(at));
    if (card && card->isWifi() && call.arg(at + 1) == "link")
        return link(call, host, *card);
    if (card && card->isWifi() && call.arg(at + 1) == "set" && call.arg(at + 2) == "power_save")
        return 0;
    // For an unknown card as well: iw takes its name for a command.
    call.out(kIwUsage);
    return 1;
}

} // namespace hostsim
