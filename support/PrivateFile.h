#pragma once

#include <QByteArray>
#include <QString>

namespace ky {

/// replaceFile() for content that may hold a secret: a file that is not there yet has the mode 0600
/// before it has its first byte. One that exists keeps its mode: that is its owner's choice.
/// On false there is no new file, or the old one is as it was, and `error` (may be null) tells why.
bool replacePrivateFile(const QString& path, const QByteArray& content, QString* error = nullptr);

/// Makes an empty file with the mode 0600 where there is none, and says whether it did. The folder
/// must exist.
bool makePrivateFile(const QString& path);

} // namespace ky
