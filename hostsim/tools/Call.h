#pragma once

#include "model/Store.h"
#include "model/Words.h"

#include <string>
#include <vector>

namespace hostsim {

/// One call of a stand-in: its arguments, where its output goes, and the host it acts on.
class Call
{
public:
    Call(std::vector<std::string> args, Store store);
    ~Call() { flush(); }

    /// Without the tool's own name; arg() of a place behind the last is empty.
    const std::vector<std::string>& args() const { return _args; }
    std::string arg(size_t index) const { return index < _args.size() ? _args[index] : ""; }
    bool has(size_t index) const { return index < _args.size(); }

    const Store& store() const { return _store; }
    const StateFolder& folder() const { return _store.folder(); }
    Host host() const { return _store.read(); }
    const Locale& locale() const { return _locale; }
    std::string pick(const char* english, const char* chinese) const
    {
        return _locale.pick(english, chinese);
    }

    void out(const std::string& text) { _out += text; }
    void error(const std::string& text) { _error += text; }
    /// Writes the text to standard error and gives the status back: `return call.fail(…)`.
    int fail(int status, const std::string& text);

    /// Waits as long as the real tool does, `ms` at a pace of 1. What was written is out before.
    void wait(int ms);
    void flush();
    /// Plain C prints question marks for other characters.
    void setAsciiOnly(bool on) { _asciiOnly = on; }

private:
    std::vector<std::string> _args;
    Store _store;
    Locale _locale;
    std::string _out;
    std::string _error;
    bool _asciiOnly = false;
};

} // namespace hostsim
