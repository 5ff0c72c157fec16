#pragma once

#include "tools/Call.h"

namespace hostsim {

// The stand-ins. Each returns the exit status that the real tool would.
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

/// The machine's own ln and rm, kept off its files: an argument that is a private path is replaced
/// by that of its copy.
int realLn(Call& call);
int realRm(Call& call);

} // namespace hostsim
