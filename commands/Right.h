#pragma once

namespace ky {

/// What somebody may do to this host, each with all before it.
enum class Right
{
    View,       ///< look at its state; no secrets
    Operate,    ///< use it: roam, scan, volume, CAN and serial traffic, clock exchange
    Administer, ///< change how it is reached or starts; read secrets; upload
};

constexpr const char* nameOf(Right right)
{
    constexpr const char* kNames[] = {"view", "operate", "administer"};
    return kNames[int(right)];
}

} // namespace ky
