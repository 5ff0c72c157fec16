#include "model/Files.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace hostsim {

std::string readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void writeFile(const std::string& path, const std::string& content, int mode)
{
    if (::access(path.c_str(), F_OK) == 0 && readFile(path) == content)
        return;
    fs::create_directories(fs::path(path).parent_path());
    const std::string aside = path + "." + std::to_string(::getpid());
    {
        std::ofstream stream(aside, std::ios::binary);
        stream << content;
    }
    ::chmod(aside.c_str(), mode);
    fs::rename(aside, path);
}

void appendLine(const std::string& path, const std::string& line)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0)
        return;
    const std::string text = line + "\n";
    [[maybe_unused]] const ssize_t written = ::write(fd, text.data(), text.size());
    ::close(fd);
}

} // namespace hostsim
