#define _GNU_SOURCE
#include "shim/InterfaceTable.h"

#include <errno.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

enum
{
    kMaxDescriptors = 4096
};

/* --- route netlink, from which QNetworkInterface reads links and addresses ---
   Such a socket is one end of a datagram pair here. The answer to a request is written into the
   other end, and the program reads it as if it came from the kernel. */

static int partners[kMaxDescriptors]; /* descriptor of the other end; 0: not one of ours */

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
        return hostsimFail(EMFILE);
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

static void sendMessage(int partner, const struct Message* message)
{
    if (write(partner, message, message->head.nlmsg_len) < 0)
        return; /* nobody is reading */
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
        sendMessage(partner, &message);
    }
}

static void addAddress(struct Message* message, const struct Link* link,
                       const struct Address* address)
{
    if (address->family == AF_INET6) {
        add(message, IFA_ADDRESS, &address->ip6, sizeof address->ip6);
        return;
    }
    const uint32_t broadcast = address->ip4.s_addr | ~hostsimMaskOf(address->prefix);
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
        const struct Link* link = hostsimLinkByIndex(table, address->index);
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
        sendMessage(partner, &message);
    }
}

/* Dumps of links and addresses are answered; any other request gets an empty dump. */
static void answerNetlink(int partner, const void* data, size_t size)
{
    const struct nlmsghdr* request = data;
    struct Table* table = hostsimTable();
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
    sendMessage(partner, &done);
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

/* A socket pair needs no address. */
int bind(int fd, const struct sockaddr* address, socklen_t length)
{
    NEXT(bind);
    return partnerOf(fd) ? 0 : next(fd, address, length);
}
