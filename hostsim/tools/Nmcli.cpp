#include "tools/Nmcli.h"

#include "tools/Tools.h"

#include <algorithm>

namespace hostsim {

namespace nm {

Options& options()
{
    static Options options;
    return options;
}

std::string quoted(const Call& call, const std::string& text)
{
    return call.locale().chinese ? "\"" + text + "\"" : "'" + text + "'";
}

int fail(Call& call, int status, const std::string& text)
{
    const bool isChinese = call.locale().chinese;
    return call.fail(status,
                     (isChinese ? "错误：" : "Error: ") + text + (isChinese ? "。" : ".") + "\n");
}

std::string activatedLine(const Call& call, const std::string& card, const std::string& uuid)
{
    // nmcli wipes its progress line even without a terminal.
    constexpr char wipe[] = "\x1b[2K\r";
    // The translation runs card and UUID together and leaves the device's name empty.
    if (call.locale().chinese)
        return wipe + fill("成功用 \"%1%2\" 激活了设备 \"\"。\n", {card, uuid});
    return wipe + fill("Device '%1' successfully activated with '%2'.\n", {card, uuid});
}

std::string columns(std::vector<std::vector<std::string>> rows)
{
    const auto& fields = options().fields;
    if (!fields.empty()) {
        std::vector<size_t> chosen;
        for (const std::string& field : fields)
            for (size_t i = 0; i < rows.front().size(); ++i)
                if (rows.front()[i] == field)
                    chosen.push_back(i);
        for (auto& row : rows) {
            std::vector<std::string> kept;
            for (const size_t i : chosen)
                kept.push_back(row[i]);
            row = kept;
        }
    }
    if (!options().terse)
        return table(rows);
    std::string text;
    for (size_t i = 1; i < rows.size(); ++i)
        for (size_t j = 0; j < rows[i].size(); ++j)
            text += rows[i][j] + (j + 1 < rows[i].size() ? ":" : "\n");
    return text;
}

bool isValidPsk(const std::string& psk)
{
    const bool isHex =
        psk.size() == 64 && psk.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    return isHex || (psk.size() >= 8 && psk.size() <= 63);
}

} // namespace nm

namespace {

// nmcli takes any beginning of a word: "d", "dev", "device".
bool isWord(const std::string& arg, const char* word, size_t least = 1)
{
    return arg.size() >= least && startsWith(word, arg);
}

int unknown(Call& call, const std::string& word, const char* object)
{
    return nm::fail(call, nm::kUsage,
                    fill(call.pick("argument '%1' not understood. Try passing --help instead",
                                   "参数 \"%1\" 无法识别。请尝试传递 --help"),
                         {word, object}));
}

int connection(Call& call, size_t first)
{
    const std::string verb = call.arg(first);
    const size_t next = first + 1;
    if (verb.empty() || isWord(verb, "show"))
        return nm::connectionShow(call, next);
    if (isWord(verb, "add"))
        return nm::connectionAdd(call, next);
    if (isWord(verb, "modify"))
        return nm::connectionModify(call, next);
    if (isWord(verb, "up"))
        return nm::connectionUp(call, next);
    if (isWord(verb, "down", 2))
        return nm::connectionDown(call, next);
    if (isWord(verb, "delete", 2))
        return nm::connectionDelete(call, next);
    if (isWord(verb, "reload"))
        return nm::connectionReload(call);
    return unknown(call, verb, "connection");
}

int wifi(Call& call, size_t first)
{
    const std::string verb = call.arg(first);
    const size_t next = first + 1;
    if (verb.empty() || isWord(verb, "list"))
        return nm::wifiList(call, next);
    if (isWord(verb, "connect"))
        return nm::wifiConnect(call, next);
    if (isWord(verb, "hotspot"))
        return nm::wifiHotspot(call, next);
    if (isWord(verb, "rescan"))
        return nm::wifiRescan(call, next);
    return unknown(call, verb, "wifi");
}

int device(Call& call, size_t first)
{
    const std::string verb = call.arg(first);
    const size_t next = first + 1;
    if (verb.empty() || isWord(verb, "status", 2))
        return nm::deviceStatus(call);
    if (isWord(verb, "show", 2))
        return nm::deviceShow(call, next);
    if (isWord(verb, "connect"))
        return nm::deviceConnect(call, next);
    if (isWord(verb, "disconnect", 2))
        return nm::deviceDisconnect(call, next);
    if (isWord(verb, "wifi"))
        return wifi(call, next);
    return unknown(call, verb, "device");
}

size_t readOptions(Call& call)
{
    nm::Options& options = nm::options();
    options = {};
    size_t at = 0;
    for (; startsWith(call.arg(at), "-"); ++at) {
        const std::string option = call.arg(at);
        if (option == "-f" || option == "--fields" || option == "-g" || option == "--get-values")
            options.fields = split(call.arg(++at), ',');
        options.terse = options.terse || option == "-t" || option == "--terse" || option == "-g";
    }
    return at;
}

} // namespace

int nmcli(Call& call)
{
    call.setAsciiOnly(call.locale().ascii);
    const size_t at = readOptions(call);
    const std::string object = call.arg(at);
    if (!call.host().networkManager)
        return nm::fail(
            call, nm::kNotRunning,
            call.pick("NetworkManager is not running", "网络管理器（NetworkManager）未运行"));
    if (isWord(object, "connection"))
        return connection(call, at + 1);
    if (isWord(object, "device"))
        return device(call, at + 1);
    return unknown(call, object, "nmcli");
}

} // namespace hostsim
