#include "tools/Tools.h"

#include <algorithm>

namespace hostsim {

namespace {

using Row = std::vector<std::string>;

std::string percentOf(const Disk& disk)
{
    // Like df, out of what users can have: blocks reserved for root are left out.
    const int64_t all = disk.used + disk.available;
    if (disk.automount || all == 0)
        return "-";
    return std::to_string((disk.used * 100 + all - 1) / all) + "%"; // df rounds up
}

Row rowOf(const Disk& disk)
{
    const auto number = [&](int64_t value) {
        return disk.automount ? std::string("-") : std::to_string(value);
    };
    return {disk.filesystem,   disk.automount ? "-" : disk.type, number(disk.blocks),
            number(disk.used), number(disk.available),           percentOf(disk),
            disk.mountedOn};
}

std::string right(const std::string& text, size_t width)
{
    const size_t own = displayWidth(text);
    return std::string(own < width ? width - own : 0, ' ') + text;
}

// Numbers are aligned right and texts left; the last column is not padded.
std::string laidOut(const std::vector<Row>& rows)
{
    constexpr size_t least[] = {14, 4, 5, 5, 5, 4, 0}; // a column never gets narrower
    std::vector<size_t> widths(std::begin(least), std::end(least));
    for (const Row& row : rows)
        for (size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], displayWidth(row[i]));
    std::string text;
    for (const Row& row : rows) {
        for (size_t i = 0; i + 1 < row.size(); ++i)
            text += (i < 2 ? padded(row[i], widths[i]) : right(row[i], widths[i])) + " ";
        text += row.back() + "\n";
    }
    return text;
}

} // namespace

int df(Call& call)
{
    bool showsAll = false;
    for (const std::string& arg : call.args())
        showsAll = showsAll || (startsWith(arg, "-") && contains(arg, "a"));
    std::vector<Row> rows{
        call.locale().chinese
            ? Row{"文件系统", "类型", "1K的块", "已用", "可用", "已用%", "挂载点"}
            : Row{"Filesystem", "Type", "1K-blocks", "Used", "Available", "Use%", "Mounted on"}};
    for (const Disk& disk : call.host().disks)
        if (showsAll || !disk.pseudo)
            rows.push_back(rowOf(disk));
    call.out(laidOut(rows));
    return 0;
}

} // namespace hostsim
