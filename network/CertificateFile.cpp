#include "network/CertificateFile.h"

#include "network/tools/NmcliWifiLines.h"
#include "support/PrivateFile.h"

namespace ky {

void writeCertificateFiles(const QVariantMap& request, const QString& folder)
{
    if (folder.isEmpty())
        return;
    for (const char* key : {kCaCert, kClientCert, kPrivateKey}) {
        const QVariantMap file = request.value(QLatin1String(key)).toMap();
        const QVariant base64 = file.value(QStringLiteral("base64"));
        if (file.isEmpty() || (key == kCaCert && !base64.isValid()))
            continue;
        replacePrivateFile(certificatePath(request, key, folder),
                           QByteArray::fromBase64(base64.toString().toUtf8()));
    }
}

} // namespace ky
