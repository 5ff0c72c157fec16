#define _GNU_SOURCE
#include "shim/InterfaceTable.h"

#include <errno.h>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <linux/wireless.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

static const struct Address* ip4Of(const struct Table* table, int index)
{
    for (int i = 0; i < table->addressCount; ++i)
        if (table->addresses[i].index == index && table->addresses[i].family == AF_INET)
            return &table->addresses[i];
    return NULL;
}

/* --- ioctl on a network interface --- */

static int isAnswered(unsigned long request)
{
    switch (request) {
    case SIOCGIFNAME:
    case SIOCGIFINDEX:
    case SIOCGIFFLAGS:
    case SIOCGIFMTU:
    case SIOCGIFHWADDR:
    case SIOCGIFADDR:
    case SIOCGIFBRDADDR:
    case SIOCGIFNETMASK:
    case SIOCGIWNAME:
    case SIOCGIWMODE:
        return 1;
    default:
        return 0;
    }
}

/* Raw CAN sockets go to the machine's own channels, if it has any. */
static int isCanSocket(int fd)
{
    int domain = 0;
    socklen_t size = sizeof domain;
    return getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_CAN;
}

static int answerAddress(const struct Table* table, const struct Link* link, unsigned long request,
                         struct ifreq* request4)
{
    const struct Address* address = ip4Of(table, link->index);
    if (!address)
        return hostsimFail(EADDRNOTAVAIL);
    struct sockaddr_in* out = (struct sockaddr_in*)&request4->ifr_addr;
    memset(out, 0, sizeof *out);
    out->sin_family = AF_INET;
    out->sin_addr = address->ip4;
    if (request == SIOCGIFNETMASK)
        out->sin_addr.s_addr = hostsimMaskOf(address->prefix);
    else if (request == SIOCGIFBRDADDR)
        out->sin_addr.s_addr =
            link->flags & IFF_BROADCAST ? address->ip4.s_addr | ~hostsimMaskOf(address->prefix) : 0;
    return 0;
}

static int answerLink(const struct Table* table, const struct Link* link, unsigned long request,
                      struct ifreq* out)
{
    switch (request) {
    case SIOCGIFINDEX:
        out->ifr_ifindex = link->index;
        return 0;
    case SIOCGIFFLAGS:
        out->ifr_flags = (short)link->flags;
        return 0;
    case SIOCGIFMTU:
        out->ifr_mtu = (int)link->mtu;
        return 0;
    case SIOCGIFHWADDR:
        memset(&out->ifr_hwaddr, 0, sizeof out->ifr_hwaddr);
        out->ifr_hwaddr.sa_family = (sa_family_t)link->type;
        memcpy(out->ifr_hwaddr.sa_data, link->mac, 6);
        return 0;
    case SIOCGIWNAME:
        if (link->isWifi)
            strcpy(((struct iwreq*)out)->u.name, "IEEE 802.11");
        return link->isWifi ? 0 : hostsimFail(EOPNOTSUPP);
    case SIOCGIWMODE:
        if (link->isWifi)
            ((struct iwreq*)out)->u.mode = IW_MODE_INFRA;
        return link->isWifi ? 0 : hostsimFail(EOPNOTSUPP);
    default:
        return answerAddress(table, link, request, out);
    }
}

static int answerRequest(const struct Table* table, unsigned long request, struct ifreq* out)
{
    if (request == SIOCGIFNAME) {
        const struct Link* link = hostsimLinkByIndex(table, out->ifr_ifindex);
        if (link)
            memcpy(out->ifr_name, link->name, IFNAMSIZ);
        return link ? 0 : hostsimFail(ENODEV);
    }
    const struct Link* link = hostsimLinkByName(table, out->ifr_name);
    return link ? answerLink(table, link, request, out) : hostsimFail(ENODEV);
}

int ioctl(int fd, unsigned long request, ...)
{
    NEXT(ioctl);
    va_list list;
    va_start(list, request);
    void* argument = va_arg(list, void*);
    va_end(list);
    if (!isAnswered(request) || !argument || isCanSocket(fd))
        return next(fd, request, argument);
    struct Table* table = hostsimTable();
    if (!table)
        return next(fd, request, argument);
    const int result = answerRequest(table, request, argument);
    free(table);
    return result;
}

/* --- names and indexes --- */

unsigned if_nametoindex(const char* name)
{
    NEXT(if_nametoindex);
    struct Table* table = hostsimTable();
    if (!table)
        return next(name);
    const struct Link* link = hostsimLinkByName(table, name);
    const unsigned index = link ? (unsigned)link->index : 0;
    free(table);
    if (index == 0)
        errno = ENODEV;
    return index;
}

