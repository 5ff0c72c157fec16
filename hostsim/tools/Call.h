#pragma once

#include "model/Store.h"
#include "model/Words.h"

#include <string>
#include <vector>

namespace hostsim {

/// One call of a stand-in: its arguments, its output, and the host that it acts on.
class Call
{
public:
    Call(std::vector<std::string> args, Store store);
    ~Call() { flush(); }

    /// Without the tool's name. arg() past the last one is empty.
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
    /// Writes the text to standard error and returns the status, for `return call.fail(…)`.
    int fail(int status, const std::string& text);

    /// Waits as long as the real tool would: `ms` at a pace of 1. Output so far is written first.
    void wait(int ms);
    void flush();
    /// In the plain C locale the real tool prints a question mark for any other character.
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
