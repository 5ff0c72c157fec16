#include "inventory/AudioBoard.h"

namespace ky {

namespace {

constexpr char kReadHeadphone[] = "amixer get Headphone | grep -Po '[0-9][0-9]%'";
constexpr char kReadPlayback[] = "amixer get Playback | grep -Po '[0-9][0-9]%'";

struct Row
{
    int hardwareType;
    AudioBoard board;
};

constexpr Row kBoards[] = {
    {1,
     {"amixer set Headphone %1%; amixer set PCM 100%;", "alsactl store apalisimx8qmsgt",
      kReadHeadphone}},
    {2,
     {"amixer set Headphone %1%; amixer set PCM %1%;", "alsactl store imx8qxpsgtl5000",
      kReadHeadphone}},
    {6, {"amixer set Playback %1%;", "alsactl store rockchiprk809", kReadPlayback}},
    {7, {"amixer set Playback %1%;", "alsactl store rockchiprk809", kReadPlayback}},
};

constexpr AudioBoard kOtherBoard = {"amixer set Headphone %1%; amixer set PCM %1%;",
                                    "alsactl store apalisimx8qmsgt", kReadHeadphone};

} // namespace

const AudioBoard& audioBoard(int hardwareType)
{
    for (const Row& row : kBoards) {
        if (row.hardwareType == hardwareType)
            return row.board;
    }
    return kOtherBoard;
}

} // namespace ky
