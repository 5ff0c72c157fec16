#define _GNU_SOURCE
#include "shim/Shim.h"

#include "shim/PathMap.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <glob.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/xattr.h>
#include <unistd.h>

const char* hostsimFolder(void)
{
    static const char* folder;
    if (!folder)
        folder = getenv("HOSTSIM_STATE");
    return folder && *folder ? folder : NULL;
}

/* Resolves "//", "/." and "/.." in an absolute path. */
static void normalise(const char* path, char out[PATH_MAX])
{
    size_t length = 0;
    while (*path && length + 1 < PATH_MAX) {
        while (*path == '/')
            ++path;
        size_t part = strcspn(path, "/");
        if (part == 2 && path[0] == '.' && path[1] == '.') {
            while (length > 0 && out[--length] != '/') {
            }
        } else if (part > 0 && !(part == 1 && path[0] == '.') && length + part + 1 < PATH_MAX) {
            out[length++] = '/';
            memcpy(out + length, path, part);
            length += part;
        }
        path += part;
    }
    out[length] = '\0';
}

/* Where a relative path begins: the working directory, or the folder of a descriptor. A tool may
   walk down a path step by step: `mkdir -p /etc/netplan/x` enters /etc and creates "netplan". */
static int baseFolder(int folder, char out[PATH_MAX])
{
    static ssize_t (*next)(const char*, char*, size_t);
    if (!next)
        *(void**)&next = dlsym(RTLD_NEXT, "readlink");
    char link[64] = "/proc/self/cwd";
    if (folder != AT_FDCWD)
        snprintf(link, sizeof link, "/proc/self/fd/%d", folder);
    const ssize_t length = next(link, out, PATH_MAX - 1);
    if (length <= 0 || out[0] != '/')
        return 0;
    out[length] = '\0';
    return 1;
}

const char* hostsimMappedAt(int at, const char* path, char buffer[PATH_MAX])
{
    const char* folder = hostsimFolder();
    if (!folder || !path || !*path)
        return path;
    char joined[2 * PATH_MAX];
    char base[PATH_MAX] = "";
    const int savedError = errno;
    if (path[0] != '/' && !baseFolder(at, base)) {
        errno = savedError;
        return path;
    }
    errno = savedError;
    if ((size_t)snprintf(joined, sizeof joined, "%s/%s", base, path) >= PATH_MAX)
        return path;
    char plain[PATH_MAX];
    normalise(joined, plain);
    if (!isBelowPrivatePrefix(plain))
        return path;
    if ((size_t)snprintf(buffer, PATH_MAX, "%s/root%s", folder, plain) >= PATH_MAX)
        return path;
    return buffer;
}

const char* hostsimMapped(const char* path, char buffer[PATH_MAX])
{
    return hostsimMappedAt(AT_FDCWD, path, buffer);
}

/* Turns a path in the private root back into the host's path. */
static void unmap(char* path)
{
    const char* folder = hostsimFolder();
    char root[PATH_MAX];
    if (!folder || !path || !realpath(folder, root))
        return;
    const size_t length = strlen(root);
    if (strncmp(path, root, length) == 0 && strncmp(path + length, "/root/", 6) == 0)
        memmove(path, path + length + 5, strlen(path + length + 5) + 1);
}

static mode_t modeOf(int flags, va_list list)
{
    return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(list, mode_t) : 0;
}

#define MAP                                                                                        \
    char buffer[PATH_MAX];                                                                         \
    path = hostsimMapped(path, buffer)
#define MAPAT                                                                                      \
    char buffer[PATH_MAX];                                                                         \
    path = hostsimMappedAt(folder, path, buffer)

#define OPEN(name)                                                                                 \
    int name(const char* path, int flags, ...)                                                     \
    {                                                                                              \
        NEXT(name);                                                                                \
        MAP;                                                                                       \
        va_list list;                                                                              \
        va_start(list, flags);                                                                     \
        const mode_t mode = modeOf(flags, list);                                                   \
        va_end(list);                                                                              \
        return next(path, flags, mode);                                                            \
    }
OPEN(open)
OPEN(open64)

#define OPENAT(name)                                                                               \
    int name(int folder, const char* path, int flags, ...)                                         \
    {                                                                                              \
        NEXT(name);                                                                                \
        MAPAT;                                                                                     \
        va_list list;                                                                              \
        va_start(list, flags);                                                                     \
        const mode_t mode = modeOf(flags, list);                                                   \
        va_end(list);                                                                              \
        return next(folder, path, flags, mode);                                                    \
    }
OPENAT(openat)
OPENAT(openat64)

/* Functions whose one path is named `path`: WRAP(type, name, (parameters), (arguments)). */
#define WRAP(type, name, parameters, arguments)                                                    \
    type name parameters                                                                           \
    {                                                                                              \
        NEXT(name);                                                                                \
        MAP;                                                                                       \
        return next arguments;                                                                     \
    }

