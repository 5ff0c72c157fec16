#pragma once

namespace ky {

/// The mixer lines of a board family; exact, blanks included.
struct AudioBoard
{
    const char* setVolume; ///< %1: the volume in percent, at one place or two
    const char* store;
    const char* readVolume; ///< prints two digits and "%" for each channel
};

/// The lines for a `hardwareType`; families without lines of their own share a row.
const AudioBoard& audioBoard(int hardwareType);

} // namespace ky
