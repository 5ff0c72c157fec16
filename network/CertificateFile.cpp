#include "network/CertificateFile.h"

#include "network/ConnectionTemplates.h"
#include "support/AtomicFile.h"

#include <QFile>

namespace ky {

namespace {

/// Makes the file with its mode first: replaceFile() keeps the mode of a file that exists.
void writePrivate(const QString& path, const QByteArray& content)
{
    if (!QFile::exists(path)) {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return;
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    }
    replaceFile(path, content);
}

} // namespace

void writeCertificateFiles(const QVariantMap& request, const QString& folder)
{
    if (folder.isEmpty())
        return;
    for (const char* key : {kCaCert, kClientCert, kPrivateKey}) {
        const QVariantMap file = request.value(QLatin1String(key)).toMap();
        const QVariant base64 = file.value(QStringLiteral("base64"));
        if (file.isEmpty() || (key == kCaCert && !base64.isValid()))
            continue;
        writePrivate(certificatePath(request, key, folder),
                     QByteArray::fromBase64(base64.toString().toUtf8()));
    }
}

} // namespace ky
