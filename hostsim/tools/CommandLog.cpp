#include "tools/CommandLog.h"

#include "model/Files.h"
#include "model/MachineClock.h"

#include <nlohmann/json.hpp>

#include <map>
#include <sstream>

#include <unistd.h>

namespace hostsim {

namespace {

using Json = nlohmann::ordered_json;

std::string dumped(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

bool isPlain(const std::string& arg)
{
    constexpr char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                             "-_=./:,@%+";
    return !arg.empty() && arg.find_first_not_of(plain) == std::string::npos;
}

} // namespace

std::string shellText(const std::vector<std::string>& argv)
{
    std::string line;
    for (const std::string& arg : argv) {
        line += line.empty() ? "" : " ";
        if (isPlain(arg)) {
            line += arg;
            continue;
        }
        line += "'";
        for (const char c : arg)
            line += c == '\'' ? std::string("'\\''") : std::string(1, c);
        line += "'";
    }
    return line;
}

CommandLog::Entry::Entry(const StateFolder& folder, const std::vector<std::string>& line)
    : _folder(folder)
    , _id(std::to_string(::getpid()) + "-" + std::to_string(nowMs()))
{
    const Json begin = {
        {"id", _id}, {"line", shellText(line)}, {"argv", line}, {"startMs", nowMs()}};
    appendLine(_folder.logFile(), dumped(begin));
}

void CommandLog::Entry::finish(int status) const
{
    appendLine(_folder.logFile(),
               dumped(Json{{"id", _id}, {"status", status}, {"endMs", nowMs()}}));
}

static std::vector<Json> entriesOf(const StateFolder& folder)
{
    std::vector<Json> entries;
    std::map<std::string, size_t> places;
    std::istringstream lines(readFile(folder.logFile()));
    for (std::string line; std::getline(lines, line);) {
        const Json part = Json::parse(line, nullptr, false);
        if (part.is_discarded())
            continue;
        const std::string id = part.value("id", "");
        if (places.count(id) == 0) {
            places[id] = entries.size();
            entries.push_back({{"line", part.value("line", "")},
                               {"argv", part.value("argv", Json::array())},
                               {"status", nullptr},
                               {"startMs", part.value("startMs", 0LL)},
                               {"endMs", nullptr}});
        } else {
            entries[places[id]]["status"] = part.value("status", 0);
            entries[places[id]]["endMs"] = part.value("endMs", 0LL);
        }
    }
    return entries;
}

std::string CommandLog::merged(const StateFolder& folder)
{
    std::string text;
    for (const Json& entry : entriesOf(folder))
        text += dumped(entry) + "\n";
    return text;
}

std::string CommandLog::lines(const StateFolder& folder)
{
    std::string text;
    for (const Json& entry : entriesOf(folder))
        text += entry.value("line", "") + "\n";
    return text;
}

} // namespace hostsim
