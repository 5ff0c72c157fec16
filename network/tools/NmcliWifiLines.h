#pragma once

#include <QString>
#include <QVariantMap>

namespace ky {

/// Files of an 802.1X profile, as keys of a request; each holds a map of "fileName" and "base64".
constexpr char kCaCert[] = "802-1x.ca-cert";
constexpr char kClientCert[] = "802-1x.client-cert";
constexpr char kPrivateKey[] = "802-1x.private-key";

/// Where the file under `key` goes below the backup folder; empty if the request has none.
QString certificatePath(const QVariantMap& request, const char* key, const QString& folder);

/// The first file name of the request that would lead out of the backup folder (a "/" in it, ".",
/// ".." or a zero); a null text if there is none.
QString unsafeFileName(const QVariantMap& request);

/// The line that makes a Wi-Fi profile by the parameters of a request, named after its network.
/// "verification" and "dhcp" choose one of four templates; a block whose value is empty is left
/// out. The password counts without "verification" only: an enterprise profile has no such key.
QString addWifiLine(const QVariantMap& request, const QString& card, const QString& folder);

/// The line that joins a network by name, of four by whether there is a password and whether the
/// network hides its name.
QString joinWifiLine(const QString& ssid, const QString& password, bool isHidden);

} // namespace ky
