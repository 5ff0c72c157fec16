#include "model/Files.h"
#include "model/Profiles.h"
#include "tools/Tools.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace hostsim {

namespace {

constexpr int kBadYaml = 78;
constexpr char kFolder[] = "/etc/netplan";

std::vector<fs::path> yamlFiles(const StateFolder& folder)
{
    std::vector<fs::path> files;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder.privatePath(kFolder), ignored))
        if (entry.path().extension() == ".yaml")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

int lineCount(const std::string& text)
{
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

// Not a YAML parser: unbalanced brackets stand for every kind of damage.
bool isBroken(const std::string& text)
{
    const auto count = [&](char c) { return std::count(text.begin(), text.end(), c); };
    return count('[') != count(']') || count('{') != count('}');
}

std::string timeText()
{
    const std::time_t now = std::time(nullptr);
    char text[16];
    std::strftime(text, sizeof text, "%H:%M:%S", std::gmtime(&now));
    return text + std::string(".000");
}

// The generator warns once, then the command itself, which reads the files three more times.
void warn(Call& call, const std::string& text)
{
    for (const char* program : {"generate", "process", "process", "process"})
        call.error(std::string("\n** (") + program + ":" + std::to_string(::getpid()) +
                   "): WARNING **: " + timeText() + ": " + text + "\n");
}

void warnAbout(Call& call, const fs::path& path, const std::string& text)
{
    struct stat info = {};
    if (::stat(path.c_str(), &info) == 0 && (info.st_mode & 0077) != 0)
        warn(call, "Permissions for " + std::string(kFolder) + "/" + path.filename().string() +
                       " are too open. Netplan configuration should NOT be accessible by "
                       "others.");
    if (contains(text, "gateway4"))
        warn(call, "`gateway4` has been deprecated, use default routes instead.\nSee the "
                   "'Default routes' section of the documentation for more details.");
}

std::string stripped(const std::string& line)
{
    const size_t begin = line.find_first_not_of(" -");
    return begin == std::string::npos ? "" : line.substr(begin);
}

// What a file asks for on one card.
struct Request
{
    std::string card;
    bool dhcp = false;
    std::string address;
    std::string gateway;
};

std::string between(const std::string& line, char open, char close)
{
    const size_t begin = line.find(open);
    return begin == std::string::npos ? stripped(line)
                                      : line.substr(begin + 1, line.find(close) - begin - 1);
}

void readKey(Request& request, const std::string& line)
{
    // Addresses come in brackets or as one entry per line.
    const std::string text = stripped(line);
    const std::string value = text.substr(std::min(text.size(), text.find(':') + 1));
    if (startsWith(text, "dhcp4:"))
        request.dhcp = contains(value, "true") || contains(value, "yes");
    else if (startsWith(text, "gateway4:"))
        request.gateway = stripped(value);
    else if (startsWith(text, "addresses:") && contains(value, "["))
        request.address = stripped(between(value, '[', ']'));
    else if (contains(line, "- ") && contains(text, "/"))
        request.address = stripped(text);
}

// Line by line: the name of a card begins its request, the keys below belong to it.
std::vector<Request> requestsOf(const std::string& text, const Host& host)
{
    std::vector<Request> requests;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::string key = stripped(line);
        const std::string name = key.substr(0, key.find(':'));
        const bool isCard = !key.empty() && key.back() == ':' && host.card(name) != nullptr;
        if (isCard)
            requests.push_back({name, false, "", ""});
        else if (!requests.empty())
            readKey(requests.back(), line);
    }
    return requests;
}

void writeProfile(Host& host, const StateFolder& folder, const Request& request)
{
    Keyfile keyfile;
    keyfile.setText("connection", "id", "netplan-" + request.card);
    keyfile.setRaw("connection", "uuid", newUuid(host));
    keyfile.setRaw("connection", "type", "ethernet");
    keyfile.setRaw("connection", "interface-name", request.card);
    keyfile.addGroup("ethernet");
    keyfile.setRaw("ipv4", "method", request.address.empty() ? "auto" : "manual");
    if (!request.address.empty())
        keyfile.setRaw("ipv4", "address1",
                       request.address + (request.gateway.empty() ? "" : "," + request.gateway));
    keyfile.setRaw("ipv6", "method", "ignore");
    writeFile(folder.privatePath(std::string(kVolatileFolder) + "/netplan-" + request.card +
                                 ".nmconnection"),
              keyfile.toText(), 0600);
}

void clearProfiles(const StateFolder& folder)
{
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder.privatePath(kVolatileFolder), ignored))
        if (startsWith(entry.path().filename().string(), "netplan-"))
            fs::remove(entry.path(), ignored);
}

// The new profiles come up by themselves: an idle card has waited long enough (0).
void applyRequests(Call& call, const std::vector<Request>& requests)
{
    call.store().change([&](Host& host) {
        // Cards that netplan no longer mentions lose the profile it made for them.
        clearProfiles(call.folder());
        for (const Request& request : requests)
            writeProfile(host, call.folder(), request);
        reloadProfiles(host, call.folder());
        for (Card& card : host.cards)
            card.nm.idleSinceMs = card.isActive() ? card.nm.idleSinceMs : 0;
    });
}

} // namespace

int netplan(Call& call)
{
    if (call.arg(0) != "apply")
        return call.fail(2, "usage: netplan [-h] [--debug]  ...\n");
    std::vector<Request> requests;
    for (const fs::path& path : yamlFiles(call.folder())) {
        const std::string text = readFile(path.string());
        const std::string shown = std::string(kFolder) + "/" + path.filename().string();
        if (isBroken(text))
            return call.fail(kBadYaml, shown + ":" + std::to_string(lineCount(text) + 1) +
                                           ":1: Invalid YAML: did not find expected node "
                                           "content:\n\n^\n");
        warnAbout(call, path, text);
        const auto found = requestsOf(text, call.host());
        requests.insert(requests.end(), found.begin(), found.end());
    }
    call.wait(11000);
    applyRequests(call, requests);
    return 0;
}

} // namespace hostsim
