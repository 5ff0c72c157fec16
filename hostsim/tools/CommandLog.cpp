#include "tools/CommandLog.h"

#include "model/Files.h"
#include "model/JsonText.h"
#include "model/MachineClock.h"

#include <map>
#include <optional>
#include <sstream>

#include <unistd.h>

namespace hostsim {

namespace {

struct LoggedCall
{
    struct End
    {
        int64_t status;
        int64_t ms;
    };

    std::string line;
    std::vector<std::string> argv;
    int64_t startMs;
    std::optional<End> end; ///< none while it is running
};

void writeList(JsonLine& json, const std::vector<std::string>& texts)
{
    json.StartArray();
    for (const std::string& text : texts)
        json.String(text);
    json.EndArray();
}

std::vector<std::string> listOf(const Json& object, const char* key)
{
    std::vector<std::string> texts;
    const auto list = object.FindMember(key);
    if (list != object.MemberEnd() && list->value.IsArray())
        for (const Json& entry : list->value.GetArray())
            texts.push_back(entry.IsString() ? entry.GetString() : "");
    return texts;
}

std::string jsonOf(const LoggedCall& call)
{
    JsonBuffer buffer;
    JsonLine json(buffer);
    json.StartObject();
    json.Key("line");
    json.String(call.line);
    json.Key("argv");
    writeList(json, call.argv);
    json.Key("status");
    call.end ? json.Int64(call.end->status) : json.Null();
    json.Key("startMs");
    json.Int64(call.startMs);
    json.Key("endMs");
    call.end ? json.Int64(call.end->ms) : json.Null();
    json.EndObject();
    return buffer.GetString();
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

// A call has two lines in the log, joined by their "id".
CommandLog::Entry::Entry(const StateFolder& folder, const std::vector<std::string>& line)
    : _folder(folder)
    , _id(std::to_string(::getpid()) + "-" + std::to_string(nowMs()))
{
    JsonBuffer buffer;
    JsonLine json(buffer);
    json.StartObject();
    json.Key("id");
    json.String(_id);
    json.Key("line");
    json.String(shellText(line));
    json.Key("argv");
    writeList(json, line);
    json.Key("startMs");
    json.Int64(nowMs());
    json.EndObject();
    appendLine(_folder.logFile(), buffer.GetString());
}

void CommandLog::Entry::finish(int status) const
{
    JsonBuffer buffer;
    JsonLine json(buffer);
    json.StartObject();
    json.Key("id");
    json.String(_id);
    json.Key("status");
    json.Int(status);
    json.Key("endMs");
    json.Int64(nowMs());
    json.EndObject();
    appendLine(_folder.logFile(), buffer.GetString());
}

static std::vector<LoggedCall> callsOf(const StateFolder& folder)
{
    std::vector<LoggedCall> calls;
    std::map<std::string, size_t> places;
    std::istringstream lines(readFile(folder.logFile()));
    for (std::string line; std::getline(lines, line);) {
        rapidjson::Document part;
        if (!parseJson(line, part) || !part.IsObject())
            continue; // cut short: its writer was killed
        const auto [place, isNew] = places.emplace(textOf(part, "id"), calls.size());
        if (isNew)
            calls.push_back({textOf(part, "line"), listOf(part, "argv"), numberOf(part, "startMs"),
                             std::nullopt});
        else
            calls[place->second].end = {numberOf(part, "status"), numberOf(part, "endMs")};
    }
    return calls;
}

std::string CommandLog::merged(const StateFolder& folder)
{
    std::string text;
    for (const LoggedCall& call : callsOf(folder))
        text += jsonOf(call) + "\n";
    return text;
}

std::string CommandLog::lines(const StateFolder& folder)
{
    std::string text;
    for (const LoggedCall& call : callsOf(folder))
        text += call.line + "\n";
    return text;
}

} // namespace hostsim
