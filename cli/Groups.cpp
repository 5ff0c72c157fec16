#include "cli/Groups.h"

namespace ky {

const std::vector<Group>& allGroups()
{
    static const std::vector<Group> groups = {
        callGroup(), commandsGroup(), versionGroup(), uploadGroup(), watchGroup(), probeGroup(),
        peerGroup(), linkGroup(),     udpGroup(),     wifiGroup(),   netGroup(),   hotspotGroup(),
        callGroup(), commandsGroup(), versionGroup(), uploadGroup(), watchGroup(),  probeGroup(),
        peerGroup(), linkGroup(),     udpGroup(),     canGroup(),    serialGroup(),
    };
    return groups;
}

} // namespace ky
