#include "model/Profiles.h"
#include "model/Radio.h"
#include "tools/Nmcli.h"

#include <algorithm>

namespace hostsim::nm {

namespace {

constexpr char kActivePath[] = "/org/freedesktop/NetworkManager/ActiveConnection/";

// Some texts of nmcli are not translated, nor is their punctuation.
int failProperty(Call& call, const std::string& text)
{
    if (startsWith(text, "failed to modify"))
        return call.fail(kUsage, "Error: " + text + ".\n");
    return fail(call, kUsage, text);
}

int failUnknown(Call& call, const std::string& name)
{
    return fail(call, kNotFound,
                fill(call.pick("unknown connection %1", "未知的连接 %1"), {quoted(call, name)}));
}

// Groups and keys that NetworkManager writes without being asked.
void addStandardGroups(Keyfile& keyfile)
{
    if (keyfile.raw("connection", "type") == "ethernet")
        keyfile.addGroup("ethernet");
    if (keyfile.raw("ipv4", "method").empty())
        keyfile.setRaw("ipv4", "method", "auto");
    if (keyfile.raw("connection", "type") == "wifi" && keyfile.raw("wifi", "mode").empty())
        keyfile.setRaw("wifi", "mode", "infrastructure");
    keyfile.setRaw("ipv6", "addr-gen-mode", "default");
    if (keyfile.raw("ipv6", "method").empty())
        keyfile.setRaw("ipv6", "method", "auto");
    keyfile.addGroup("proxy");
}

// Takes PROPERTY VALUE pairs. A status other than 0 has been reported already.
int setProperties(Call& call, Keyfile& keyfile, const std::vector<std::string>& pairs)
{
    for (size_t i = 0; i < pairs.size(); i += 2) {
        const std::string& property = pairs[i];
        if (i + 1 == pairs.size() && contains(property, "."))
            return fail(
                call, kUsage,
                fill(call.pick("value for '%1' is missing", "缺少 \"%1\" 的值"), {property}));
        const std::string value = i + 1 < pairs.size() ? pairs[i + 1] : "";
        if (const auto refused = setProperty(call, keyfile, property, value))
            return failProperty(call, *refused);
    }
    return 0;
}

void warnAboutNamesakes(Call& call, const Host& host, const std::string& id,
                        const std::string& uuid)
{
    const auto others =
        std::count_if(host.profiles.begin(), host.profiles.end(), [&](const Profile& profile) {
            return profile.uuid != uuid && idOf(profile) == id;
        });
    if (others == 0)
        return;
    if (call.locale().chinese)
        call.error(
            fill("警告：存在其他 %1 条带有名称 \"%2\" 的连接。通过其 uuid \"%3\" 引用连接。\n",
                 {std::to_string(others), id, uuid}));
    else
        call.error(fill("Warning: There is another connection with the name '%1'. Reference the "
                        "connection by its uuid '%2'\n",
                        {id, uuid}));
}

// "type wifi" may come anywhere, and decides which other properties are allowed.
std::string typeArgument(const Call& call, size_t first)
{
    for (size_t i = first; i + 1 < call.args().size(); i += 2)
        if (call.arg(i) == "type")
            return call.arg(i + 1);
    return {};
}

std::vector<std::string> pairsFrom(const Call& call, size_t first)
{
    std::vector<std::string> pairs;
    for (size_t i = first; i < call.args().size(); i += 2) {
        if (call.arg(i) == "type")
            continue;
        pairs.push_back(call.arg(i));
        if (call.has(i + 1))
            pairs.push_back(call.arg(i + 1));
    }
    return pairs;
}

std::string failureText(const Call& call, Joining result, const std::string& card)
{
    switch (result) {
    case Joining::NoNetwork:
        return call.pick("The Wi-Fi network could not be found", "未找到 Wi-Fi 网络");
    case Joining::NoSecrets:
        return call.pick("Secrets were required, but not provided", "需要密钥，但未提供");
    case Joining::NoLease:
        return call.pick("IP configuration could not be reserved (no available address, timeout, "
                         "etc.)",
                         "无法保留 IP 配置（没有可用地址、超时等）");
    default:
        return "No suitable device found for this connection (device " + card +
               " not available because device has no carrier)";
    }
}

// How long the real command takes, in milliseconds.
int waitFor(Joining result)
{
    switch (result) {
    case Joining::Done:
        return 2000;
    case Joining::NoNetwork:
        return 26000;
    case Joining::NoSecrets:
        return 27000;
    case Joining::NoLease:
        return 45000;
    default:
        return 900;
    }
}

void askForSecrets(Call& call, const Keyfile& keyfile)
{
    const bool isEnterprise = keyfile.raw("wifi-security", "key-mgmt") == "wpa-eap";
    const char* secret = isEnterprise ? "802-1x.identity" : "802-11-wireless-security.psk";
    call.out(fill(call.pick("Passwords or encryption keys are required to access the wireless "
                            "network %1.\n",
                            "需要密码或密钥来访问无线网络 %1。\n"),
                  {quoted(call, keyfile.ssid())}));
    call.error(fill(call.pick("Warning: password for '%1' not given in 'passwd-file' and nmcli "
                              "cannot ask without '--ask' option.\n",
                              "警告：\"passwd-file\" 里没有给定 \"%1\" 的密码而且 nmcli 没有 "
                              "\"--ask\" 选项就无法进行\n询问。\n"),
                    {secret}));
}

int failActivation(Call& call, const std::string& text)
{
    const bool isChinese = call.locale().chinese;
    return call.fail(kActivationFailed, (isChinese ? "错误：连接激活失败："
                                                   : "Error: Connection activation failed: ") +
                                            text + "\n");
}

int reportUp(Call& call, Joining result, const Profile& profile, const std::string& card, int path)
{
    if (result == Joining::Done) {
        call.out(fill(call.pick("Connection successfully activated (D-Bus active path: %1)\n",
                                "连接已成功激活（D-Bus 活动路径：%1）\n"),
                      {kActivePath + std::to_string(path)}));
        return 0;
    }
    if (result == Joining::NotReady)
        return failActivation(call, failureText(call, result, card) + ".");
    if (result == Joining::NoSecrets)
        askForSecrets(call, Keyfile(profile.text));
    failActivation(call, failureText(call, result, card));
    call.error(fill(call.pick("Hint: use 'journalctl -xe NM_CONNECTION=%1 + NM_DEVICE=%2' to get "
                              "more details.\n",
                              "提示：使用 \"journalctl -xe NM_CONNECTION=%1 + NM_DEVICE=%2\" "
                              "来获得更详细的信息。\n"),
                    {profile.uuid, card}));
    return kActivationFailed;
}

int bringUp(Call& call, const std::string& uuid, const std::string& cardName)
{
    // How long it takes depends on how it will end. After the wait it is tried on the host as it is
    // then.
    const Host before = call.host();
    call.wait(
        waitFor(tryJoining(before, *before.card(cardName), Keyfile(before.profile(uuid)->text))));
    int status = 0;
    call.store().change([&](Host& host) {
        Profile* profile = host.profile(uuid);
        Card* card = host.card(cardName);
        if (!profile || !card) {
            status = failUnknown(call, uuid);
            return;
        }
        const Joining result = activate(host, *card, *profile);
        status = reportUp(call, result, *profile, cardName, card->nm.path);
    });
    return status;
}

// Without a name, the first profile that works on the card.
int bringUpAny(Call& call, const std::string& cardName)
{
    const Host host = call.host();
    const Card* card = host.card(cardName);
    if (!card)
        return fail(call, kNotFound,
                    fill(call.pick("Device '%1' not found", "未找到设备 \"%1\""), {cardName}));
    for (const Profile& profile : host.profiles) {
        const Keyfile keyfile(profile.text);
        if (fits(keyfile, *card) && tryJoining(host, *card, keyfile) == Joining::Done)
            return bringUp(call, profile.uuid, cardName);
    }
    return call.fail(kActivationFailed,
                     fill(call.pick("Error: Connection activation failed: The device '%1' has no "
                                    "connections available for activation.\n",
                                    "错误：连接激活失败：The device '%1' has no connections "
                                    "available for activation.\n"),
                          {cardName}));
}

int bringUpOn(Call& call, const Profile& profile, const std::string& cardName)
{
    const Host host = call.host();
    const Card* card = host.card(cardName);
    if (!card)
        return fail(call, kActivationFailed,
                    "device '" + cardName + "' not found for connection '" + idOf(profile) + "'");
    if (!fits(Keyfile(profile.text), *card)) {
        const std::string reason =
            "The interface names of the device and the connection didn't match";
        return fail(call, kActivationFailed,
                    fill(call.pick("device '%1' not compatible with connection '%2': %3",
                                   "设备 \"%1\" 与连接 \"%2\" 不兼容：%3"),
                         {cardName, idOf(profile), reason}));
    }
    return bringUp(call, profile.uuid, cardName);
}

// The card named by the profile, else the first that can use it.
std::string cardFor(const Host& host, const Profile& profile)
{
    const Keyfile keyfile(profile.text);
    for (const Card& card : host.cards)
        if (fits(keyfile, card))
            return card.name;
    return {};
}

size_t indexOf(const Call& call, size_t first, const char* word)
{
    for (size_t i = first; i < call.args().size(); ++i)
        if (call.arg(i) == word)
            return i;
    return call.args().size();
}

std::string nameArgument(const Call& call, size_t first)
{
    const std::string word = call.arg(first);
    return word == "id" || word == "uuid" ? call.arg(first + 1) : word;
}

} // namespace

int connectionAdd(Call& call, size_t first)
{
    Keyfile keyfile;
    const std::string type = typeArgument(call, first);
    if (type != "wifi" && type != "ethernet")
        return fail(call, kUsage, call.pick("'type' argument is required", "'type' 参数是必需的"));
    keyfile.setRaw("connection", "type", type);
    if (const int status = setProperties(call, keyfile, pairsFrom(call, first)))
        return status;
    call.wait(1200);
    int status = 0;
    call.store().change([&](Host& host) {
        addStandardGroups(keyfile);
        if (keyfile.text("connection", "id").empty())
            keyfile.setText("connection", "id", type);
        const std::string id = keyfile.text("connection", "id");
        if (const auto refused = refusal(keyfile)) {
            status = call.fail(kActivationFailed,
                               fill(call.pick("Error: Failed to add '%1' connection: %2\n",
                                              "错误：添加 \"%1\" 连接失败：%2\n"),
                                    {id, *refused}));
            return;
        }
        keyfile.setRaw("connection", "uuid", newUuid(host));
        const std::string uuid = addProfile(host, call.folder(), keyfile).uuid;
        warnAboutNamesakes(call, host, id, uuid);
        call.out(fill(call.pick("Connection '%1' (%2) successfully added.\n",
                                "连接 \"%1\" (%2) 已成功添加。\n"),
                      {id, uuid}));
    });
    return status;
}

int connectionModify(Call& call, size_t first)
{
    const std::string name = nameArgument(call, first);
    const size_t pairs = first + (name == call.arg(first) ? 1 : 2);
    int status = 0;
    call.store().change([&](Host& host) {
        Profile* profile = host.profile(name);
        if (!profile) {
            status = failUnknown(call, name);
            return;
        }
        Keyfile keyfile(profile->text);
        status = setProperties(call, keyfile, pairsFrom(call, pairs));
        if (status != 0)
            return;
        const std::string id = idOf(*profile);
        warnAboutNamesakes(call, host, id, profile->uuid);
        if (const auto refused = refusal(keyfile)) {
            status = call.fail(kActivationFailed,
                               fill(call.pick("Error: Failed to modify connection '%1': %2\n",
                                              "错误：修改连接 \"%1\" 失败：%2\n"),
                                    {id, *refused}));
            return;
        }
        updateProfile(*profile, call.folder(), keyfile);
    });
    return status;
}

int connectionUp(Call& call, size_t first)
{
    const size_t at = indexOf(call, first, "ifname");
    const std::string card = call.arg(at + 1);
    const std::string name = at == first ? "" : nameArgument(call, first);
    if (name.empty())
        return bringUpAny(call, card);
    const Host host = call.host();
    const Profile* profile = host.profile(name);
    if (!profile)
        return failUnknown(call, name);
    return bringUpOn(call, *profile, at < call.args().size() ? card : cardFor(host, *profile));
}

int connectionDown(Call& call, size_t first)
{
    const std::string name = nameArgument(call, first);
    int status = 0;
    call.store().change([&](Host& host) {
        const Profile* profile = host.profile(name);
        const std::string uuid = profile ? profile->uuid : "";
        const auto card = std::find_if(host.cards.begin(), host.cards.end(), [&](const Card& c) {
            return c.isActive() && c.nm.profile == uuid;
        });
        if (card == host.cards.end()) {
            fail(call, kNotFound,
                 fill(call.pick("%1 is not an active connection", "%1 不是活动的连接"),
                      {quoted(call, name)}));
            status =
                fail(call, kNotFound, call.pick("no active connection provided", "未提供活动连接"));
            return;
        }
        call.out(fill(call.pick("Connection '%1' successfully deactivated (D-Bus active path: "
                                "%2)\n",
                                "成功停用连接 \"%1\"（D-Bus 活动路径：%2）\n"),
                      {idOf(*profile), kActivePath + std::to_string(card->nm.path)}));
        deactivate(*card);
        card->nm.keptDown = true;
    });
    return status;
}

int connectionDelete(Call& call, size_t first)
{
    const std::string name = nameArgument(call, first);
    int status = 0;
    call.store().change([&](Host& host) {
        const Profile* profile = host.profile(name);
        if (!profile) {
            failUnknown(call, name);
            status = fail(call, kNotFound,
                          fill(call.pick("cannot delete unknown connection(s): '%1'",
                                         "无法删除未知连接：'%1'"),
                               {name}));
            return;
        }
        const std::string id = idOf(*profile);
        const std::string uuid = profile->uuid;
        removeProfile(host, call.folder(), uuid);
        call.out(fill(call.pick("Connection '%1' (%2) successfully deleted.\n",
                                "成功删除连接 \"%1\" (%2)。\n"),
                      {id, uuid}));
    });
    return status;
}

int connectionReload(Call& call)
{
    call.store().change([&](Host& host) { reloadProfiles(host, call.folder()); });
    return 0;
}

} // namespace hostsim::nm
