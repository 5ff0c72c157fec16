#pragma once

#include <QString>

namespace ky {

/// The path under which this process opens a file of the host (HostPaths.h): the same text, unless
/// a test has put a folder of its own in the place of "/".
QString hostPath(const char* path);

/// Puts `folder` in the place of "/" for hostPath() while it lives. For tests, before any thread
/// is started.
class HostRoot
{
public:
    explicit HostRoot(const QString& folder);
    ~HostRoot();

    HostRoot(const HostRoot&) = delete;
    HostRoot& operator=(const HostRoot&) = delete;
};

} // namespace ky
