#pragma once

#include <QString>

namespace ky {

/// Where the daemon keeps its files when it is not told: $XDG_STATE_HOME/kyhostd, else
/// /var/lib/kyhostd for root and ~/.local/state/kyhostd for others.
QString defaultHome(bool isRoot, const QString& xdgStateHome, const QString& userHome);

/// Makes the home with its folders and puts the default files there that are missing; files that
/// exist are left alone. The defaults are the resource folder ":/kynetwork/home". Empty on
/// success, else one line that names the path and the reason.
QString prepareHome(const QString& home);

/// The default settings file of a home.
QString defaultSettingsFile(const QString& home);

} // namespace ky
