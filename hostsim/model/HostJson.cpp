#include "model/HostJson.h"

#include "model/HostFields.h"
#include "model/JsonText.h"

#include <algorithm>
#include <stdexcept>
#include <type_traits>

namespace hostsim {

namespace {

template <typename T>
constexpr bool isStruct = std::is_class_v<T> && !std::is_same_v<T, std::string>;

class Writer
{
public:
    template <typename T>
    using Of = const T;

    explicit Writer(JsonPage& page)
        : _page(page)
    {}

    template <typename T>
    Writer& operator()(const char* key, const T& value)
    {
        _page.Key(key);
        write(value);
        return *this;
    }

    template <typename T>
    void write(const std::vector<T>& list)
    {
        _page.StartArray();
        for (const T& entry : list)
            write(entry);
        _page.EndArray();
    }
    void write(const std::map<std::string, std::string>& map)
    {
        _page.StartObject();
        for (const auto& [key, value] : map)
            (*this)(key.c_str(), value);
        _page.EndObject();
    }
    template <typename T>
    void write(const T& value)
    {
        if constexpr (isStruct<T>) {
            _page.StartObject();
            fields(*this, value);
            _page.EndObject();
        } else if constexpr (std::is_same_v<T, std::string>) {
            _page.String(value);
        } else if constexpr (std::is_same_v<T, bool>) {
            _page.Bool(value);
        } else if constexpr (std::is_floating_point_v<T>) {
            _page.Double(value);
        } else {
            _page.Int64(value);
        }
    }

private:
    JsonPage& _page;
};

// Where in the text a value stands. It is put into words only when something is wrong there.
struct Place
{
    const Place* outer = nullptr;
    std::string_view key = {};
    size_t index = 0; ///< instead of a key, in a list

    std::string text() const
    {
        if (!outer)
            return {};
        const std::string own = key.data() ? std::string(key) : std::to_string(index);
        const std::string before = outer->text();
        return before.empty() ? own : before + "." + own;
    }
};

[[noreturn]] void refuse(const Place& place, const std::string& reason)
{
    throw std::runtime_error(place.text() + ": " + reason);
}

std::string oneLine(const Json& json)
{
    JsonBuffer buffer;
    JsonLine line(buffer);
    json.Accept(line);
    return buffer.GetString();
}

std::string_view viewOf(const Json& text)
{
    return {text.GetString(), text.GetStringLength()};
}

class Reader
{
public:
    template <typename T>
    using Of = T;

    Reader(const Json& json, const Place& place)
        : _json(json)
        , _place(place)
    {}

    template <typename T>
    static void read(const Json& json, const Place& place, T& value)
    {
        if constexpr (isStruct<T>) {
            if (!json.IsObject())
                refuse(place, "not an object");
            Reader reader(json, place);
            fields(reader, value);
            if (reader._foundCount < json.MemberCount())
                reader.readLeftovers(value);
        } else {
            readPlain(json, place, value);
        }
    }
    template <typename T>
    static void read(const Json& json, const Place& place, std::vector<T>& list)
    {
        if (!json.IsArray())
            refuse(place, "not a list");
        list.clear();
        list.reserve(json.Size());
        for (size_t i = 0; i < json.Size(); ++i)
            read(json[rapidjson::SizeType(i)], Place{&place, {}, i}, list.emplace_back());
    }
    static void read(const Json& json, const Place& place, std::map<std::string, std::string>& map)
    {
        if (!json.IsObject())
            refuse(place, "not an object");
        map.clear();
        for (const auto& [key, value] : json.GetObject())
            read(value, Place{&place, viewOf(key)}, map[std::string(viewOf(key))]);
    }

    template <typename T>
    Reader& operator()(const char* key, T& value)
    {
        _known.emplace_back(key);
        if (const Json* found = find(key)) {
            ++_foundCount;
            read(*found, Place{&_place, key}, value);
        }
        return *this;
    }

private:
    static void readPlain(const Json& json, const Place& place, std::string& text)
    {
        if (!json.IsString())
            refuse(place, oneLine(json) + " is not a text");
        text = viewOf(json);
    }
    static void readPlain(const Json& json, const Place& place, bool& value)
    {
        if (!json.IsBool())
            refuse(place, oneLine(json) + " is not true or false");
        value = json.GetBool();
    }
    template <typename T>
    static void readPlain(const Json& json, const Place& place, T& number)
    {
        if (!json.IsNumber())
            refuse(place, oneLine(json) + " is not a number");
        number = json.IsDouble()  ? T(json.GetDouble())
                 : json.IsInt64() ? T(json.GetInt64())
                                  : T(json.GetUint64());
    }

    // Searches from the last hit on: a state has its keys in the order of the fields.
    const Json* find(std::string_view key)
    {
        const size_t count = _json.MemberCount();
        for (size_t i = 0; i < count; ++i) {
            const size_t at = _lastCounts ? count - 1 - i : (_next + i) % count;
            const auto& member = _json.MemberBegin()[std::ptrdiff_t(at)];
            if (viewOf(member.name) != key)
                continue;
            _next = at + 1;
            return &member.value;
        }
        return nullptr;
    }

    // Some members have not been read: a key that is not known, or one that stands twice, of which
    // the last value counts.
    template <typename T>
    void readLeftovers(T& value)
    {
        for (const auto& member : _json.GetObject())
            if (std::find(_known.begin(), _known.end(), viewOf(member.name)) == _known.end())
                throw std::runtime_error((_place.outer ? _place.text() : "scene") + ": no key [" +
                                         std::string(viewOf(member.name)) + "]");
        _lastCounts = true;
        fields(*this, value);
    }

    const Json& _json;
    const Place& _place;
    size_t _next = 0;
    size_t _foundCount = 0;
    bool _lastCounts = false;
    std::vector<std::string_view> _known;
};

} // namespace

std::string toJson(const Host& host)
{
    JsonBuffer buffer;
    JsonPage page(buffer);
    page.SetIndent(' ', 1);
    Writer(page).write(host);
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

Host fromJson(const std::string& text)
{
    rapidjson::Document json;
    if (!parseJson(text, json, Comments::Allowed))
        throw std::runtime_error("not JSON");
    Host host;
    Reader::read(json, Place{}, host);
    return host;
}

} // namespace hostsim
