#pragma once

#include <string>
#include <vector>

namespace hostsim {

/// The language and character set that LC_ALL, LC_MESSAGES and LANG ask for.
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

/// Fills %1 to %9.
std::string fill(std::string text, const std::vector<std::string>& values);

/// Columns that a terminal takes for UTF-8 text: two for each East Asian character.
size_t displayWidth(const std::string& text);

/// Text filled up with blanks to a display width.
std::string padded(const std::string& text, size_t width);

/// Every character beyond ASCII as one question mark.
std::string toAscii(const std::string& text);

/// A non-ASCII byte, a backslash or a control character as wireless tools print it (\xe6).
std::string wirelessEscaped(const std::string& text);

/// A table as nmcli lays it out: columns two blanks apart, every line ending in one.
std::string table(const std::vector<std::vector<std::string>>& rows);

std::vector<std::string> split(const std::string& text, char separator);
bool startsWith(const std::string& text, const std::string& prefix);
bool contains(const std::string& text, const std::string& part);

} // namespace hostsim
