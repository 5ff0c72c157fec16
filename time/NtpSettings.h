#pragma once

#include <QString>
#include <QVariantMap>

namespace ky {

/// What the operator sets of the time service, as it is stored and as it is asked for.
struct NtpSettings
{
    bool isAutoSync = false;
    quint32 intervalMinutes = 0; ///< 0: one exchange, no further ones
    QString url;                 ///< host name or address of the server
    quint16 port = 0;            ///< UDP
    double gmtHours = 0.0;
};

/// Reads the group NTP of an INI file as it stands; what is missing reads as false, 0 or empty.
NtpSettings readNtpSettings(const QString& file);

/// Stores all of them at once, or none: on false `error` (may be null) tells why.
bool storeNtpSettings(const QString& file, const NtpSettings& settings, QString* error = nullptr);

/// The settings that the service starts with: 9 minutes or less become 10, and without a server
/// it is the default one on port 123. A server without a port stays on port 0.
NtpSettings startSettings(NtpSettings stored);

/// The settings of a request: "isAuto", "timeSyncInterval", "url", "port", "GMT". Nothing is
/// limited or replaced.
NtpSettings requestedSettings(const QVariantMap& request);

/// Period of a timer for that many minutes. A timer counts to 2^31 - 1 ms (24.8 days): more
/// minutes than that give this longest period.
int syncPeriodMs(quint32 minutes);

} // namespace ky
