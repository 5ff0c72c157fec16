#include "network/tools/KernelCard.h"

#include <QByteArray>

#include <arpa/inet.h>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>

namespace ky {

namespace {

ifreq requestFor(const char* name)
{
    ifreq request{};
    qstrncpy(request.ifr_name, name, IFNAMSIZ);
    return request;
}

in_addr addressBy(int socket, unsigned long command, const char* name)
{
    ifreq request = requestFor(name);
    if (ioctl(socket, command, &request) < 0)
        return {};
    sockaddr_in address{};
    std::memcpy(&address, &request.ifr_addr, sizeof address);
    return address.sin_addr;
}

} // namespace

QString dotted(in_addr address)
{
    return QString::fromLatin1(inet_ntoa(address));
}

bool readHardwareAddress(int socket, const char* name, KernelCard& card)
{
    ifreq request = requestFor(name);
    if (ioctl(socket, SIOCGIFHWADDR, &request) < 0)
        return false;
    card.hardwareAddress =
        QString::fromLatin1(QByteArray(request.ifr_hwaddr.sa_data, 6).toHex(':').toUpper());
    return true;
}

void readAddresses(int socket, const char* name, KernelCard& card)
{
    card.address = addressBy(socket, SIOCGIFADDR, name);
    card.broadcast = addressBy(socket, SIOCGIFBRDADDR, name);
    card.mask = addressBy(socket, SIOCGIFNETMASK, name);
}

} // namespace ky
