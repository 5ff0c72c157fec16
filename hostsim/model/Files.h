#pragma once

#include <string>

namespace hostsim {

/// Content of a file, empty if it cannot be read.
std::string readFile(const std::string& path);

/// Replaces a file as a whole, by way of a temporary one beside it, and makes the folders that are
/// missing. A file that holds this content already is left alone.
void writeFile(const std::string& path, const std::string& content, int mode = 0644);

/// Appends a line in a single write, so that lines of several processes never mix.
void appendLine(const std::string& path, const std::string& line);

} // namespace hostsim
