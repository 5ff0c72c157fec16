#pragma once

#include "model/StateFolder.h"

#include <string>
#include <vector>

namespace hostsim {

/// The log of command lines. A call is logged when it begins and again when it ends, so that one
/// that hangs or was killed is in it, too.
class CommandLog
{
public:
    class Entry
    {
    public:
        Entry(const StateFolder& folder, const std::vector<std::string>& line);
        void finish(int status) const;

    private:
        StateFolder _folder;
        std::string _id;
    };

    /// The calls in the order in which they began, one JSON object per line: "line" (as a shell
    /// would read it), "argv", "status" and "endMs" (null until it ends), "startMs".
    static std::string merged(const StateFolder& folder);
    /// The same as plain command lines, without the rest.
    static std::string lines(const StateFolder& folder);
};

/// The command line, quoted where a shell needs it.
std::string shellText(const std::vector<std::string>& argv);

} // namespace hostsim
