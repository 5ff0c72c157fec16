#pragma once

#include "model/Activation.h"
#include "model/Keyfile.h"
#include "tools/Call.h"

#include <optional>

namespace hostsim::nm {

// Exit statuses of nmcli.
constexpr int kError = 1;
constexpr int kUsage = 2;
constexpr int kActivationFailed = 4;
constexpr int kNotRunning = 8;
constexpr int kNotFound = 10;

// The sub commands; each takes the arguments behind its own words, from `first` on.
int connectionShow(Call& call, size_t first);
int connectionAdd(Call& call, size_t first);
int connectionModify(Call& call, size_t first);
int connectionUp(Call& call, size_t first);
int connectionDown(Call& call, size_t first);
int connectionDelete(Call& call, size_t first);
int connectionReload(Call& call);
int deviceStatus(Call& call);
int deviceShow(Call& call, size_t first);
int deviceConnect(Call& call, size_t first);
int deviceDisconnect(Call& call, size_t first);
int wifiList(Call& call, size_t first);
int wifiRescan(Call& call, size_t first);
int wifiConnect(Call& call, size_t first);
int wifiHotspot(Call& call, size_t first);

/// "-f BSSID,SSID": the columns to show; empty for nmcli's own choice. Stands before the object.
struct Options
{
    std::vector<std::string> fields;
    bool terse = false;
};
Options& options();

/// Writes "Error: TEXT" or 错误：TEXT with the full stop of the language.
int fail(Call& call, int status, const std::string& text);
std::string quoted(const Call& call, const std::string& text);
/// The line behind a card that came up by `device connect` and its like.
std::string activatedLine(const Call& call, const std::string& card, const std::string& uuid);

/// A table with the columns that the options ask for.
std::string columns(std::vector<std::vector<std::string>> rows);

bool isValidPsk(const std::string& psk);

/// One PROPERTY VALUE pair into the settings; an error text in nmcli's words if it is refused.
std::optional<std::string> setProperty(const Call& call, Keyfile& keyfile,
                                       const std::string& property, const std::string& value);
/// What is missing or wrong in the settings as a whole: "SETTING.PROPERTY: REASON".
std::optional<std::string> refusal(const Keyfile& keyfile);

} // namespace hostsim::nm
