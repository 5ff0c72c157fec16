#include "model/Process.h"

#include "model/Store.h"

#include <cstdlib>
#include <filesystem>

#include <csignal>
#include <unistd.h>

namespace hostsim {

std::string parentProgram()
{
    std::error_code ignored;
    const auto program =
        std::filesystem::read_symlink("/proc/" + std::to_string(::getppid()) + "/exe", ignored);
    return program.filename().string();
}

bool isRunAlive(const std::string& folder)
{
    const int pid = std::atoi(readFile(folder + "/run.pid").c_str());
    return pid > 0 && ::kill(pid, 0) == 0;
}

void markRun(const std::string& folder)
{
    writeFile(folder + "/run.pid", std::to_string(::getpid()) + "\n");
}

std::string programFolder()
{
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path().string();
}

} // namespace hostsim
