#include "model/HostPath.h"

#include "model/HostJson.h"
#include "model/JsonText.h"
#include "model/Words.h"

#include <stdexcept>

namespace hostsim {

namespace {

using Allocator = rapidjson::Document::AllocatorType;

rapidjson::Document documentOf(const Host& host)
{
    rapidjson::Document root;
    parseJson(toJson(host), root);
    return root;
}

Json textValue(const std::string& text, Allocator& allocator)
{
    return Json(text.data(), rapidjson::SizeType(text.size()), allocator);
}

Json* member(Json& object, const std::string& key)
{
    const auto found = object.FindMember(Json(rapidjson::StringRef(key.data(), key.size())));
    return found == object.MemberEnd() ? nullptr : &found->value;
}

Json* namedEntry(Json& list, const std::string& name)
{
    for (Json& entry : list.GetArray())
        for (const char* key : {"name", "id"})
            if (entry.IsObject() && textOf(entry, key) == name)
                return &entry;
    // An entry may be called by a number, so names go before indexes.
    const bool isIndex = !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
    if (isIndex && name.size() < 6 && std::stoul(name) < list.Size())
        return &list[rapidjson::SizeType(std::stoul(name))];
    return nullptr;
}

Json* childOf(Json& json, const std::string& part, Allocator& allocator)
{
    if (json.IsArray() && part == "+")
        return &json.PushBack(Json(), allocator)[json.Size() - 1];
    if (json.IsArray())
        return namedEntry(json, part);
    return json.IsObject() ? member(json, part) : nullptr;
}

Json* firstOf(Json& root, const std::string& part)
{
    if (Json* found = member(root, part))
        return found;
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

Json& entryOf(Json& map, const std::string& key, Allocator& allocator)
{
    if (Json* found = member(map, key))
        return *found;
    map.AddMember(textValue(key, allocator), Json(), allocator);
    return (map.MemberEnd() - 1)->value;
}

Json& place(rapidjson::Document& root, const std::string& path)
{
    const std::vector<std::string> names = split(path, '.');
    if (isMap(names[0]) && names.size() > 1)
        return entryOf(root[names[0].c_str()], path.substr(names[0].size() + 1),
                       root.GetAllocator());
    Json* json = firstOf(root, names[0]);
    for (size_t i = 1; json && i < names.size(); ++i)
        json = childOf(*json, names[i], root.GetAllocator());
    if (!json)
        throw std::runtime_error("no such place: [" + path + "]");
    return *json;
}

} // namespace

Host withValue(const Host& host, const std::string& path, const std::string& value)
{
    rapidjson::Document root = documentOf(host);
    Json& target = place(root, path);
    rapidjson::Document parsed(&root.GetAllocator());
    const bool isJson = parseJson(value, parsed);
    // A number given for a text stays a text: `set ap1.password 12345678`.
    if (!isJson || (target.IsString() && !parsed.IsString()))
        target = textValue(value, root.GetAllocator());
    else
        target.Swap(parsed);
    return fromJson(jsonPage(root, 1));
}

std::string valueAt(const Host& host, const std::string& path)
{
    rapidjson::Document root = documentOf(host);
    const Json& json = path.empty() ? root : place(root, path);
    return json.IsString() ? std::string(json.GetString(), json.GetStringLength())
                           : jsonPage(json, 2);
}

} // namespace hostsim
