#include "cli/Groups.h"

namespace ky {

const std::vector<Group>& allGroups()
{
    // clang-format off
    static const std::vector<Group> groups = {
        callGroup(),
        commandsGroup(),
        versionGroup(),
        uploadGroup(),
        watchGroup(),
        probeGroup(),
        peerGroup(),
        linkGroup(),
        udpGroup(),
        wifiGroup(),
        netGroup(),
        hotspotGroup(),
        canGroup(),
        serialGroup(),
        timeGroup(),
        audioGroup(),
        infoGroup(),
    };
    // clang-format on
    return groups;
}

} // namespace ky
