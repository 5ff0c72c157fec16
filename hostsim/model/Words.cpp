#include "model/Words.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace hostsim {

namespace {

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

size_t sequenceLength(unsigned char lead)
{
    if (lead < 0xc0)
        return 1;
    return lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
}

} // namespace

Locale Locale::fromEnvironment()
{
    std::string name;
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"})
        if (name.empty())
            name = environment(variable);
    Locale locale;
    locale.chinese = startsWith(name, "zh");
    locale.ascii = name.empty() || name == "C" || name == "POSIX";
    return locale;
}

std::string fill(std::string text, const std::vector<std::string>& values)
{
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        // 9 is the index of no value: the character is taken as it is.
        const size_t index = i + 1 < text.size() && text[i] == '%' ? text[i + 1] - '1' : 9;
        if (index < values.size()) {
            result += values[index];
            ++i;
        } else {
            result += text[i];
        }
    }
    return result;
}

size_t displayWidth(const std::string& text)
{
    size_t width = 0;
    for (size_t i = 0; i < text.size();) {
        const size_t length = sequenceLength(text[i]);
        // Three-byte characters from U+1000 on are wide, except U+2000 to U+2FFF, where the blocks
        // of the signal bars are.
        const bool isWide = length == 4 ||
                            (length == 3 && static_cast<unsigned char>(text[i]) >= 0xe3) ||
                            (length == 3 && static_cast<unsigned char>(text[i]) == 0xe1);
        width += isWide ? 2 : 1;
        i += length;
    }
    return width;
}

std::string padded(const std::string& text, size_t width)
{
    const size_t own = displayWidth(text);
    return text + std::string(own < width ? width - own : 0, ' ');
}

std::string toAscii(const std::string& text)
{
    std::string result;
    for (size_t i = 0; i < text.size(); i += sequenceLength(text[i]))
        result += static_cast<unsigned char>(text[i]) < 0x80 ? text[i] : '?';
    return result;
}

std::string wirelessEscaped(const std::string& text)
{
    std::string result;
    for (const unsigned char c : text) {
        char code[8];
        std::snprintf(code, sizeof code, "\\x%02x", c);
        if (c == '\\')
            result += "\\\\";
        else if (c < 0x20 || c >= 0x7f)
            result += code;
        else
            result += static_cast<char>(c);
    }
    return result;
}

std::string table(const std::vector<std::vector<std::string>>& rows)
{
    std::vector<size_t> widths(rows.front().size());
    for (const auto& row : rows)
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], displayWidth(row[i]));
    std::string text;
    for (const auto& row : rows) {
        for (size_t i = 0; i < row.size(); ++i)
            text += padded(row[i], widths[i]) + (i + 1 < row.size() ? "  " : " \n");
    }
    return text;
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts{""};
    for (const char c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

bool startsWith(const std::string& text, const std::string& prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

} // namespace hostsim
