#include "tools/Faults.h"

#include "model/Process.h"
#include "tools/CommandLog.h"

#include <chrono>
#include <optional>
#include <thread>

namespace hostsim {

namespace {

constexpr int kNotFound = 127;

std::optional<Fault> faultFor(const Host& host, const std::string& tool, const std::string& args)
{
    for (const Fault& fault : host.faults)
        if (fault.tool == tool && fault.times != 0 && contains(args, fault.match))
            return fault;
    return std::nullopt;
}

// Counts down a fault that is limited to a number of calls.
void countDown(const Store& store, const Fault& used)
{
    if (used.times < 0)
        return;
    store.change([&](Host& host) {
        for (Fault& fault : host.faults) {
            if (fault.tool != used.tool || fault.match != used.match || fault.times <= 0)
                continue;
            --fault.times;
            return;
        }
    });
}

// What breaks readers of text: escape sequences, bytes that are not UTF-8, a NUL, a long line.
std::string garbage()
{
    std::string text = "\x1b[31m\xff\xfe@@@ \t:: ";
    text += std::string("\0\x01\x02", 3) + "\n\n= = =\n" + std::string(300, '#') + "\r\n";
    return text;
}

// dash, bash and sudo each word this differently.
int missing(Call& call, const std::string& tool, bool underSudo)
{
    if (underSudo)
        return call.fail(1, "sudo: " + tool + ": command not found\n");
    const std::string shell = parentProgram();
    if (shell == "bash")
        return call.fail(kNotFound, "/bin/bash: line 1: " + tool + ": command not found\n");
    return call.fail(kNotFound, "/bin/sh: 1: " + tool + ": not found\n");
}

} // namespace

bool applyFault(Call& call, const std::string& tool, bool underSudo, int& status)
{
    const auto fault = faultFor(call.host(), tool, shellText(call.args()));
    if (!fault)
        return false;
    countDown(call.store(), *fault);
    if (fault->kind == "slow") {
        std::this_thread::sleep_for(std::chrono::milliseconds(fault->ms));
        return false;
    }
    status = fault->status;
    if (fault->kind == "missing")
        status = missing(call, tool, underSudo);
    else if (fault->kind == "hang")
        waitForEndOfRun(call.folder());
    else if (fault->kind == "garbage")
        call.out(garbage());
    else if (fault->kind == "busy")
        call.out("FAIL-BUSY\n");
    if (fault->kind == "garbage" || fault->kind == "busy")
        status = 0;
    call.out(fault->text);
    call.error(fault->error);
    return true;
}

void waitForEndOfRun(const StateFolder& folder)
{
    while (isRunAlive(folder))
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

} // namespace hostsim
