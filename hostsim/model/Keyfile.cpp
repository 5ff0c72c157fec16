#include "model/Keyfile.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace hostsim {

namespace {

constexpr const char* kGroupOrder[] = {"connection", "wifi",          "ethernet",
                                       "loopback",   "wifi-security", "802-1x",
                                       "ipv4",       "ipv6",          "proxy"};
constexpr const char* kFirstKeys[] = {"id", "uuid", "type"};

// Place in a fixed order; whatever is not in it comes last.
template <size_t Size>
size_t rank(const char* const (&order)[Size], const std::string& name)
{
    return std::find(order, order + Size, name) - order;
}

std::string escaped(const std::string& text)
{
    std::string result;
    bool isLeading = true;
    for (const char c : text) {
        isLeading = isLeading && c == ' ';
        if (isLeading)
            result += "\\s";
        else if (c == '\n')
            result += "\\n";
        else if (c == '\t')
            result += "\\t";
        else if (c == '\r')
            result += "\\r";
        else if (c == '\\')
            result += "\\\\";
        else
            result += c;
    }
    return result;
}

constexpr char kEscapes[] = "sntr\\";
constexpr char kEscaped[] = " \n\t\r\\";
constexpr char kBlanks[] = " \t\v\f\r";

// An unknown escape stays as it is, backslash included.
std::string unescaped(const std::string& raw)
{
    std::string result;
    for (size_t i = 0; i < raw.size(); ++i) {
        const char* escape =
            raw[i] == '\\' && i + 1 < raw.size() ? std::strchr(kEscapes, raw[i + 1]) : nullptr;
        const bool isKnown = escape && *escape != '\0';
        result += isKnown ? kEscaped[escape - kEscapes] : raw[i];
        i += isKnown ? 1 : 0;
    }
    return result;
}

std::string withoutLeadingBlanks(const std::string& text)
{
    const size_t begin = text.find_first_not_of(kBlanks);
    return begin == std::string::npos ? std::string() : text.substr(begin);
}

std::string withoutTrailingBlanks(const std::string& text)
{
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

bool isByteList(const std::string& raw)
{
    return !raw.empty() && raw.back() == ';' &&
           raw.find_first_not_of("0123456789;") == std::string::npos;
}

std::string fromByteList(const std::string& raw)
{
    std::string result;
    std::istringstream stream(raw);
    for (std::string byte; std::getline(stream, byte, ';');)
        if (!byte.empty())
            result += static_cast<char>(std::atoi(byte.c_str()));
    return result;
}

} // namespace

Keyfile::Keyfile(const std::string& text)
{
    std::istringstream stream(text);
    Group* current = nullptr;
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        line = withoutLeadingBlanks(line);
        const size_t equals = line.find('=');
        if (!line.empty() && line[0] == '[' && line.find(']') != std::string::npos)
            current = &groupFor(line.substr(1, line.find(']') - 1));
        else if (current && !line.empty() && line[0] != '#' && equals != std::string::npos)
            // Trailing spaces belong to the value.
            current->keys.emplace_back(withoutTrailingBlanks(line.substr(0, equals)),
                                       withoutLeadingBlanks(line.substr(equals + 1)));
    }
}

std::string Keyfile::toText() const
{
    std::vector<Group> groups = _groups;
    // Stable, so that unknown groups and repeated keys keep their order.
    std::stable_sort(groups.begin(), groups.end(), [](const Group& a, const Group& b) {
        return rank(kGroupOrder, a.name) < rank(kGroupOrder, b.name);
    });
    std::string text;
    for (Group& group : groups) {
        std::stable_sort(group.keys.begin(), group.keys.end(), [](const auto& a, const auto& b) {
            const auto place = [](const auto& key) {
                return std::make_pair(rank(kFirstKeys, key.first), key.first);
            };
            return place(a) < place(b);
        });
        text += (text.empty() ? "[" : "\n[") + group.name + "]\n";
        for (const auto& [key, value] : group.keys)
            text.append(key).append("=").append(value).append("\n");
    }
    return text;
}

const Keyfile::Group* Keyfile::group(const std::string& name) const
{
    for (const Group& group : _groups)
        if (group.name == name)
            return &group;
    return nullptr;
}

Keyfile::Group& Keyfile::groupFor(const std::string& name)
{
    for (Group& group : _groups)
        if (group.name == name)
            return group;
    return _groups.emplace_back(Group{name, {}});
}

std::string Keyfile::raw(const std::string& name, const std::string& key) const
{
    std::string last;
    if (const Group* found = group(name))
        for (const auto& [k, value] : found->keys)
            if (k == key)
                last = value;
    return last;
}

void Keyfile::setRaw(const std::string& name, const std::string& key, const std::string& value)
{
    remove(name, key);
    groupFor(name).keys.emplace_back(key, value);
}

void Keyfile::remove(const std::string& name, const std::string& key)
{
    if (!group(name))
        return;
    auto& keys = groupFor(name).keys;
    keys.erase(std::remove_if(keys.begin(), keys.end(),
                              [&](const auto& entry) { return entry.first == key; }),
               keys.end());
}

bool Keyfile::has(const std::string& name, const std::string& key) const
{
    const Group* found = group(name);
    return found && std::any_of(found->keys.begin(), found->keys.end(),
                                [&](const auto& entry) { return entry.first == key; });
}

void Keyfile::addGroup(const std::string& name)
{
    groupFor(name);
}

bool Keyfile::hasGroup(const std::string& name) const
{
    return group(name) != nullptr;
}

std::string Keyfile::text(const std::string& name, const std::string& key) const
{
    return unescaped(raw(name, key));
}

void Keyfile::setText(const std::string& name, const std::string& key, const std::string& value)
{
    setRaw(name, key, escaped(value));
}

std::string Keyfile::ssid() const
{
    std::string result = text("wifi", "ssid");
    if (isByteList(result))
        return fromByteList(result);
    // In a text a semicolon is escaped, since it would end an entry of a list.
    for (size_t at = 0; (at = result.find("\\;", at)) != std::string::npos; ++at)
        result.erase(at, 1);
    return result;
}

void Keyfile::setSsid(const std::string& ssid)
{
    const bool isPlain = std::all_of(ssid.begin(), ssid.end(),
                                     [](unsigned char c) { return c >= 0x20 && c < 0x7f; });
    std::string value;
    // A name like "66;" would be read back as a list of bytes, so it is written as one.
    if (isPlain && !isByteList(ssid)) {
        for (const char c : ssid)
            value.append(c == ';' ? 1 : 0, '\\').append(1, c);
        return setText("wifi", "ssid", value);
    }
    for (const unsigned char c : ssid)
        value += std::to_string(c) + ";";
    setRaw("wifi", "ssid", value);
}

std::string Keyfile::address() const
{
    const std::string value = raw("ipv4", "address1");
    return value.substr(0, value.find(','));
}

std::string Keyfile::gateway() const
{
    const std::string value = raw("ipv4", "address1");
    const size_t comma = value.find(',');
    if (comma != std::string::npos)
        return value.substr(comma + 1);
    return raw("ipv4", "gateway");
}

} // namespace hostsim