/* The same for a path that begins at the descriptor `folder`. */
#define WRAPAT(type, name, parameters, arguments)                                                  \
    type name parameters                                                                           \
    {                                                                                              \
        NEXT(name);                                                                                \
        MAPAT;                                                                                     \
        return next arguments;                                                                     \
    }

/* The checked forms that fortified programs call; no header declares them. */
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
int __openat_2(int folder, const char* path, int flags);
int __openat64_2(int folder, const char* path, int flags);
int __xstat(int version, const char* path, struct stat* info);
int __lxstat(int version, const char* path, struct stat* info);
int __fxstatat(int version, int folder, const char* path, struct stat* info, int flags);
int __xstat64(int version, const char* path, struct stat64* info);
int __lxstat64(int version, const char* path, struct stat64* info);
int __fxstatat64(int version, int folder, const char* path, struct stat64* info, int flags);
char* __realpath_chk(const char* path, char* resolved, size_t size);
ssize_t __readlink_chk(const char* path, char* text, size_t size, size_t room);

WRAP(int, __open_2, (const char* path, int flags), (path, flags))
WRAP(int, __open64_2, (const char* path, int flags), (path, flags))
WRAPAT(int, __openat_2, (int folder, const char* path, int flags), (folder, path, flags))
WRAPAT(int, __openat64_2, (int folder, const char* path, int flags), (folder, path, flags))
WRAP(int, creat, (const char* path, mode_t mode), (path, mode))
WRAP(int, creat64, (const char* path, mode_t mode), (path, mode))
WRAP(FILE*, fopen, (const char* path, const char* mode), (path, mode))
WRAP(FILE*, fopen64, (const char* path, const char* mode), (path, mode))
WRAP(FILE*, freopen, (const char* path, const char* mode, FILE* file), (path, mode, file))
WRAP(FILE*, freopen64, (const char* path, const char* mode, FILE* file), (path, mode, file))

/* Temporary names: what the C library chose is copied back into the caller's template. */
#define WRAPTEMP(name, parameters, arguments)                                                      \
    int name parameters                                                                            \
    {                                                                                              \
        NEXT(name);                                                                                \
        char buffer[PATH_MAX];                                                                     \
        char* given = path;                                                                        \
        if (hostsimMapped(path, buffer) == buffer)                                                 \
            path = buffer;                                                                         \
        const int fd = next arguments;                                                             \
        if (path != given && fd >= 0)                                                              \
            memcpy(given + strlen(given) - 6, path + strlen(path) - 6, 6);                         \
        return fd;                                                                                 \
    }
WRAPTEMP(mkstemp, (char* path), (path))
WRAPTEMP(mkstemp64, (char* path), (path))
WRAPTEMP(mkostemp, (char* path, int flags), (path, flags))
WRAPTEMP(mkostemp64, (char* path, int flags), (path, flags))

WRAP(int, stat, (const char* path, struct stat* info), (path, info))
WRAP(int, stat64, (const char* path, struct stat64* info), (path, info))
WRAP(int, lstat, (const char* path, struct stat* info), (path, info))
WRAP(int, lstat64, (const char* path, struct stat64* info), (path, info))
WRAPAT(int, fstatat, (int folder, const char* path, struct stat* info, int flags),
       (folder, path, info, flags))
WRAPAT(int, fstatat64, (int folder, const char* path, struct stat64* info, int flags),
       (folder, path, info, flags))
WRAPAT(int, statx, (int folder, const char* path, int flags, unsigned mask, struct statx* info),
       (folder, path, flags, mask, info))
WRAP(int, __xstat, (int version, const char* path, struct stat* info), (version, path, info))
WRAP(int, __lxstat, (int version, const char* path, struct stat* info), (version, path, info))
WRAPAT(int, __fxstatat, (int version, int folder, const char* path, struct stat* info, int flags),
       (version, folder, path, info, flags))
WRAP(int, __xstat64, (int version, const char* path, struct stat64* info), (version, path, info))
WRAP(int, __lxstat64, (int version, const char* path, struct stat64* info), (version, path, info))
WRAPAT(int, __fxstatat64,
       (int version, int folder, const char* path, struct stat64* info, int flags),
       (version, folder, path, info, flags))

WRAP(int, access, (const char* path, int mode), (path, mode))
WRAP(int, eaccess, (const char* path, int mode), (path, mode))
WRAP(int, euidaccess, (const char* path, int mode), (path, mode))
WRAPAT(int, faccessat, (int folder, const char* path, int mode, int flags),
       (folder, path, mode, flags))

WRAP(DIR*, opendir, (const char* path), (path))
WRAP(int, chdir, (const char* path), (path))
WRAP(int, mkdir, (const char* path, mode_t mode), (path, mode))
WRAPAT(int, mkdirat, (int folder, const char* path, mode_t mode), (folder, path, mode))
WRAP(int, rmdir, (const char* path), (path))
WRAP(int, unlink, (const char* path), (path))
WRAPAT(int, unlinkat, (int folder, const char* path, int flags), (folder, path, flags))
WRAP(int, remove, (const char* path), (path))
WRAP(int, chmod, (const char* path, mode_t mode), (path, mode))
WRAPAT(int, fchmodat, (int folder, const char* path, mode_t mode, int flags),
       (folder, path, mode, flags))
