#pragma once

namespace ky {

/// Whether the process can open that many more descriptors. Numbers in use may leave holes
/// anywhere below the limit, so numbers are looked at, from the top, until enough are free.
bool hasRoomForDescriptors(int wanted);

} // namespace ky
