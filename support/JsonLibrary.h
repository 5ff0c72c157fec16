#pragma once

#include <cstdlib>
#include <exception>
#include <new>

namespace ky {

/// What the JSON library's own checks throw, where it would end the process.
class JsonLibraryError : public std::exception
{};

/// Memory for the JSON library, which uses what it gets without a look at it.
class JsonMemory
{
public:
    static const bool kNeedFree = true;
    void* Malloc(size_t size) { return size > 0 ? checked(std::malloc(size)) : nullptr; }
    void* Realloc(void* block, size_t /*former*/, size_t size)
    {
        if (size > 0)
            return checked(std::realloc(block, size));
        std::free(block);
        return nullptr;
    }
    static void Free(void* block) { std::free(block); }

private:
    static void* checked(void* block)
    {
        if (!block)
            throw std::bad_alloc();
        return block;
    }
};

} // namespace ky

#define RAPIDJSON_ASSERT(condition)                                                                \
    do {                                                                                           \
        if (!(condition))                                                                          \
            throw ::ky::JsonLibraryError();                                                        \
    } while (false)
