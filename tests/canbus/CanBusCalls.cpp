// The kernel's CAN calls over local sockets, for programs on a machine without CAN. While the
// environment variable KY_CANBUS names a folder, the interface "can0" exists if the folder has a
// listening SOCK_SEQPACKET socket "can0", and a raw CAN socket bound to it is a connection to that
// socket. All other calls pass through, and without the variable every call does.

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <linux/can.h>
#include <mutex>
#include <net/if.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::mutex& namesMutex()
{
    static std::mutex mutex;
    return mutex;
}

/// The names asked for so far: an interface's index is its place here, from 1.
std::vector<std::string>& names()
{
    static auto* const list = new std::vector<std::string>;
    return *list;
}

int indexOf(const char* name)
{
    const std::lock_guard<std::mutex> lock(namesMutex());
    for (size_t i = 0; i < names().size(); ++i) {
        if (names()[i] == name)
            return int(i) + 1;
    }
    names().emplace_back(name);
    return int(names().size());
}

std::string nameOf(int index)
{
    const std::lock_guard<std::mutex> lock(namesMutex());
    return index > 0 && index <= int(names().size()) ? names()[size_t(index) - 1] : std::string();
}

sockaddr_un addressOf(const char* folder, const std::string& name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s/%s", folder, name.c_str());
    return address;
}

bool isLocalSocket(int fd)
{
    int domain = 0;
    socklen_t size = sizeof domain;
    return getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_UNIX;
}

int findInterface(const char* folder, ifreq* request)
{
    const std::string name(request->ifr_name, strnlen(request->ifr_name, IFNAMSIZ));
    if (name.empty() || access(addressOf(folder, name).sun_path, F_OK) != 0) {
        errno = ENODEV;
        return -1;
    }
    request->ifr_ifindex = indexOf(name.c_str());
    return 0;
}

} // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept
{
    const auto real = next<int(int, int, int)>("socket");
    if (domain == AF_CAN && getenv("KY_CANBUS"))
        return real(AF_UNIX, SOCK_SEQPACKET | (type & (SOCK_CLOEXEC | SOCK_NONBLOCK)), 0);
    return real(domain, type, protocol);
}

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const char* const folder = getenv("KY_CANBUS");
    if (request == SIOCGIFINDEX && folder && isLocalSocket(fd))
        return findInterface(folder, static_cast<ifreq*>(argument));
    return next<int(int, unsigned long, ...)>("ioctl")(fd, request, argument);
}

int bind(int fd, const sockaddr* address, socklen_t size) noexcept
{
    const char* const folder = getenv("KY_CANBUS");
    if (address->sa_family != AF_CAN || !folder)
        return next<int(int, const sockaddr*, socklen_t)>("bind")(fd, address, size);
    sockaddr_can can = {};
    memcpy(&can, address, size < sizeof can ? size : sizeof can);
    const sockaddr_un peer = addressOf(folder, nameOf(can.can_ifindex));
    return connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
}

} // extern "C"
