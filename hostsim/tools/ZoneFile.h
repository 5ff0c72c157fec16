#pragma once

#include "model/StateFolder.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace hostsim {

/// The time zone that the simulated /etc/localtime links to.
class ZoneFile
{
public:
    struct Local
    {
        std::tm time = {};
        std::string abbreviation = "UTC";
        long offset = 0; ///< seconds east of Greenwich
    };

    explicit ZoneFile(const StateFolder& folder);

    /// As `timedatectl` shows it: "n/a" for a link to nothing or to the folder of zones, "Etc/UTC"
    /// without a link.
    const std::string& name() const { return _name; }
    Local localTime(std::time_t when) const;
    /// Seconds east of Greenwich at the moment when local clocks show this time.
    long offsetAtLocal(int64_t localSeconds) const;

    static bool exists(const std::string& name);
    static void link(const StateFolder& folder, const std::string& name);
    /// All zones of the machine's time zone data, sorted.
    static std::vector<std::string> names();

private:
    std::string _name;
};

} // namespace hostsim
