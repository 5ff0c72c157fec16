#pragma once

#include <string>
#include <string_view>

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

namespace hostsim {

// JSON by RapidJSON: it needs no Qt, and it is fast, which counts here. A stand-in starts once for
// each command line, reads the state two or three times and does little else. Instructions of a
// call on the default scene (callgrind, g++ -O2), with nlohmann/json in brackets:
//   nmcli device status    3.6 million (12.0)
//   iw wlan0 link          2.5 million (8.0)
//   wpa_cli -i wlan0 scan  4.4 million (14.2)

using Json = rapidjson::Value;
using JsonBuffer = rapidjson::StringBuffer;

enum class Comments
{
    Refused,
    Allowed,
};

/// False for text that is not JSON, or not UTF-8.
bool parseJson(const std::string& text, rapidjson::Document& json,
               Comments comments = Comments::Refused);

/// The member's text or number; empty or 0 if there is none of that type.
std::string textOf(const Json& object, const char* key);
int64_t numberOf(const Json& object, const char* key);

/// A JSON string with its quotes. Whatever is not UTF-8 comes out as U+FFFD, since arguments and
/// fault texts may be any bytes.
std::string quotedJson(std::string_view text);

/// One of RapidJSON's writers, but for its strings: see quotedJson().
template <typename Writer>
class JsonPrinter : public Writer
{
public:
    using Writer::Writer;

    bool String(const char* text, rapidjson::SizeType size, bool /*copy*/ = false)
    {
        const std::string quoted = quotedJson({text, size});
        return this->RawValue(quoted.data(), quoted.size(), rapidjson::kStringType);
    }
    bool String(const std::string& text)
    {
        return String(text.data(), rapidjson::SizeType(text.size()));
    }
    bool Key(const char* text, rapidjson::SizeType size, bool copy = false)
    {
        return String(text, size, copy);
    }
    bool Key(std::string_view text)
    {
        return String(text.data(), rapidjson::SizeType(text.size()));
    }
};

/// Everything on one line, without blanks.
using JsonLine = JsonPrinter<rapidjson::Writer<JsonBuffer>>;
/// A line for each value, indented.
using JsonPage = JsonPrinter<rapidjson::PrettyWriter<JsonBuffer>>;

/// A value as text, indented by `indent` blanks a level.
std::string jsonPage(const Json& json, unsigned indent);

} // namespace hostsim
