#include "model/PrivatePaths.h"

#include "shim/PathMap.h"

#include <cerrno>
#include <filesystem>

#include <sys/wait.h>

namespace hostsim {

const std::vector<std::string>& privatePrefixes()
{
    static const std::vector<std::string> list(std::begin(kPrivatePrefixes),
                                               std::end(kPrivatePrefixes));
    return list;
}

bool isPrivatePath(const std::string& path)
{
    return isBelowPrivatePrefix(std::filesystem::path(path).lexically_normal().c_str());
}

int waitForExit(int pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace hostsim