WRAP(int, chown, (const char* path, uid_t user, gid_t group), (path, user, group))
WRAP(int, lchown, (const char* path, uid_t user, gid_t group), (path, user, group))
WRAPAT(int, fchownat, (int folder, const char* path, uid_t user, gid_t group, int flags),
       (folder, path, user, group, flags))
WRAP(int, truncate, (const char* path, off_t length), (path, length))
WRAP(int, truncate64, (const char* path, off64_t length), (path, length))
WRAP(int, utimes, (const char* path, const struct timeval times[2]), (path, times))
WRAPAT(int, utimensat, (int folder, const char* path, const struct timespec times[2], int flags),
       (folder, path, times, flags))
WRAP(int, inotify_add_watch, (int fd, const char* path, uint32_t mask), (fd, path, mask))
WRAP(ssize_t, getxattr, (const char* path, const char* name, void* value, size_t size),
     (path, name, value, size))
WRAP(ssize_t, lgetxattr, (const char* path, const char* name, void* value, size_t size),
     (path, name, value, size))
WRAP(ssize_t, readlink, (const char* path, char* text, size_t size), (path, text, size))
WRAP(ssize_t, __readlink_chk, (const char* path, char* text, size_t size, size_t room),
     (path, text, size, room))
WRAPAT(ssize_t, readlinkat, (int folder, const char* path, char* text, size_t size),
       (folder, path, text, size))
/* Only the place of the link is mapped, not what it points to. */
WRAP(int, symlink, (const char* target, const char* path), (target, path))
WRAPAT(int, symlinkat, (const char* target, int folder, const char* path), (target, folder, path))

#define WRAP2(name, parameters, arguments)                                                         \
    int name parameters                                                                            \
    {                                                                                              \
        NEXT(name);                                                                                \
        char first[PATH_MAX];                                                                      \
        char second[PATH_MAX];                                                                     \
        from = hostsimMapped(from, first);                                                         \
        to = hostsimMapped(to, second);                                                            \
        return next arguments;                                                                     \
    }
WRAP2(rename, (const char* from, const char* to), (from, to))
WRAP2(link, (const char* from, const char* to), (from, to))

#define WRAP2AT(name, parameters, arguments)                                                       \
    int name parameters                                                                            \
    {                                                                                              \
        NEXT(name);                                                                                \
        char first[PATH_MAX];                                                                      \
        char second[PATH_MAX];                                                                     \
        from = hostsimMappedAt(a, from, first);                                                    \
        to = hostsimMappedAt(b, to, second);                                                       \
        return next arguments;                                                                     \
    }
WRAP2AT(renameat, (int a, const char* from, int b, const char* to), (a, from, b, to))
WRAP2AT(renameat2, (int a, const char* from, int b, const char* to, unsigned flags),
        (a, from, b, to, flags))
WRAP2AT(linkat, (int a, const char* from, int b, const char* to, int flags),
        (a, from, b, to, flags))

char* realpath(const char* path, char* resolved)
{
    NEXT(realpath);
    char buffer[PATH_MAX];
    const char* mapped = hostsimMapped(path, buffer);
    char* result = next(mapped, resolved);
    if (mapped != path)
        unmap(result);
    return result;
}

char* __realpath_chk(const char* path, char* resolved, size_t size)
{
    (void)size;
    return realpath(path, resolved);
}

char* canonicalize_file_name(const char* path)
{
    return realpath(path, NULL);
}

/* glob() opens folders from inside the C library, past these wrappers, so it is handed them. */
static void* openFolder(const char* path)
{
    return opendir(path);
}

static void closeFolder(void* folder)
{
    closedir(folder);
}

static struct dirent* readFolder(void* folder)
{
    return readdir(folder);
}

static void setFolderFunctions(glob_t* result)
{
    result->gl_opendir = openFolder;
    result->gl_closedir = closeFolder;
    result->gl_readdir = readFolder;
    result->gl_lstat = lstat;
    result->gl_stat = stat;
}

int glob(const char* pattern, int flags, int (*onError)(const char*, int), glob_t* result)
{
    NEXT(glob);
    if (hostsimFolder() && !(flags & GLOB_ALTDIRFUNC)) {
        setFolderFunctions(result);
        flags |= GLOB_ALTDIRFUNC;
    }
    return next(pattern, flags, onError, result);
}

int glob64(const char* pattern, int flags, int (*onError)(const char*, int), glob64_t* result)
{
    return glob(pattern, flags, onError, (glob_t*)result);
}

int scandir(const char* path, struct dirent*** list, int (*filter)(const struct dirent*),
            int (*compare)(const struct dirent**, const struct dirent**))
{
    NEXT(scandir);
    MAP;
    return next(path, list, filter, compare);
}
