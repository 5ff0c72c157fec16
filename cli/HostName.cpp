#include "cli/HostName.h"

#include <QHostAddress>
#include <QUrl>

#include <netdb.h>

#include <chrono>
#include <future>
#include <thread>
#include <utility>

namespace ky {

QString ipv4AddressOf(const QString& host)
{
    addrinfo wanted = {};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(QUrl::toAce(host).constData(), nullptr, &wanted, &found) != 0)
        return {};
    const QString address = QHostAddress(found->ai_addr).toString();
    ::freeaddrinfo(found);
    return address;
}

std::optional<QString> lookUpWithin(int limitMs, const QString& host, const LookUp& lookUp)
{
    std::packaged_task<QString()> task([host, lookUp] { return lookUp(host); });
    std::future<QString> address = task.get_future();
    std::thread(std::move(task)).detach();
    if (address.wait_for(std::chrono::milliseconds(limitMs)) != std::future_status::ready)
        return {};
    return address.get();
}

} // namespace ky
