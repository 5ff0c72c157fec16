#pragma once

#include <QVariantMap>

namespace ky {

/// Writes the certificates and the key of an 802.1X request into the backup folder, readable by
/// their owner alone. A client certificate or key without "base64" becomes an empty file; a CA
/// certificate without it is taken to be there already. Write failures are not reported: the
/// profile names the path anyway, and its connection fails. Without a folder nothing is
/// written. The file names must have passed unsafeFileName().
void writeCertificateFiles(const QVariantMap& request, const QString& folder);

} // namespace ky
