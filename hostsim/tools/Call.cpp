#include "tools/Call.h"

#include <chrono>
#include <thread>

#include <unistd.h>

namespace hostsim {

namespace {

void writeAll(int fd, const std::string& text)
{
    for (size_t at = 0; at < text.size();) {
        const ssize_t written = ::write(fd, text.data() + at, text.size() - at);
        if (written <= 0)
            return;
        at += static_cast<size_t>(written);
    }
}

} // namespace

Call::Call(std::vector<std::string> args, Store store)
    : _args(std::move(args))
    , _store(std::move(store))
    , _locale(Locale::fromEnvironment())
{}

int Call::fail(int status, const std::string& text)
{
    error(text);
    return status;
}

void Call::wait(int ms)
{
    flush();
    // The pace is read anew: somebody may have changed it during the call.
    const auto duration = static_cast<int64_t>(ms * host().pace);
    std::this_thread::sleep_for(std::chrono::milliseconds(duration));
}

void Call::flush()
{
    writeAll(STDOUT_FILENO, _asciiOnly ? toAscii(_out) : _out);
    writeAll(STDERR_FILENO, _asciiOnly ? toAscii(_error) : _error);
    _out.clear();
    _error.clear();
}

} // namespace hostsim
