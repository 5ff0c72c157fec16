#pragma once

#include <string>
#include <utility>
#include <vector>

namespace hostsim {

/// A NetworkManager keyfile, written as NetworkManager writes it: groups in its order, the keys
/// of a group sorted behind id, uuid and type, text escaped as GKeyFile does, an SSID that is not
/// plain ASCII as a list of bytes. Read as NetworkManager reads: blanks in front of a value are
/// dropped, those behind it are a part of it; of a key that stands twice the last one counts.
class Keyfile
{
public:
    Keyfile() = default;
    explicit Keyfile(const std::string& text);

    std::string toText() const;

    /// The value as it stands in the file; empty if there is none.
    std::string raw(const std::string& group, const std::string& key) const;
    void setRaw(const std::string& group, const std::string& key, const std::string& value);
    void remove(const std::string& group, const std::string& key);
    bool has(const std::string& group, const std::string& key) const;
    /// A group without keys is written, too.
    void addGroup(const std::string& group);
    bool hasGroup(const std::string& group) const;

    /// The value with its escapes undone.
    std::string text(const std::string& group, const std::string& key) const;
    void setText(const std::string& group, const std::string& key, const std::string& value);

    std::string ssid() const;
    void setSsid(const std::string& ssid);

    /// "address1=ADDRESS/PREFIX,GATEWAY" of the group ipv4, and the like.
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
