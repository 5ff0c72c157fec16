#include "model/Profiles.h"
#include "tools/Nmcli.h"

namespace hostsim::nm {

namespace {

int failNew(Call& call, const std::string& reason)
{
    return call.fail(kActivationFailed,
                     fill(call.pick("Error: Failed to add/activate new connection: %1\n",
                                    "错误：添加/激活新连接失败：%1\n"),
                          {reason}));
}

Profile* fittingProfile(Host& host, const Card& card)
{
    Profile* latest = nullptr;
    for (Profile& profile : host.profiles) {
        const Keyfile keyfile(profile.text);
        const bool isNewer = !latest || profile.usedAt > latest->usedAt;
        if (fits(keyfile, card) && tryJoining(host, card, keyfile) == Joining::Done && isNewer)
            latest = &profile;
    }
    return latest;
}

// For a wired card NetworkManager creates a profile by itself, named after the card.
Profile& wiredProfile(Host& host, const StateFolder& folder, const Card& card)
{
    Keyfile keyfile;
    keyfile.setText("connection", "id", card.name);
    keyfile.setRaw("connection", "uuid", newUuid(host));
    keyfile.setRaw("connection", "type", "ethernet");
    keyfile.setRaw("connection", "interface-name", card.name);
    keyfile.addGroup("ethernet");
    keyfile.setRaw("ipv4", "method", "auto");
    keyfile.setRaw("ipv6", "addr-gen-mode", "default");
    keyfile.setRaw("ipv6", "method", "auto");
    keyfile.addGroup("proxy");
    return addProfile(host, folder, keyfile);
}

int connectCard(Call& call, Host& host, Card& card)
{
    Profile* profile = fittingProfile(host, card);
    if (!profile && card.isCan())
        return failNew(call, "Device class NMDeviceGeneric had no complete_connection method");
    if (!profile && card.isWifi())
        return failNew(call, "A 'wireless' setting is required if no AP path was given.");
    if (!profile)
        profile = &wiredProfile(host, call.folder(), card);
    const Joining result = activate(host, card, *profile);
    if (result != Joining::Done)
        return fail(call, kActivationFailed,
                    call.pick("Connection activation failed: IP configuration could not be "
                              "reserved (no available address, timeout, etc.)",
                              "连接激活失败：无法保留 IP 配置（没有可用地址、超时等）"));
    call.out(activatedLine(call, card.name, profile->uuid));
    return 0;
}

int failNoDevice(Call& call, const std::string& name)
{
    return fail(call, kNotFound,
                fill(call.pick("Device '%1' not found", "未找到设备 \"%1\""), {name}));
}

} // namespace

int deviceConnect(Call& call, size_t first)
{
    const std::string name = call.arg(first);
    if (!call.host().card(name))
        return failNoDevice(call, name);
    call.wait(900);
    int status = 0;
    call.store().change([&](Host& host) { status = connectCard(call, host, *host.card(name)); });
    return status;
}

int deviceDisconnect(Call& call, size_t first)
{
    const std::string name = call.arg(first);
    int status = 0;
    call.store().change([&](Host& host) {
        Card* card = host.card(name);
        if (!card) {
            status = failNoDevice(call, name);
            return;
        }
        deactivate(*card);
        card->nm.keptDown = true;
        call.out(
            fill(call.pick("Device '%1' successfully disconnected.\n", "成功断开设备 \"%1\"。\n"),
                 {name}));
    });
    return status;
}

} // namespace hostsim::nm
