#pragma once

#include "commands/Argument.h"

namespace ky {

constexpr int kServicePort = 19208; ///< also the port whose command table is in use
constexpr int kLinkPort = 19207;    ///< where link supervision reports to
constexpr int kReportPort = 19210;  ///< where the report of the host goes to

/// The highest number of a command: its answer has a type 10000 above it, in 16 bits.
constexpr int kMostNumber = 55535;

/// Arguments in the data area, unless a row says otherwise. (The JSON area holds 64 KiB.)
constexpr int kLargestArguments = 1024 * 1024;

/// One key of an answer or of an event.
struct Field
{
    const char* name;
    const char* summary;
};

struct ErrorText
{
    int code;
    const char* text;
};

/// One command or event: everything there is to know about it, and the only place where it is
/// written down. Daemon, client, command database and documentation are made from it. In a table it
/// reads
///
///     command("audio_set", 2451, "sets the output volume")
///         .takes(kVolume).fails(40501).within(takes::kTwoTools).needs(Right::Operate)
///         .changesHost().like(R"({"volume":40})")
struct Command
{
    const char* name = "";
    int number = 0;
    const char* summary = "";
    int port = kServicePort;
    bool isEvent = false;
    bool isFixed = false; ///< the number is one that peers rely on, outside of its group's block
    Right right = Right::View;
    bool isChange = false; ///< changes the host, a file of it, or what it does next
    int limitMs = 0;       ///< the longest that its work takes; 0: it is done in a moment
    Rows<Argument> arguments;
    int largestArguments = kLargestArguments;
    const char* requestData = ""; ///< what the data area of a request holds; empty: nothing
    Rows<Field> answer;           ///< beside "ret_code", "err_msg" and "create_on"
    int errors[4] = {};           ///< codes of its own that it may answer with; 0: none
    const char* example = "{}";   ///< arguments that it takes

    constexpr Command takes(Rows<Argument> rows) const
    {
        Command copy = *this;
        copy.arguments = rows;
        return copy;
    }
    constexpr Command takesData(const char* content) const
    {
        Command copy = *this;
        copy.requestData = content;
        return copy;
    }
    constexpr Command takesUpTo(int bytes) const
    {
        Command copy = *this;
        copy.largestArguments = bytes;
        return copy;
    }
    constexpr Command answers(Rows<Field> fields) const
    {
        Command copy = *this;
        copy.answer = fields;
        return copy;
    }
    constexpr Command fails(int first, int second = 0, int third = 0, int fourth = 0) const
    {
        Command copy = *this;
        copy.errors[0] = first;
        copy.errors[1] = second;
        copy.errors[2] = third;
        copy.errors[3] = fourth;
        return copy;
    }
    constexpr Command within(int ms) const
    {
        Command copy = *this;
        copy.limitMs = ms;
        return copy;
    }
    constexpr Command needs(Right least) const
    {
        Command copy = *this;
        copy.right = least;
        return copy;
    }
    constexpr Command changesHost() const
    {
        Command copy = *this;
        copy.isChange = true;
        return copy;
    }
    constexpr Command onPort(int tablePort) const
    {
        Command copy = *this;
        copy.port = tablePort;
        return copy;
    }
    constexpr Command fixed() const
    {
        Command copy = *this;
        copy.isFixed = true;
        return copy;
    }
    constexpr Command like(const char* json) const
    {
        Command copy = *this;
        copy.example = json;
        return copy;
    }
};

constexpr Command command(const char* name, int number, const char* summary)
{
    Command row;
    row.name = name;
    row.number = number;
    row.summary = summary;
    return row;
}

/// An event: a frame without a request, for those who subscribed. Its name begins with "event_".
constexpr Command event(const char* name, int number, const char* summary)
{
    Command row = command(name, number, summary);
    row.isEvent = true;
    return row;
}

/// Numbers from `first` to `last`, both included.
struct Block
{
    int first;
    int last;

    constexpr bool holds(int number) const { return first <= number && number <= last; }
};

/// The commands of one subsystem, with the numbers that it may give away. A number is chosen once
/// and never used again.
struct CommandGroup
{
    const char* title;
    Block numbers;      ///< of commands
    Block eventNumbers; ///< {0, 0}: none
    Block errorCodes;
    Rows<Command> rows;
    Rows<ErrorText> errors;
    int turnMs = 0; ///< how long the thread that serves them may be busy without being asked
};

} // namespace ky
