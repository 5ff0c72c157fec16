#include "support/HostRoot.h"

namespace ky {

namespace {

QString& rootFolder()
{
    static QString folder;
    return folder;
}

} // namespace

QString hostPath(const char* path)
{
    return rootFolder() + QLatin1String(path);
}

HostRoot::HostRoot(const QString& folder)
{
    rootFolder() = folder;
}

HostRoot::~HostRoot()
{
    rootFolder().clear();
}

} // namespace ky
