#include "model/Process.h"

#include "model/Files.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <sys/wait.h>
#include <unistd.h>

namespace hostsim {

std::string parentProgram()
{
    std::error_code ignored;
    const auto program =
        std::filesystem::read_symlink("/proc/" + std::to_string(::getppid()) + "/exe", ignored);
    return program.filename().string();
}

bool isRunAlive(const StateFolder& folder)
{
    const int pid = std::atoi(readFile(folder.runFile()).c_str());
    return pid > 0 && ::kill(pid, 0) == 0; // signal 0 only asks
}

void markRun(const StateFolder& folder)
{
    writeFile(folder.runFile(), std::to_string(::getpid()) + "\n");
}

int waitForExit(int pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string programFolder()
{
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path().string();
}

} // namespace hostsim
