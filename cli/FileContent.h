#pragma once

#include <QByteArray>

#include <optional>

class QFile;
class QString;

namespace ky {

/// What one frame takes; a frame is one block of memory.
constexpr qint64 kLargestContent = 0x7fff0000;

/// What the open file holds, read into memory. Files without a size (a pipe, what the kernel makes)
/// are read to their end. Nothing, with the reason, if the file cannot be read, holds more than
/// `limit` bytes, or less than its size says.
std::optional<QByteArray> contentOf(QFile& file, QString* problem, qint64 limit = kLargestContent);

/// Opens the file and reads it. The reason names the file.
std::optional<QByteArray> contentOfFile(const QString& path, QString* problem);

} // namespace ky
