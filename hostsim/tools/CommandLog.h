#pragma once

#include "model/StateFolder.h"

#include <string>
#include <vector>

namespace hostsim {

/// The log of command lines: each call is noted when it begins and when it ends, so that one that
/// never ends, or was killed, stands there, too.
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

    /// The calls in the order of their beginning, one JSON object a line: "line" (as a shell
    /// would read it), "argv", "status" (null while it has none), "startMs", "endMs".
    static std::string merged(const StateFolder& folder);
    /// The same as plain command lines.
    static std::string lines(const StateFolder& folder);
};

/// The command line with quotes where a shell needs them.
std::string shellText(const std::vector<std::string>& argv);

} // namespace hostsim
