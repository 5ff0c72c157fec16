#define _GNU_SOURCE
#include "shim/Shim.h"

#include <arpa/inet.h>
#include <errno.h>
#include <ifaddrs.h>
#include <linux/if_arp.h>
#include <linux/if_packet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/wireless.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/* The scene's interfaces stand in the file `interfaces` of the folder:
   link INDEX NAME FLAGS MTU TYPE WIFI MAC
   addr INDEX ADDRESS/PREFIX */

enum
{
    kMaxLinks = 256,
    kMaxAddresses = 1024,
    kMaxDescriptors = 4096
};

struct Link
{
    int index;
    char name[IFNAMSIZ];
    unsigned flags;
    unsigned mtu;
    unsigned type;
    int isWifi;
    unsigned char mac[6];
};

struct Address
{
    int index;
    int family;
    int prefix;
    struct in_addr ip4;
    struct in6_addr ip6;
};

struct Table
{
    struct Link links[kMaxLinks];
    struct Address addresses[kMaxAddresses];
    int linkCount;
    int addressCount;
};

static void readLink(struct Table* table, const char* line)
{
    struct Link link;
    memset(&link, 0, sizeof link);
    unsigned char* m = link.mac;
    const int count = sscanf(line, "link %d %15s %u %u %u %d %hhx:%hhx:%hhx:%hhx:%hhx:%hhx",
                             &link.index, link.name, &link.flags, &link.mtu, &link.type,
                             &link.isWifi, m, m + 1, m + 2, m + 3, m + 4, m + 5);
    if (count == 12 && table->linkCount < kMaxLinks)
        table->links[table->linkCount++] = link;
}

static void readAddress(struct Table* table, const char* line)
{
    struct Address address;
    memset(&address, 0, sizeof address);
    char text[INET6_ADDRSTRLEN];
    if (sscanf(line, "addr %d %45[^/]/%d", &address.index, text, &address.prefix) != 3)
        return;
    if (inet_pton(AF_INET, text, &address.ip4) == 1)
        address.family = AF_INET;
    else if (inet_pton(AF_INET6, text, &address.ip6) == 1)
        address.family = AF_INET6;
    if (address.family != 0 && table->addressCount < kMaxAddresses)
        table->addresses[table->addressCount++] = address;
}

/* Null outside a run: then everything goes to the kernel. The caller frees it. */
static struct Table* readTable(void)
{
    const char* folder = hostsimFolder();
    char path[PATH_MAX];
    if (!folder || snprintf(path, sizeof path, "%s/interfaces", folder) >= (int)sizeof path)
        return NULL;
    FILE* file = fopen(path, "re");
    if (!file)
        return NULL;
    struct Table* table = calloc(1, sizeof *table);
    char line[256];
    while (table && fgets(line, sizeof line, file)) {
        readLink(table, line);
        readAddress(table, line);
    }
    fclose(file);
    return table;
}

static const struct Link* linkByName(const struct Table* table, const char* name)
{
    for (int i = 0; i < table->linkCount; ++i)
        if (strncmp(table->links[i].name, name, IFNAMSIZ) == 0)
            return &table->links[i];
    return NULL;
}

static const struct Link* linkByIndex(const struct Table* table, int index)
{
    for (int i = 0; i < table->linkCount; ++i)
        if (table->links[i].index == index)
            return &table->links[i];
    return NULL;
}

static const struct Address* ip4Of(const struct Table* table, int index)
{
    for (int i = 0; i < table->addressCount; ++i)
        if (table->addresses[i].index == index && table->addresses[i].family == AF_INET)
            return &table->addresses[i];
    return NULL;
}

static uint32_t maskOf(int prefix)
{
    return prefix <= 0 ? 0 : htonl(0xffffffffu << (32 - prefix));
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

/* Raw CAN channels are the machine's own, if it has any. */
static int isCanSocket(int fd)
{
    int domain = 0;
    socklen_t size = sizeof domain;
    return getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_CAN;
}

static int fail(int error)
{
    errno = error;
    return -1;
}

static int answerAddress(const struct Table* table, const struct Link* link, unsigned long request,
                         struct ifreq* request4)
{
    const struct Address* address = ip4Of(table, link->index);
    if (!address)
        return fail(EADDRNOTAVAIL);
    struct sockaddr_in* out = (struct sockaddr_in*)&request4->ifr_addr;
    memset(out, 0, sizeof *out);
    out->sin_family = AF_INET;
    out->sin_addr = address->ip4;
    if (request == SIOCGIFNETMASK)
        out->sin_addr.s_addr = maskOf(address->prefix);
    else if (request == SIOCGIFBRDADDR)
        out->sin_addr.s_addr =
            link->flags & IFF_BROADCAST ? address->ip4.s_addr | ~maskOf(address->prefix) : 0;
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
        return link->isWifi ? 0 : fail(EOPNOTSUPP);
    case SIOCGIWMODE:
        if (link->isWifi)
            ((struct iwreq*)out)->u.mode = IW_MODE_INFRA;
        return link->isWifi ? 0 : fail(EOPNOTSUPP);
    default:
        return answerAddress(table, link, request, out);
    }
}

