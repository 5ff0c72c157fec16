#include "model/PrivatePaths.h"

#include "shim/PathMap.h"

#include <filesystem>

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

} // namespace hostsim
