#include "cli/FileContent.h"

#include "cli/Progress.h"

#include <QFile>

#include <algorithm>
#include <new>

namespace ky {

namespace {

constexpr qint64 kPiece = 1024 * 1024;

/// Reads to the end, or one byte beyond the limit, without asking for the size.
QByteArray readToEnd(QFile& file, qint64 limit)
{
    QByteArray content;
    while (content.size() <= limit) {
        const QByteArray piece = file.read(std::min(kPiece, limit + 1 - content.size()));
        if (piece.isEmpty())
            break;
        content += piece;
    }
    return content;
}

} // namespace

std::optional<QByteArray> contentOf(QFile& file, QString* problem, qint64 limit)
{
    const qint64 size = file.size();
    const QString excess = QStringLiteral("%1 is more than this client takes here (%2)");
    if (size > limit) {
        *problem = excess.arg(sizeText(size), sizeText(limit));
        return {};
    }
    try {
        // A view of the file would cost no memory, but end this program if somebody shortened the
        // file meanwhile.
        QByteArray content = size > 0 ? file.read(size) : readToEnd(file, limit);
        if (file.error() != QFileDevice::NoError)
            *problem = file.errorString();
        else if (content.size() < size && file.size() < size) // some systems' files say too much
            *problem = QStringLiteral("it was shortened");
        else if (content.size() > limit)
            *problem = excess.arg(QStringLiteral("its content"), sizeText(limit));
        else
            return content;
    } catch (const std::bad_alloc&) {
        *problem = QStringLiteral("no memory for it");
    }
    return {};
}

std::optional<QByteArray> contentOfFile(const QString& path, QString* problem)
{
    QFile file(path);
    std::optional<QByteArray> content;
    QString reason;
    if (file.open(QIODevice::ReadOnly))
        content = contentOf(file, &reason);
    else
        reason = file.errorString();
    if (!content)
        *problem = QStringLiteral("file [%1]: %2").arg(path, reason);
    return content;
}

} // namespace ky
