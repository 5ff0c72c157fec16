#pragma once

namespace ky {

/// A view of constant rows in an array.
template <typename T>
struct Rows
{
    const T* first = nullptr;
    int count = 0;

    constexpr Rows() = default;
    template <int N>
    constexpr Rows(const T (&rows)[N])
        : first(rows)
        , count(N)
    {}

    constexpr const T* begin() const { return first; }
    constexpr const T* end() const { return first + count; }
    constexpr bool isEmpty() const { return count == 0; }
};

} // namespace ky
