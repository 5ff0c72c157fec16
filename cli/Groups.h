#pragma once

#include "cli/Verb.h"

namespace ky {

// Each is defined in the file of its group.
const Group& callGroup();
const Group& commandsGroup();
const Group& versionGroup();
const Group& uploadGroup();
const Group& watchGroup();
const Group& probeGroup();
const Group& peerGroup();
const Group& linkGroup();
const Group& canGroup();
const Group& serialGroup();
const Group& udpGroup();
const Group& wifiGroup();
const Group& netGroup();
const Group& hotspotGroup();
const Group& timeGroup();
const Group& audioGroup();
const Group& infoGroup();

} // namespace ky
