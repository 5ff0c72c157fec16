#include "model/HostJson.h"

#include "model/HostFields.h"

#include <nlohmann/json.hpp>

#include <set>
#include <stdexcept>
#include <type_traits>

namespace hostsim {

namespace {

using Json = nlohmann::ordered_json;

template <typename T, typename = void>
struct IsStruct : std::false_type
{};
template <typename T>
struct IsStruct<T, std::enable_if_t<std::is_class_v<T>>> : std::true_type
{};
template <>
struct IsStruct<std::string> : std::false_type
{};

class Writer
{
public:
    template <typename T>
    static Json write(const std::vector<T>& list)
    {
        Json json = Json::array();
        for (const T& entry : list)
            json.push_back(write(entry));
        return json;
    }
    static Json write(const std::map<std::string, std::string>& map)
    {
        Json json = Json::object();
        for (const auto& [key, value] : map)
            json[key] = value;
        return json;
    }
    template <typename T>
    static Json write(const T& value)
    {
        if constexpr (IsStruct<T>::value) {
            Writer writer;
            fields(writer, const_cast<T&>(value));
            return std::move(writer._json);
        } else {
            return value;
        }
    }

    template <typename T>
    Writer& operator()(const char* key, T& value)
    {
        _json[key] = write(value);
        return *this;
    }

private:
    Json _json = Json::object();
};

class Reader
{
public:
    Reader(const Json& json, std::string where)
        : _json(json)
        , _where(std::move(where))
    {}

    template <typename T>
    static void read(const Json& json, const std::string& where, T& value)
    {
        if constexpr (IsStruct<T>::value) {
            if (!json.is_object())
                throw std::runtime_error(where + ": not an object");
            Reader reader(json, where);
            fields(reader, value);
            reader.refuseOthers();
        } else {
            readPlain(json, where, value);
        }
    }
    template <typename T>
    static void read(const Json& json, const std::string& where, std::vector<T>& list)
    {
        if (!json.is_array())
            throw std::runtime_error(where + ": not a list");
        list.clear();
        for (size_t i = 0; i < json.size(); ++i)
            read(json[i], where + "." + std::to_string(i), list.emplace_back());
    }
    static void read(const Json& json, const std::string& where,
                     std::map<std::string, std::string>& map)
    {
        if (!json.is_object())
            throw std::runtime_error(where + ": not an object");
        map.clear();
        for (const auto& [key, value] : json.items())
            read(value, where + "." + key, map[key]);
    }

    template <typename T>
    Reader& operator()(const char* key, T& value)
    {
        _known.insert(key);
        const auto found = _json.find(key);
        if (found != _json.end())
            read(*found, _where.empty() ? key : _where + "." + key, value);
        return *this;
    }

private:
    template <typename T>
    static void readPlain(const Json& json, const std::string& where, T& value)
    {
        constexpr bool isText = std::is_same_v<T, std::string>;
        constexpr bool isBool = std::is_same_v<T, bool>;
        const bool fits = isText ? json.is_string() : isBool ? json.is_boolean() : json.is_number();
        if (!fits)
            throw std::runtime_error(where + ": " + json.dump() + " is not " +
                                     (isText   ? "a text"
                                      : isBool ? "true or false"
                                               : "a number"));
        value = json.get<T>();
    }
    void refuseOthers() const
    {
        for (const auto& [key, value] : _json.items())
            if (_known.count(key) == 0)
                throw std::runtime_error((_where.empty() ? "scene" : _where) + ": no key [" + key +
                                         "]");
    }

    const Json& _json;
    std::string _where;
    std::set<std::string> _known;
};

Json parse(const std::string& text)
{
    Json json = Json::parse(text, nullptr, false, true);
    if (json.is_discarded())
        throw std::runtime_error("not JSON");
    return json;
}

Host toHost(const Json& json)
{
    Host host;
    Reader::read(json, "", host);
    return host;
}

std::vector<std::string> parts(const std::string& path)
{
    std::vector<std::string> result{""};
    for (const char c : path) {
        if (c == '.')
            result.emplace_back();
        else
            result.back() += c;
    }
    return result;
}

Json* namedEntry(Json& list, const std::string& name)
{
    for (Json& entry : list)
        for (const char* key : {"name", "id"})
            if (entry.is_object() && entry.value(key, "") == name)
                return &entry;
    const bool isIndex = !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
    if (isIndex && name.size() < 6 && std::stoul(name) < list.size())
        return &list[std::stoul(name)];
    return nullptr;
}

Json* childOf(Json& json, const std::string& part)
{
    if (json.is_array() && part == "+")
        return &json.emplace_back();
    if (json.is_array())
        return namedEntry(json, part);
    if (json.is_object() && json.contains(part))
        return &json[part];
    return nullptr;
}

Json* firstOf(Json& root, const std::string& part)
{
    if (root.contains(part))
        return &root[part];
    for (const char* list : {"accessPoints", "cards"})
        if (Json* entry = namedEntry(root[list], part))
            return entry;
    return nullptr;
}

// Maps take new keys, and their keys may hold dots: "sysctl.net.ipv4.ip_forward".
bool isMap(const std::string& part)
{
    return part == "sysctl" || part == "files" || part == "names";
}

Json& place(Json& root, const std::string& path)
{
    const std::vector<std::string> names = parts(path);
    if (isMap(names[0]) && names.size() > 1)
        return root[names[0]][path.substr(names[0].size() + 1)];
    Json* json = firstOf(root, names[0]);
    for (size_t i = 1; json && i < names.size(); ++i)
        json = childOf(*json, names[i]);
    if (!json)
        throw std::runtime_error("no such place: [" + path + "]");
    return *json;
}

} // namespace

std::string toJson(const Host& host)
{
    return Writer::write(host).dump(1, ' ', false, Json::error_handler_t::replace) + "\n";
}

Host fromJson(const std::string& text)
{
    return toHost(parse(text));
}

Host withValue(const Host& host, const std::string& path, const std::string& value)
{
    Json root = Writer::write(host);
    Json& target = place(root, path);
    const Json parsed = Json::parse(value, nullptr, false);
    // A number given for a text stays a text: `set ap1.password 12345678`.
    const bool isText = parsed.is_discarded() || (target.is_string() && !parsed.is_string());
    target = isText ? Json(value) : parsed;
    return toHost(root);
}

std::string valueAt(const Host& host, const std::string& path)
{
    Json root = Writer::write(host);
    const Json& json = path.empty() ? root : place(root, path);
    return json.is_string() ? json.get<std::string>() : json.dump(2);
}

} // namespace hostsim
