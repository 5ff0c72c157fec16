#pragma once

#include "commands/Command.h"

#include <QString>
#include <QVariantMap>

#include <array>

namespace ky {

/// One listener as the settings file names it ("Server1/port", …).
struct ListenerSettings
{
    quint16 port = 0;
    quint8 threadCount = 0;
    quint16 payload = 0;
};

/// What the daemon takes from its settings file.
struct DaemonSettings
{
    QString file;
    /// The service, the port that link supervision reports to, the port for the host report.
    std::array<ListenerSettings, 3> servers;

    // The group [Host], for the public fields of the host services.
    int hardwareType = -1;
    QString halShPath;
    QString tbxName;
    QString dataDir;
    QString version;
    bool autoConnectEnabled = false;

    /// Where a frame for this peer goes: the library reports to fixed ports of its own host, and
    /// the daemon may listen on others.
    quint16 deliveryPort(const QString& ip, int port) const;
};

/// Checks the values of a settings file ("Server1/port" → "19208", …). Empty on success, else
/// what is wrong. The numbers are cut to their width as the service cuts them: a thread count of
/// 257 is 1.
QString checkSettings(const QVariantMap& values, DaemonSettings* settings);

/// Reads a settings file. Empty on success, else one line that names the file and the reason.
QString readSettings(const QString& path, DaemonSettings* settings);

/// Names a folder below `home` for the certificates of Wi-Fi networks ("AppInfo/networkBackup"),
/// if the file names none: without one they are not kept and 802.1X fails. What the file holds
/// stays byte for byte. Empty on success, else one line that names the file and the reason.
QString addBackupFolder(const QString& path, const QString& home);

} // namespace ky
