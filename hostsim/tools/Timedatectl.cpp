#include "model/MachineClock.h"
#include "tools/Tools.h"
#include "tools/ZoneFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace hostsim {

namespace {

constexpr char kLocalRtcWarning[] =
    "\nWarning: The system is configured to read the RTC time in the local time zone.\n"
    "         This mode cannot be fully supported. It will create various problems\n"
    "         with time zone changes and daylight saving time adjustments. The RTC\n"
    "         time is never updated, it relies on external facilities to maintain it.\n"
    "         If at all possible, use RTC in UTC by calling\n"
    "         'timedatectl set-local-rtc 0'.\n";

std::string dayAndTime(const Locale& locale, const std::tm& time)
{
    constexpr const char* english[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr const char* chinese[] = {"日", "一", "二", "三", "四", "五", "六"};
    char text[40];
    std::strftime(text, sizeof text, " %Y-%m-%d %H:%M:%S", &time);
    return (locale.chinese ? chinese : english)[time.tm_wday] + std::string(text);
}

std::string utcOffset(long seconds)
{
    char text[64];
    const long minutes = std::abs(seconds) / 60;
    std::snprintf(text, sizeof text, "%c%02ld%02ld", seconds < 0 ? '-' : '+', minutes / 60,
                  minutes % 60);
    return text;
}

const char* yesNo(bool on)
{
    return on ? "yes" : "no";
}

int status(Call& call)
{
    const Host host = call.host();
    const ZoneFile zone(call.folder());
    const auto now = static_cast<std::time_t>((nowMs() + host.clock.offsetMs) / 1000);
    const std::tm utc = *std::gmtime(&now);
    const ZoneFile::Local local = zone.localTime(now);
    const std::string localText = dayAndTime(call.locale(), local.time);
    const std::string utcText = dayAndTime(call.locale(), utc);
    call.out("               Local time: " + localText + " " + local.abbreviation + "\n");
    call.out("           Universal time: " + utcText + " UTC\n");
    call.out("                 RTC time: " + (host.clock.localRtc ? localText : utcText) + "\n");
    call.out("                Time zone: " + zone.name() + " (" + local.abbreviation + ", " +
             utcOffset(local.offset) + ")\n");
    call.out("System clock synchronized: " + std::string(yesNo(host.clock.synchronized)) + "\n");
    call.out("              NTP service: " + std::string(host.clock.ntp ? "active" : "inactive") +
             "\n");
    call.out("          RTC in local TZ: " + std::string(yesNo(host.clock.localRtc)) + "\n");
    if (host.clock.localRtc)
        call.out(kLocalRtcWarning);
    return 0;
}

// "yyyy-MM-dd hh:mm:ss.zzz". A day that the month does not have runs on into the next month.
bool parseTime(const std::string& text, std::tm& time, int& ms)
{
    int length = 0;
    const int count =
        std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%n", &time.tm_year, &time.tm_mon,
                    &time.tm_mday, &time.tm_hour, &time.tm_min, &time.tm_sec, &length);
    if (count != 6 || time.tm_mon < 1 || time.tm_mon > 12 || time.tm_mday < 1 ||
        time.tm_mday > 31 || time.tm_hour > 23 || time.tm_min > 59 || time.tm_sec > 59)
        return false;
    const std::string rest = text.substr(static_cast<size_t>(length));
    if (!rest.empty() && std::sscanf(rest.c_str(), ".%3d", &ms) != 1)
        return false;
    time.tm_year -= 1900;
    time.tm_mon -= 1;
    return true;
}

int setTime(Call& call, const std::string& text)
{
    std::tm time = {};
    int ms = 0;
    if (!parseTime(text, time, ms))
        // Our own words: the real tool says something else here.
        return call.fail(1, "Failed to read time '" + text +
                                "': " + call.pick("Invalid argument", "无效的参数") + "\n");
    if (call.host().clock.ntp)
        return call.fail(1, "Failed to set time: Automatic time synchronization is enabled\n");
    // The time given is local time in the scene's zone.
    const int64_t local = int64_t(::timegm(&time));
    const int64_t seconds = local - ZoneFile(call.folder()).offsetAtLocal(local);
    call.store().change([&](Host& host) { host.clock.offsetMs = seconds * 1000 + ms - nowMs(); });
    return 0;
}

int setZone(Call& call, const std::string& name)
{
    if (!ZoneFile::exists(name))
        return call.fail(1, "Failed to set time zone: Invalid or not installed time zone '" + name +
                                "'\n");
    ZoneFile::link(call.folder(), name);
    return 0;
}

bool isOn(const std::string& text)
{
    return text == "1" || text == "true" || text == "yes" || text == "on";
}

} // namespace

int timedatectl(Call& call)
{
    const std::string verb = call.arg(0);
    if (verb.empty() || verb == "status")
        return status(call);
    if (verb == "set-time")
        return setTime(call, call.arg(1));
    if (verb == "set-timezone")
        return setZone(call, call.arg(1));
    if (verb == "list-timezones") {
        for (const std::string& name : ZoneFile::names())
            call.out(name + "\n");
        return 0;
    }
    if (verb == "set-ntp" || verb == "set-local-rtc") {
        call.store().change([&](Host& host) {
            (verb == "set-ntp" ? host.clock.ntp : host.clock.localRtc) = isOn(call.arg(1));
        });
        return 0;
    }
    return call.fail(1, "Unknown command verb " + verb + ".\n");
}

int date(Call& call)
{
    const Host host = call.host();
    const int64_t nowAll = nowMs() + host.clock.offsetMs;
    const ZoneFile::Local local = ZoneFile(call.folder()).localTime(std::time_t(nowAll / 1000));
    std::string format = "%a %b %e %H:%M:%S %Z %Y";
    if (startsWith(call.arg(0), "+"))
        format = call.arg(0).substr(1);
    // strftime() knows neither milliseconds nor the scene's zone.
    char ms[8];
    std::snprintf(ms, sizeof ms, "%03d", int(nowAll % 1000));
    for (const auto& [code, value] : {std::make_pair(std::string("%3N"), std::string(ms)),
                                      std::make_pair(std::string("%Z"), local.abbreviation)})
        for (size_t at; (at = format.find(code)) != std::string::npos;)
            format.replace(at, code.size(), value);
    char text[200];
    std::strftime(text, sizeof text, format.c_str(), &local.time);
    call.out(std::string(text) + "\n");
    return 0;
}

} // namespace hostsim
