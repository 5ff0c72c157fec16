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

// The subcommands. The arguments after the subcommand's own words begin at `first`.
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

/// Options before the object. Columns as in "-f BSSID,SSID"; empty: nmcli's own choice.
struct Options
{
    std::vector<std::string> fields;
    bool terse = false;
};
Options& options();

/// Writes "Error: TEXT." or 错误：TEXT。 and returns the status.
int fail(Call& call, int status, const std::string& text);
std::string quoted(const Call& call, const std::string& text);
/// What `device connect` and the like print once the card is up.
std::string activatedLine(const Call& call, const std::string& card, const std::string& uuid);

/// The table, reduced to the columns that the options ask for.
std::string columns(std::vector<std::vector<std::string>> rows);

bool isValidPsk(const std::string& psk);

/// Puts one PROPERTY VALUE pair into the settings. Returns nmcli's error text if it is refused.
std::optional<std::string> setProperty(const Call& call, Keyfile& keyfile,
                                       const std::string& property, const std::string& value);
/// What is missing or wrong in the settings as a whole, as "SETTING.PROPERTY: REASON".
std::optional<std::string> refusal(const Keyfile& keyfile);

} // namespace hostsim::nm
