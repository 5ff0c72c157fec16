#pragma once

/* The preload shim: it shows the programs of a run the private copies of host files and the scene's
   network interfaces. Plain C, since it replaces functions of the C library and runs before
   anything else in a program. */

#include <dlfcn.h>
#include <limits.h>

/* The folder of the simulated host, or null outside a run. */
const char* hostsimFolder(void) __attribute__((visibility("hidden")));

/* The private copy of a path, written into the buffer, or else the path itself. A relative path
   begins at the folder of the descriptor, or at the working directory (AT_FDCWD). */
const char* hostsimMappedAt(int folder, const char* path, char buffer[PATH_MAX])
    __attribute__((visibility("hidden")));
const char* hostsimMapped(const char* path, char buffer[PATH_MAX])
    __attribute__((visibility("hidden")));

/* The function that ours replaces: `NEXT(open)` declares `next`. */
#define NEXT(name)                                                                                 \
    static __typeof__(name)* next;                                                                 \
    if (!next)                                                                                     \
    *(void**)&next = dlsym(RTLD_NEXT, #name)
