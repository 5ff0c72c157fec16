#include "cli/Groups.h"
#include "cli/NetworkVerbs.h"

namespace ky {

namespace {

std::vector<Verb> together(std::initializer_list<std::vector<Verb>> topics)
{
    std::vector<Verb> verbs;
    for (const std::vector<Verb>& topic : topics)
        verbs.insert(verbs.end(), topic.begin(), topic.end());
    return verbs;
}

} // namespace

const Group& wifiGroup()
{
    static const Group group = {"wifi", "Wi-Fi of the host",
                                together({wifiJoinVerbs(), wifiRoamingVerbs()})};
    return group;
}

const Group& netGroup()
{
    static const Group group = {"net", "cards and addresses of the host",
                                together({netCardVerbs(), netAddressVerbs()})};
    return group;
}

} // namespace ky
