#pragma once

#include <QNetworkInterface>
#include <QStringList>

namespace ky {

/// "IsUp,IsRunning,…" for the bits 1 to 32.
QString interfaceFlagNames(int bits);

/// The lines that tell one interface in the log. The names behind the flags are those of the bits
/// of its type: a misreading that integrators' log filters know, so it stays.
QStringList describeInterface(const QNetworkInterface& interface);

} // namespace ky
