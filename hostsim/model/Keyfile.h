#pragma once

#include <string>
#include <utility>
#include <vector>

namespace hostsim {

/// A NetworkManager keyfile. Written as NetworkManager does: groups in its order; id, uuid and
/// type before the other keys of a group, which are sorted; text escaped as by GKeyFile; an SSID
/// beyond printable ASCII as a list of bytes. Read likewise: spaces before a value are dropped,
/// those after it belong to it; of a repeated key the last value counts.
class Keyfile
{
public:
    Keyfile() = default;
    explicit Keyfile(const std::string& text);

    std::string toText() const;

    /// The value as written in the file, empty if there is none.
    std::string raw(const std::string& group, const std::string& key) const;
    void setRaw(const std::string& group, const std::string& key, const std::string& value);
    void remove(const std::string& group, const std::string& key);
    bool has(const std::string& group, const std::string& key) const;
    /// Adds a group, which is written even without keys.
    void addGroup(const std::string& group);
    bool hasGroup(const std::string& group) const;

    /// The value unescaped.
    std::string text(const std::string& group, const std::string& key) const;
    void setText(const std::string& group, const std::string& key, const std::string& value);

    std::string ssid() const;
    void setSsid(const std::string& ssid);

    /// Both parts of "address1=ADDRESS/PREFIX,GATEWAY" in the group ipv4. A gateway may also have a
    /// key of its own.
    std::string address() const;
    std::string gateway() const;

private:
    struct Group
    {
        std::string name;
        std::vector<std::pair<std::string, std::string>> keys;
    };

    const Group* group(const std::string& name) const;
    Group& groupFor(const std::string& name);

    std::vector<Group> _groups;
};

} // namespace hostsim
