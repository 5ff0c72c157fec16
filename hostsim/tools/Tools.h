#pragma once

#include "tools/Call.h"

namespace hostsim {

// The stand-ins. Each returns the exit status of the real tool.
int alsactl(Call& call);
int amixer(Call& call);
int date(Call& call);
int df(Call& call);
int hostapd(Call& call);
int ifconfig(Call& call);
int ip(Call& call);
int iw(Call& call);
int lshw(Call& call);
int netplan(Call& call);
int nmcli(Call& call);
int ping(Call& call);
int platformScript(Call& call);
int service(Call& call);
int sysctl(Call& call);
int systemctl(Call& call);
int timedatectl(Call& call);
int wpaCli(Call& call);

/// ln and rm are the real ones, kept from the real host's files: an argument that names a private
/// path names its copy.
int realLn(Call& call);
int realRm(Call& call);

} // namespace hostsim