static int answerRequest(const struct Table* table, unsigned long request, struct ifreq* out)
{
    if (request == SIOCGIFNAME) {
        const struct Link* link = linkByIndex(table, out->ifr_ifindex);
        if (link)
            memcpy(out->ifr_name, link->name, IFNAMSIZ);
        return link ? 0 : fail(ENODEV);
    }
    const struct Link* link = linkByName(table, out->ifr_name);
    return link ? answerLink(table, link, request, out) : fail(ENODEV);
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
    struct Table* table = readTable();
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
    struct Table* table = readTable();
    if (!table)
        return next(name);
    const struct Link* link = linkByName(table, name);
    const unsigned index = link ? (unsigned)link->index : 0;
    free(table);
    if (index == 0)
        errno = ENODEV;
    return index;
}

char* if_indextoname(unsigned index, char* name)
{
    NEXT(if_indextoname);
    struct Table* table = readTable();
    if (!table)
        return next(index, name);
    const struct Link* link = linkByIndex(table, (int)index);
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
    struct ifaddrs head; /* first: the list hands out pointers to it */
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
    entry->mask.ip4.sin_addr.s_addr = maskOf(address->prefix);
    entry->broadcast.ip4.sin_family = AF_INET;
    entry->broadcast.ip4.sin_addr.s_addr = address->ip4.s_addr | ~maskOf(address->prefix);
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

int getifaddrs(struct ifaddrs** list)
{
    NEXT(getifaddrs);
    struct Table* table = readTable();
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
        const struct Link* link = linkByIndex(table, table->addresses[i].index);
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

/* --- route netlink, of which QNetworkInterface reads links and addresses ---
   A socket of ours is one end of a datagram pair; the answer to a request is put into it through
   the other end, from where the program reads it as from the kernel. */

static int partners[kMaxDescriptors]; /* descriptor of the other end, 0 for none */

static int partnerOf(int fd)
{
    return fd >= 0 && fd < kMaxDescriptors ? partners[fd] : 0;
}

int socket(int domain, int type, int protocol)
{
    NEXT(socket);
    if (domain != AF_NETLINK || protocol != NETLINK_ROUTE || !hostsimFolder())
        return next(domain, type, protocol);
    int ends[2];
    const int flags = type & (SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socketpair(AF_UNIX, SOCK_DGRAM | flags, 0, ends) != 0)
        return -1;
    if (ends[0] >= kMaxDescriptors || ends[1] == 0) {
        close(ends[0]);
        close(ends[1]);
        return fail(EMFILE);
    }
    partners[ends[0]] = ends[1];
    return ends[0];
}

int close(int fd)
{
    NEXT(close);
    const int partner = partnerOf(fd);
    if (partner) {
        partners[fd] = 0;
        next(partner);
    }
    return next(fd);
}

struct Message
{
    struct nlmsghdr head;
    char body[512];
};

static void add(struct Message* message, unsigned short type, const void* value, size_t size)
{
    struct rtattr* attribute =
        (struct rtattr*)((char*)message + NLMSG_ALIGN(message->head.nlmsg_len));
    attribute->rta_type = type;
    attribute->rta_len = (unsigned short)RTA_LENGTH(size);
    memcpy(RTA_DATA(attribute), value, size);
    message->head.nlmsg_len = NLMSG_ALIGN(message->head.nlmsg_len) + RTA_ALIGN(attribute->rta_len);
}

static void* begin(struct Message* message, const struct nlmsghdr* request, unsigned short type,
                   size_t size)
{
    memset(message, 0, sizeof *message);
    message->head.nlmsg_type = type;
    message->head.nlmsg_flags = NLM_F_MULTI;
    message->head.nlmsg_seq = request->nlmsg_seq;
    message->head.nlmsg_pid = (uint32_t)getpid();
    message->head.nlmsg_len = (uint32_t)NLMSG_LENGTH(size);
    return NLMSG_DATA(&message->head);
}

static void send1(int partner, const struct Message* message)
{
    if (write(partner, message, message->head.nlmsg_len) < 0)
        return; /* nobody reads any more */
}

static void sendLinks(int partner, const struct nlmsghdr* request, const struct Table* table)
{
    for (int i = 0; i < table->linkCount; ++i) {
        const struct Link* link = &table->links[i];
        struct Message message;
        struct ifinfomsg* info = begin(&message, request, RTM_NEWLINK, sizeof *info);
        info->ifi_family = AF_UNSPEC;
        info->ifi_type = (unsigned short)link->type;
        info->ifi_index = link->index;
        info->ifi_flags = link->flags;
        add(&message, IFLA_IFNAME, link->name, strlen(link->name) + 1);
        add(&message, IFLA_MTU, &link->mtu, sizeof link->mtu);
        if (link->type != ARPHRD_CAN)
            add(&message, IFLA_ADDRESS, link->mac, sizeof link->mac);
        send1(partner, &message);
    }
}

static void addAddress(struct Message* message, const struct Link* link,
                       const struct Address* address)
{
    if (address->family == AF_INET6) {
        add(message, IFA_ADDRESS, &address->ip6, sizeof address->ip6);
        return;
    }
    const uint32_t broadcast = address->ip4.s_addr | ~maskOf(address->prefix);
    add(message, IFA_ADDRESS, &address->ip4, sizeof address->ip4);
    add(message, IFA_LOCAL, &address->ip4, sizeof address->ip4);
    if (link->flags & IFF_BROADCAST)
        add(message, IFA_BROADCAST, &broadcast, sizeof broadcast);
    add(message, IFA_LABEL, link->name, strlen(link->name) + 1);
}

static void sendAddresses(int partner, const struct nlmsghdr* request, const struct Table* table)
{
    for (int i = 0; i < table->addressCount; ++i) {
        const struct Address* address = &table->addresses[i];
        const struct Link* link = linkByIndex(table, address->index);
        if (!link)
            continue;
        struct Message message;
        struct ifaddrmsg* info = begin(&message, request, RTM_NEWADDR, sizeof *info);
        info->ifa_family = (unsigned char)address->family;
        info->ifa_prefixlen = (unsigned char)address->prefix;
        info->ifa_flags = IFA_F_PERMANENT;
        info->ifa_index = (unsigned)address->index;
        addAddress(&message, link, address);
        const uint32_t flags = IFA_F_PERMANENT;
        const struct ifa_cacheinfo forever = {0xffffffffu, 0xffffffffu, 0, 0};
        add(&message, IFA_FLAGS, &flags, sizeof flags);
        add(&message, IFA_CACHEINFO, &forever, sizeof forever);
        send1(partner, &message);
    }
}

static void answerNetlink(int partner, const void* data, size_t size)
{
    const struct nlmsghdr* request = data;
    struct Table* table = readTable();
    if (size < sizeof *request || !table) {
        free(table);
        return;
    }
    if (request->nlmsg_type == RTM_GETLINK)
        sendLinks(partner, request, table);
    else if (request->nlmsg_type == RTM_GETADDR)
        sendAddresses(partner, request, table);
    free(table);
    struct Message done;
    memset(begin(&done, request, NLMSG_DONE, sizeof(int)), 0, sizeof(int));
    send1(partner, &done);
}

ssize_t send(int fd, const void* data, size_t size, int flags)
{
    NEXT(send);
    const int partner = partnerOf(fd);
    if (!partner)
        return next(fd, data, size, flags);
    answerNetlink(partner, data, size);
    return (ssize_t)size;
}

ssize_t sendto(int fd, const void* data, size_t size, int flags, const struct sockaddr* to,
               socklen_t length)
{
    NEXT(sendto);
    const int partner = partnerOf(fd);
    if (!partner)
        return next(fd, data, size, flags, to, length);
    answerNetlink(partner, data, size);
    return (ssize_t)size;
}

int bind(int fd, const struct sockaddr* address, socklen_t length)
{
    NEXT(bind);
    return partnerOf(fd) ? 0 : next(fd, address, length);
}
