#pragma once

#include <string>
#include <vector>

namespace hostsim {

/// Language and character set, from LC_ALL, LC_MESSAGES and LANG.
struct Locale
{
    bool chinese = false;
    bool ascii = false; ///< plain C: anything beyond ASCII is printed as a question mark

    static Locale fromEnvironment();

    const char* pick(const char* english, const char* chineseText) const
    {
        return chinese ? chineseText : english;
    }
};

/// Replaces %1 to %9 by the values; a number without a value stays.
std::string fill(std::string text, const std::vector<std::string>& values);

/// Terminal columns of UTF-8 text; an East Asian character takes two.
size_t displayWidth(const std::string& text);

/// Pads with spaces to a display width.
std::string padded(const std::string& text, size_t width);

/// Replaces each character beyond ASCII by one question mark.
std::string toAscii(const std::string& text);

/// Escapes non-ASCII bytes, control characters and backslashes as wireless tools do: \xe6.
std::string wirelessEscaped(const std::string& text);

/// A table as nmcli lays it out: columns two spaces apart, one space at the end of each line.
std::string table(const std::vector<std::vector<std::string>>& rows);

std::vector<std::string> split(const std::string& text, char separator);
bool startsWith(const std::string& text, const std::string& prefix);
bool contains(const std::string& text, const std::string& part);

} // namespace hostsim
