#pragma once

namespace ky {

/// Removes what a killed process has left beside the files that the network classes replace: the
/// keyfiles, the netplan file, the list of banned drivers, the settings, the hotspot's
/// configuration and the certificates. Each of them may hold a secret or be read by another
/// program. While no board is known the folders of the host itself are left alone.
void clearNetworkLeftovers();

} // namespace ky
