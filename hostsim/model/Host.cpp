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

// `List` is a const list or not, and the result points to the same.
template <typename List>
auto* cardNamed(List& cards, const std::string& name)
{
    return first(cards, [&](const Card& card) { return card.name == name; });
}

template <typename List>
auto* accessPointAt(List& accessPoints, const std::string& bssid)
{
    return first(accessPoints, [&](const AccessPoint& ap) { return ap.bssid == bssid; });
}

template <typename List>
auto* profileOf(List& profiles, const std::string& uuidOrId)
{
    const bool isNamed = !uuidOrId.empty();
    auto* found = first(profiles, [&](const Profile& p) { return isNamed && p.uuid == uuidOrId; });
    if (found || !isNamed)
        return found;
    // nmcli takes either; a UUID goes first.
    return first(profiles, [&](const Profile& p) {
        return Keyfile(p.text).text("connection", "id") == uuidOrId;
    });
}

} // namespace

Card* Host::card(const std::string& name)
{
    return cardNamed(cards, name);
}

const Card* Host::card(const std::string& name) const
{
    return cardNamed(cards, name);
}

AccessPoint* Host::accessPoint(const std::string& bssid)
{
    return accessPointAt(accessPoints, bssid);
}

const AccessPoint* Host::accessPoint(const std::string& bssid) const
{
    return accessPointAt(accessPoints, bssid);
}

Profile* Host::profile(const std::string& uuidOrId)
{
    return profileOf(profiles, uuidOrId);
}

const Profile* Host::profile(const std::string& uuidOrId) const
{
    return profileOf(profiles, uuidOrId);
}

bool Host::ipv6On() const
{
    const auto value = sysctl.find("net.ipv6.conf.all.disable_ipv6");
    return value == sysctl.end() || value->second != "1";
}

} // namespace hostsim
