#include "model/Host.h"

#include "model/Keyfile.h"

#include <algorithm>

namespace hostsim {

namespace {

template <typename List, typename Test>
auto* first(List& list, Test test)
{
    const auto found = std::find_if(list.begin(), list.end(), test);
    return found == list.end() ? nullptr : &*found;
}

} // namespace

Card* Host::card(const std::string& name)
{
    return first(cards, [&](const Card& card) { return card.name == name; });
}

AccessPoint* Host::accessPoint(const std::string& bssid)
{
    return first(accessPoints, [&](const AccessPoint& ap) { return ap.bssid == bssid; });
}

Profile* Host::profile(const std::string& uuidOrId)
{
    if (uuidOrId.empty())
        return nullptr;
    if (Profile* byUuid = first(profiles, [&](const Profile& p) { return p.uuid == uuidOrId; }))
        return byUuid;
    return first(profiles, [&](const Profile& p) {
        return Keyfile(p.text).text("connection", "id") == uuidOrId;
    });
}

bool Host::ipv6On() const
{
    const auto value = sysctl.find("net.ipv6.conf.all.disable_ipv6");
    return value == sysctl.end() || value->second != "1";
}

} // namespace hostsim
