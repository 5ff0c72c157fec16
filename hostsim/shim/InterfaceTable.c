#define _GNU_SOURCE
#include "shim/InterfaceTable.h"

#include <arpa/inet.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

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

struct Table* hostsimTable(void)
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

const struct Link* hostsimLinkByName(const struct Table* table, const char* name)
{
    for (int i = 0; i < table->linkCount; ++i)
        if (strncmp(table->links[i].name, name, IFNAMSIZ) == 0)
            return &table->links[i];
    return NULL;
}

const struct Link* hostsimLinkByIndex(const struct Table* table, int index)
{
    for (int i = 0; i < table->linkCount; ++i)
        if (table->links[i].index == index)
            return &table->links[i];
    return NULL;
}

uint32_t hostsimMaskOf(int prefix)
{
    return prefix <= 0 ? 0 : htonl(0xffffffffu << (32 - prefix));
}

int hostsimFail(int error)
{
    errno = error;
    return -1;
}