char* if_indextoname(unsigned index, char* name)
{
    NEXT(if_indextoname);
    struct Table* table = hostsimTable();
    if (!table)
        return next(index, name);
    const struct Link* link = hostsimLinkByIndex(table, (int)index);
    if (link)
        memcpy(name, link->name, IFNAMSIZ);
    else
        errno = ENXIO;
    free(table);
    return link ? name : NULL;
}

/* --- getifaddrs --- */

struct Entry
{
    struct ifaddrs head; /* first, since callers get a pointer to it */
    char name[IFNAMSIZ];
    union
    {
        struct sockaddr_in ip4;
        struct sockaddr_in6 ip6;
        struct sockaddr_ll link;
    } address, mask, broadcast;
};

static void fillLink(struct Entry* entry, const struct Link* link)
{
    entry->address.link.sll_family = AF_PACKET;
    entry->address.link.sll_ifindex = link->index;
    entry->address.link.sll_hatype = (unsigned short)link->type;
    entry->address.link.sll_halen = 6;
    memcpy(entry->address.link.sll_addr, link->mac, 6);
    entry->head.ifa_addr = (struct sockaddr*)&entry->address;
}

static void fillIp4(struct Entry* entry, const struct Address* address)
{
    entry->address.ip4.sin_family = AF_INET;
    entry->address.ip4.sin_addr = address->ip4;
    entry->mask.ip4.sin_family = AF_INET;
    entry->mask.ip4.sin_addr.s_addr = hostsimMaskOf(address->prefix);
    entry->broadcast.ip4.sin_family = AF_INET;
    entry->broadcast.ip4.sin_addr.s_addr = address->ip4.s_addr | ~hostsimMaskOf(address->prefix);
    if (entry->head.ifa_flags & IFF_BROADCAST)
        entry->head.ifa_broadaddr = (struct sockaddr*)&entry->broadcast;
}

static void fillIp6(struct Entry* entry, const struct Address* address)
{
    entry->address.ip6.sin6_family = AF_INET6;
    entry->address.ip6.sin6_addr = address->ip6;
    if (IN6_IS_ADDR_LINKLOCAL(&address->ip6))
        entry->address.ip6.sin6_scope_id = (uint32_t)address->index;
    entry->mask.ip6.sin6_family = AF_INET6;
    for (int bit = 0; bit < address->prefix && bit < 128; ++bit)
        entry->mask.ip6.sin6_addr.s6_addr[bit / 8] |= (uint8_t)(0x80 >> (bit % 8));
}

static void fillAddress(struct Entry* entry, const struct Address* address)
{
    if (address->family == AF_INET)
        fillIp4(entry, address);
    else
        fillIp6(entry, address);
    entry->head.ifa_addr = (struct sockaddr*)&entry->address;
    entry->head.ifa_netmask = (struct sockaddr*)&entry->mask;
}

static void beginEntry(struct Entry* entry, const struct Link* link)
{
    memcpy(entry->name, link->name, IFNAMSIZ);
    entry->head.ifa_name = entry->name;
    entry->head.ifa_flags = link->flags;
}

/* The whole list is one block of memory, so that freeifaddrs() can free it at once. */
int getifaddrs(struct ifaddrs** list)
{
    NEXT(getifaddrs);
    struct Table* table = hostsimTable();
    if (!table)
        return next(list);
    const int count = table->linkCount + table->addressCount;
    struct Entry* entries = calloc((size_t)count + 1, sizeof *entries);
    int used = 0;
    for (int i = 0; entries && i < table->linkCount; ++i) {
        beginEntry(&entries[used], &table->links[i]);
        fillLink(&entries[used++], &table->links[i]);
    }
    for (int i = 0; entries && i < table->addressCount; ++i) {
        const struct Link* link = hostsimLinkByIndex(table, table->addresses[i].index);
        if (!link)
            continue;
        beginEntry(&entries[used], link);
        fillAddress(&entries[used++], &table->addresses[i]);
    }
    free(table);
    for (int i = 0; i + 1 < used; ++i)
        entries[i].head.ifa_next = &entries[i + 1].head;
    *list = used > 0 ? &entries[0].head : NULL;
    if (used == 0)
        free(entries);
    return 0;
}

void freeifaddrs(struct ifaddrs* list)
{
    NEXT(freeifaddrs);
    if (hostsimFolder())
        free(list); /* one block, see above */
    else
        next(list);
}
