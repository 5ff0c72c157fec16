#pragma once

#include "shim/Shim.h"

#include <linux/if_arp.h>
#include <netinet/in.h>
#include <stdint.h>

/* The scene's interfaces, as in the file `interfaces` of the folder:
   link INDEX NAME FLAGS MTU TYPE WIFI MAC
   addr INDEX ADDRESS/PREFIX */

enum
{
    kMaxLinks = 256,
    kMaxAddresses = 1024
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

/* Null outside a run, when everything goes to the kernel. The caller frees it. */
struct Table* hostsimTable(void) __attribute__((visibility("hidden")));
const struct Link* hostsimLinkByName(const struct Table* table, const char* name)
    __attribute__((visibility("hidden")));
const struct Link* hostsimLinkByIndex(const struct Table* table, int index)
    __attribute__((visibility("hidden")));
uint32_t hostsimMaskOf(int prefix) __attribute__((visibility("hidden")));
/* Sets errno and returns -1. */
int hostsimFail(int error) __attribute__((visibility("hidden")));
