#pragma once

/* Host paths that are private to a run, each with everything below it. Shared by the program, which
   is C++, and the preload shim, which is C. */

#include <string.h>

static const char* const kPrivatePrefixes[] = {
    "/etc/NetworkManager", "/etc/netplan",    "/etc/modprobe.d",
    "/etc/asound.conf",    "/etc/localtime",  "/run/NetworkManager",
    "/proc/asound",        "/proc/net/route", "/sys/class/thermal",
};

/* Whether an absolute path without "." and ".." is one of them or below one. */
static inline int isBelowPrivatePrefix(const char* path)
{
    for (size_t i = 0; i < sizeof kPrivatePrefixes / sizeof *kPrivatePrefixes; ++i) {
        const size_t length = strlen(kPrivatePrefixes[i]);
        if (strncmp(path, kPrivatePrefixes[i], length) == 0 &&
            (path[length] == '\0' || path[length] == '/'))
            return 1;
    }
    return 0;
}
