#include "model/Address.h"
#include "tools/Nmcli.h"

#include <algorithm>

#include <sys/stat.h>

namespace hostsim::nm {

namespace {

struct Setting
{
    const char* name;  ///< as the settings are listed
    const char* alias; ///< the short form, or null
    const char* group; ///< in a keyfile
};

constexpr Setting kSettings[] = {
    {"connection", nullptr, "connection"},
    {"802-11-wireless", "wifi", "wifi"},
    {"802-11-wireless-security", "wifi-sec", "wifi-security"},
    {"802-3-ethernet", "ethernet", "ethernet"},
    {"802-1x", nullptr, "802-1x"},
    {"ethtool", nullptr, "ethtool"},
    {"match", nullptr, "match"},
    {"ipv4", nullptr, "ipv4"},
    {"ipv6", nullptr, "ipv6"},
    {"hostname", nullptr, "hostname"},
    {"tc", nullptr, "tc"},
    {"proxy", nullptr, "proxy"},
};

const Setting* settingFor(const std::string& name)
{
    for (const Setting& setting : kSettings)
        if (name == setting.name || (setting.alias && name == setting.alias) ||
            name == setting.group)
            return &setting;
    return nullptr;
}

bool isAllowed(const Setting& setting, const Keyfile& keyfile)
{
    const bool isWifi = keyfile.raw("connection", "type") == "wifi";
    const std::string group = setting.group;
    if (group == "wifi" || group == "wifi-security")
        return isWifi;
    return group != "ethernet" || !isWifi;
}

std::string settingList(const Keyfile& keyfile)
{
    std::string list;
    for (const Setting& setting : kSettings) {
        if (!isAllowed(setting, keyfile))
            continue;
        list += (list.empty() ? "" : ", ") + std::string(setting.name);
        if (setting.alias)
            list += " (" + std::string(setting.alias) + ")";
    }
    return list;
}

using Result = std::optional<std::string>;

Result failed(const Call& call, const std::string& property, const std::string& reason)
{
    (void)call;
    return "failed to modify " + property + ": " + reason;
}

// Address and gateway share the key "address1"; a gateway that came first has waited in a key of
// its own.
Result setAddresses(const Call& call, Keyfile& keyfile, const std::string& value)
{
    const std::string gateway = keyfile.gateway();
    if (value.empty()) {
        keyfile.remove("ipv4", "address1");
        return std::nullopt;
    }
    const size_t slash = value.find('/');
    const std::string address = value.substr(0, slash);
    if (!parseIp4(address))
        return failed(call, "ipv4.addresses",
                      fill(call.pick("invalid IP address: Invalid IPv4 address '%1'",
                                     "无效的 IP 地址：无效的 IPv4 地址 \"%1\""),
                           {address}));
    const std::string full = slash == std::string::npos ? address + "/32" : value;
    if (!parseNetwork(full))
        return failed(call, "ipv4.addresses",
                      "invalid prefix '" + value.substr(slash + 1) + "'; <0-32> allowed");
    keyfile.remove("ipv4", "gateway");
    keyfile.setRaw("ipv4", "address1", gateway.empty() ? full : full + "," + gateway);
    return std::nullopt;
}

Result setGateway(const Call& call, Keyfile& keyfile, const std::string& value)
{
    if (!value.empty() && !parseIp4(value))
        return failed(
            call, "ipv4.gateway",
            fill(call.pick("invalid gateway address '%1'", "无效的网关地址 \"%1\""), {value}));
    const std::string address = keyfile.address();
    if (address.empty())
        keyfile.setRaw("ipv4", "gateway", value);
    else
        keyfile.setRaw("ipv4", "address1", value.empty() ? address : address + "," + value);
    return std::nullopt;
}

// A flag that has its standard value is not written.
Result setFlag(const Call& call, Keyfile& keyfile, const std::string& group, const std::string& key,
               const std::string& value, bool standard)
{
    const bool isOn = value == "yes" || value == "true" || value == "on" || value == "1";
    const bool isOff = value == "no" || value == "false" || value == "off" || value == "0";
    if (!isOn && !isOff)
        return failed(call, group + "." + key,
                      fill(call.pick("'%1' is not valid; use [true, yes, on, 1], [false, no, off, "
                                     "0] or [unknown]",
                                     "\"%1\" 无效；请使用 [true, yes, on, 1]、[false, no, off, 0] "
                                     "或 [unknown]"),
                           {value}));
    if (isOn == standard)
        keyfile.remove(group, key);
    else
        keyfile.setRaw(group, key, isOn ? "true" : "false");
    return std::nullopt;
}

Result setCertificate(const Call& call, Keyfile& keyfile, const std::string& key,
                      const std::string& path)
{
    struct stat info = {};
    if (!path.empty() && ::stat(path.c_str(), &info) != 0)
        return failed(call, "802-1x." + key,
                      "802-1x." + key + ": Failed to open file \"" + path +
                          "\": " + call.pick("No such file or directory", "没有那个文件或目录"));
    keyfile.setText("802-1x", key, path);
    return std::nullopt;
}

bool isCertificate(const std::string& group, const std::string& key)
{
    return group == "802-1x" && (key == "ca-cert" || key == "client-cert" || key == "private-key");
}

std::string listText(std::string value)
{
    std::replace(value.begin(), value.end(), ',', ';');
    return value.empty() || value.back() == ';' ? value : value + ";";
}

Result setKey(const Call& call, Keyfile& keyfile, const std::string& group, const std::string& key,
              const std::string& value)
{
    const std::string name = group + "." + key;
    if (name == "wifi.ssid") {
        keyfile.setSsid(value);
        return std::nullopt;
    }
    if (name == "ipv4.addresses")
        return setAddresses(call, keyfile, value);
    if (name == "ipv4.gateway")
        return setGateway(call, keyfile, value);
    if (name == "connection.autoconnect")
        return setFlag(call, keyfile, group, key, value, true);
    if (name == "wifi.hidden")
        return setFlag(call, keyfile, group, key, value, false);
    if (isCertificate(group, key))
        return setCertificate(call, keyfile, key, value);
    if (name == "802-1x.eap" || name == "ipv4.dns")
        keyfile.setRaw(group, key, listText(value));
    else if (value.empty())
        keyfile.remove(group, key);
    else
        keyfile.setText(group, key, value);
    return std::nullopt;
}

Result setAlias(const Call& call, Keyfile& keyfile, const std::string& alias,
                const std::string& value, bool& known)
{
    known = true;
    if (alias == "con-name")
        return setKey(call, keyfile, "connection", "id", value);
    if (alias == "ifname")
        return setKey(call, keyfile, "connection", "interface-name", value == "*" ? "" : value);
    if (alias == "ssid" || alias == "mode")
        return setKey(call, keyfile, "wifi", alias, value);
    if (alias == "autoconnect")
        return setKey(call, keyfile, "connection", alias, value);
    if (alias == "ip4" || alias == "gw4")
        return alias == "ip4" ? setAddresses(call, keyfile, value)
                              : setGateway(call, keyfile, value);
    known = false;
    return std::nullopt;
}

} // namespace

std::optional<std::string> setProperty(const Call& call, Keyfile& keyfile,
                                       const std::string& property, const std::string& value)
{
    bool isAlias = false;
    if (Result result = setAlias(call, keyfile, property, value, isAlias); isAlias)
        return result;
    const size_t dot = property.find('.');
    if (dot == std::string::npos)
        return fill(call.pick("invalid <setting>.<property> '%1'", "无效的 <设置>.<属性> \"%1\""),
                    {property});
    const std::string name = property.substr(0, dot);
    const Setting* setting = settingFor(name);
    if (!setting || !isAllowed(*setting, keyfile))
        return fill(call.pick("invalid or not allowed setting '%1': '%1' not among [%2]",
                              "无效或不允许的设置 \"%1\"：\"%1\" 不在 [%2] 中"),
                    {name, settingList(keyfile)});
    std::string key = property.substr(dot + 1);
    if (std::string(setting->group) == "connection" && key == "id" && value.empty())
        return failed(call, property, "''");
    return setKey(call, keyfile, setting->group, key, value);
}

std::optional<std::string> refusal(const Keyfile& keyfile)
{
    const std::string management = keyfile.raw("wifi-security", "key-mgmt");
    if (keyfile.has("wifi-security", "psk") && !isValidPsk(keyfile.text("wifi-security", "psk")))
        return "802-11-wireless-security.psk: property is invalid";
    if (management == "wpa-eap" && !keyfile.has("802-1x", "eap"))
        return "802-1x: 'wpa-eap' security requires '802-1x' setting presence";
    if (keyfile.hasGroup("wifi-security") && management.empty())
        return "802-11-wireless-security.key-mgmt: property is missing";
    if (keyfile.raw("connection", "type") == "wifi" && keyfile.ssid().empty())
        return "802-11-wireless.ssid: property is missing";
    if (keyfile.raw("ipv4", "method") == "manual" && keyfile.address().empty())
        return "ipv4.addresses: this property cannot be empty for 'method=manual'";
    return std::nullopt;
}

} // namespace hostsim::nm
