#include "model/Profiles.h"

#include "model/Activation.h"
#include "model/Files.h"
#include "model/MachineClock.h"

#include <algorithm>
#include <filesystem>
#include <random>

#include <unistd.h>

namespace fs = std::filesystem;

namespace hostsim {

namespace {

std::string randomUuid()
{
    static const char digits[] = "0123456789abcdef";
    std::random_device source;
    std::string uuid = "xxxxxxxx-xxxx-4xxx-axxx-xxxxxxxxxxxx";
    for (char& c : uuid)
        if (c == 'x')
            c = digits[source() % 16];
    return uuid;
}

std::string fileNameFor(const Host& host, const std::string& id, const std::string& uuid)
{
    // As NetworkManager does: no slash in the name, and the UUID to tell equal names apart.
    std::string name = id;
    std::replace(name.begin(), name.end(), '/', '_');
    const std::string folder = std::string(kProfileFolder) + "/";
    const std::string path = folder + name + ".nmconnection";
    const bool isTaken = std::any_of(host.profiles.begin(), host.profiles.end(),
                                     [&](const Profile& other) { return other.file == path; });
    return isTaken ? folder + name + "-" + uuid + ".nmconnection" : path;
}

// NetworkManager skips hidden files and backups.
bool isKeyfileName(const fs::path& path)
{
    const std::string name = path.filename().string();
    return name[0] != '.' && name.back() != '~';
}

Profile* byFile(std::vector<Profile>& profiles, const std::string& file)
{
    for (Profile& profile : profiles)
        if (profile.file == file)
            return &profile;
    return nullptr;
}

// A known profile keeps the time of its last use, which need not be in the file.
void loadFile(std::vector<Profile>& profiles, const Host& before, const fs::path& path,
              const std::string& shownPath)
{
    const std::string text = readFile(path.string());
    const Keyfile keyfile(text);
    if (keyfile.text("connection", "id").empty())
        return;
    Profile profile{keyfile.raw("connection", "uuid"), shownPath, text, 0};
    for (const Profile& old : before.profiles)
        if (old.uuid == profile.uuid)
            profile.usedAt = old.usedAt;
    profiles.push_back(profile);
}

void loadFolder(std::vector<Profile>& profiles, const Host& before, const StateFolder& state,
                const std::string& folder)
{
    std::vector<fs::path> paths;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(state.privatePath(folder), ignored))
        if (entry.is_regular_file() && isKeyfileName(entry.path()))
            paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end()); // the order of a folder is the file system's whim
    for (const fs::path& path : paths) {
        const std::string shown = folder + "/" + path.filename().string();
        if (!byFile(profiles, shown))
            loadFile(profiles, before, path, shown);
    }
}

} // namespace

std::string newUuid(Host& host)
{
    if (host.nextUuids.empty())
        return randomUuid();
    const std::string uuid = host.nextUuids.front();
    host.nextUuids.erase(host.nextUuids.begin());
    return uuid;
}

Profile& addProfile(Host& host, const StateFolder& state, const Keyfile& keyfile)
{
    const std::string uuid = keyfile.raw("connection", "uuid");
    const std::string file = fileNameFor(host, keyfile.text("connection", "id"), uuid);
    host.profiles.push_back({uuid, file, keyfile.toText(), 0});
    writeFile(state.privatePath(file), keyfile.toText(), 0600);
    for (Card& card : host.cards)
        if (!card.isActive())
            card.nm.idleSinceMs = nowMs(); // starts the delay before it takes the new profile
    return host.profiles.back();
}

void updateProfile(Profile& profile, const StateFolder& state, const Keyfile& keyfile)
{
    Keyfile written = keyfile;
    if (profile.usedAt > 0)
        written.setRaw("connection", "timestamp", std::to_string(profile.usedAt));
    profile.text = written.toText();
    writeFile(state.privatePath(profile.file), profile.text, 0600);
}

void removeProfile(Host& host, const StateFolder& state, const std::string& uuid)
{
    for (Card& card : host.cards)
        if (card.nm.profile == uuid)
            deactivate(card);
    const auto gone = std::find_if(host.profiles.begin(), host.profiles.end(),
                                   [&](const Profile& p) { return p.uuid == uuid; });
    if (gone == host.profiles.end())
        return;
    ::unlink(state.privatePath(gone->file).c_str());
    host.profiles.erase(gone);
}

void reloadProfiles(Host& host, const StateFolder& state)
{
    std::vector<Profile> profiles;
    // The loopback's profile has no file.
    for (const Profile& profile : host.profiles)
        if (typeOf(profile) == "loopback")
            profiles.push_back(profile);
    loadFolder(profiles, host, state, kProfileFolder);
    loadFolder(profiles, host, state, kVolatileFolder);
    host.profiles = profiles;
    for (Card& card : host.cards)
        if (card.isActive() && !host.profile(card.nm.profile))
            deactivate(card);
}

std::string idOf(const Profile& profile)
{
    return Keyfile(profile.text).text("connection", "id");
}

std::string typeOf(const Profile& profile)
{
    return Keyfile(profile.text).raw("connection", "type");
}

bool fits(const Keyfile& keyfile, const Card& card)
{
    const std::string name = keyfile.text("connection", "interface-name");
    return keyfile.raw("connection", "type") == card.type && (name.empty() || name == card.name);
}

} // namespace hostsim
