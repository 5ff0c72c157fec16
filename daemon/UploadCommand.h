#pragma once

#include "daemon/Subsystem.h"

#include <atomic>

namespace ky {

/// Answers an upload with the size and the SHA-256 of the file, once the service has it on the
/// disk. The file is read on a thread of its own.
class UploadCommand : public Subsystem
{
    Q_OBJECT

public:
    explicit UploadCommand(const DaemonContext& context);
    ~UploadCommand() override;

private:
    Answer describe(const Request& request) const;

    std::atomic<bool> _isEnding{false}; ///< set at the end, read between the blocks of a file
    OwnThread _thread{QStringLiteral("upload")};
};

/// Where the service puts the data area of an upload.
QString uploadPath();

} // namespace ky
