#include "model/JsonText.h"

#include <cstdio>

namespace hostsim {

namespace {

struct Character
{
    size_t length;
    bool isWhole; ///< else these bytes are the beginning of one that does not go on
};

Character characterAt(std::string_view text, size_t at)
{
    const auto byteAt = [&](size_t i) {
        return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0U;
    };
    const unsigned lead = byteAt(0);
    const size_t length = lead < 0x80                    ? 1
                          : lead >= 0xc2 && lead <= 0xdf ? 2
                          : lead >= 0xe0 && lead <= 0xef ? 3
                          : lead >= 0xf0 && lead <= 0xf4 ? 4
                                                         : 0;
    if (length == 0)
        return {1, false};
    // The second byte has less room where a longer form than needed, a surrogate or a number
    // beyond U+10FFFF would come out.
    unsigned least = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
    unsigned most = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
    for (size_t i = 1; i < length; ++i) {
        if (byteAt(i) < least || byteAt(i) > most)
            return {i, false};
        least = 0x80;
        most = 0xbf;
    }
    return {length, true};
}

std::string escaped(char c)
{
    switch (c) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\b':
        return "\\b";
    case '\f':
        return "\\f";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        break;
    }
    char code[8];
    std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
    return code;
}

const Json* memberOf(const Json& object, const char* key)
{
    const auto found = object.FindMember(key);
    return found == object.MemberEnd() ? nullptr : &found->value;
}

} // namespace

bool parseJson(const std::string& text, rapidjson::Document& json, Comments comments)
{
    // Iterative: text that is nested a million deep is an error and not the end of the stack.
    constexpr unsigned flags = rapidjson::kParseValidateEncodingFlag |
                               rapidjson::kParseFullPrecisionFlag | rapidjson::kParseIterativeFlag;
    if (comments == Comments::Allowed)
        json.Parse<flags | rapidjson::kParseCommentsFlag>(text.data(), text.size());
    else
        json.Parse<flags>(text.data(), text.size());
    return !json.HasParseError();
}

std::string textOf(const Json& object, const char* key)
{
    const Json* value = memberOf(object, key);
    return value && value->IsString() ? std::string(value->GetString(), value->GetStringLength())
                                      : std::string();
}

int64_t numberOf(const Json& object, const char* key)
{
    const Json* value = memberOf(object, key);
    return value && value->IsInt64() ? value->GetInt64() : 0;
}

std::string jsonPage(const Json& json, unsigned indent)
{
    JsonBuffer buffer;
    JsonPage page(buffer);
    page.SetIndent(' ', indent);
    json.Accept(page);
    return {buffer.GetString(), buffer.GetSize()};
}

std::string quotedJson(std::string_view text)
{
    std::string result = "\"";
    for (size_t i = 0; i < text.size();) {
        const char c = text[i];
        const bool isPlain = c >= 0x20 && c != '"' && c != '\\';
        const Character character = characterAt(text, i);
        if (isPlain)
            result += c;
        else if (character.length == 1 && character.isWhole)
            result += escaped(c);
        else if (character.isWhole)
            result += text.substr(i, character.length);
        else
            result += "\xef\xbf\xbd";
        i += character.length;
    }
    return result + '"';
}

} // namespace hostsim
