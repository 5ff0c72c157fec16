#include "daemon/UploadCommand.h"

#include "host/PublicClass.h"

#include <QCryptographicHash>
#include <QFile>

namespace ky {

namespace {

constexpr char kUploadFile[] = "/ferno/temp/up/upgrade.zip";
constexpr qint64 kBlockSize = 1 << 20;

Answer failed(const QString& reason)
{
    return Answer::error(kUploadFailed,
                         QStringLiteral("upload file [%1]: %2").arg(uploadPath(), reason));
}

} // namespace

UploadCommand::UploadCommand(const DaemonContext& context)
    : Subsystem(context)
{
    addThreadCommand(_thread, "upload",
                     [this](const Request& request) { return describe(request); });
}

UploadCommand::~UploadCommand()
{
    _isEnding = true;
}

Answer UploadCommand::describe(const Request& request) const
{
    // The service hands the data over only when it could not open the file.
    if (!request.data.isEmpty())
        return failed(QStringLiteral("cannot be written"));
    QFile file(uploadPath());
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return failed(file.errorString());
    QCryptographicHash hash(QCryptographicHash::Sha256);
    qint64 size = 0;
    while (!_isEnding) {
        const QByteArray block = file.read(kBlockSize);
        if (block.isEmpty())
            break;
        hash.addData(block);
        size += block.size();
    }
    if (_isEnding || file.error() != QFile::NoError)
        return failed(_isEnding ? QStringLiteral("the daemon ends") : file.errorString());
    return Answer::ok({{QStringLiteral("size"), size},
                       {QStringLiteral("sha256"), QString::fromLatin1(hash.result().toHex())},
                       {QStringLiteral("path"), uploadPath()}});
}

QString uploadPath()
{
    return PublicClass::init()->dataDir + QLatin1String(kUploadFile);
}

} // namespace ky
