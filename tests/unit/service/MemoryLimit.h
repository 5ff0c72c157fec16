#pragma once

#include <QFile>

#include <sys/resource.h>

// For one test program each: it defines the options of the address sanitizer.
#if defined(__SANITIZE_ADDRESS__)
extern "C" Q_DECL_EXPORT const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "max_allocation_size_mb=64:allocator_may_return_null=1";
}
#endif

/// Address space of this process in KiB.
inline long virtualKib()
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmSize:"))
            return line.mid(7).trimmed().split(' ').first().toLong();
    }
    return -1;
}

/// The process gets so much more memory and then none, for as long as this lives. Under the
/// address sanitizer a large block cannot be had at any time.
class MemoryLimit
{
public:
    explicit MemoryLimit(int mebibytes)
    {
        getrlimit(RLIMIT_AS, &_before);
#if !defined(__SANITIZE_ADDRESS__)
        const rlimit tight = {(rlim_t(virtualKib()) + rlim_t(mebibytes) * 1024) * 1024,
                              _before.rlim_max};
        setrlimit(RLIMIT_AS, &tight);
#else
        Q_UNUSED(mebibytes)
#endif
    }
    ~MemoryLimit()
    {
        setrlimit(RLIMIT_AS, &_before);
    }
    MemoryLimit(const MemoryLimit&) = delete;
    MemoryLimit& operator=(const MemoryLimit&) = delete;

private:
    rlimit _before = {};
};
