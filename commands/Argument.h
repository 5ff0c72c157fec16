#pragma once

#include "commands/Right.h"
#include "commands/Rows.h"

namespace ky {

/// What a value is. Each kind is read and judged in one place, ArgumentReading.cpp, and worded in
/// one, ArgumentText.cpp.
enum class ValueKind
{
    Flag,      ///< true or false
    Whole,     ///< a whole number in a range; digits in a text count, too
    Number,    ///< a number in a range; digits in a text count, too
    Text,      ///< a text, its length in bytes of UTF-8
    Choice,    ///< one of a few words
    Word,      ///< letters, digits, "_" and "-"; a number counts as its digits
    Address,   ///< an IPv4 address
    Mask,      ///< an IPv4 subnet mask
    Host,      ///< an address or the name of a host
    Mac,       ///< a hardware address, with colons
    Interface, ///< a name that the kernel gives to network interfaces
    Zone,      ///< a time zone of the zone database
    Time,      ///< a local time to the second
    Hex,       ///< bytes in hexadecimal; read as bytes
    Command,   ///< a command, by number or name
    Object,    ///< a map, with the keys of `keys` if there are any
    List,      ///< a list; its entries are maps with the keys of `keys`, or texts if there are none
};

/// One argument of a command. In a table it reads
///
///     whole("volume", "output volume", 0, 100).unit("%").required()
struct Argument
{
    const char* name = "";
    ValueKind kind = ValueKind::Text;
    const char* summary = "";
    double least = 0; ///< of a number, of a text's bytes, of a list's entries
    double most = 0;
    const char* unitName = "";
    const char* choices = ""; ///< of a Choice: its words, separated by single spaces
    Rows<Argument> keys;      ///< of an Object, or of each entry of a List
    const char* usual = "";   ///< what holds without it, as JSON; empty: nothing does
    bool isRequired = false;
    const char* exempting = "";      ///< required unless this flag of the request is true
    bool isEmptyAllowed = false;     ///< an empty text stands for none
    bool isSecret = false;           ///< never logged, shown or stored
    Right raisedRight = Right::View; ///< with it the command needs at least this right

    constexpr Argument required() const
    {
        Argument copy = *this;
        copy.isRequired = true;
        return copy;
    }
    constexpr Argument requiredUnless(const char* flagName) const
    {
        Argument copy = *this;
        copy.exempting = flagName;
        return copy;
    }
    constexpr Argument orElse(const char* json) const
    {
        Argument copy = *this;
        copy.usual = json;
        return copy;
    }
    constexpr Argument unit(const char* name) const
    {
        Argument copy = *this;
        copy.unitName = name;
        return copy;
    }
    constexpr Argument orEmpty() const
    {
        Argument copy = *this;
        copy.isEmptyAllowed = true;
        return copy;
    }
    constexpr Argument secret() const
    {
        Argument copy = *this;
        copy.isSecret = true;
        return copy;
    }
    constexpr Argument needs(Right right) const
    {
        Argument copy = *this;
        copy.raisedRight = right;
        return copy;
    }
};

constexpr Argument argument(ValueKind kind, const char* name, const char* summary, double least = 0,
                            double most = 0)
{
    Argument row;
    row.kind = kind;
    row.name = name;
    row.summary = summary;
    row.least = least;
    row.most = most;
    return row;
}

constexpr Argument flag(const char* name, const char* summary)
{
    return argument(ValueKind::Flag, name, summary);
}

constexpr Argument whole(const char* name, const char* summary, double least, double most)
{
    return argument(ValueKind::Whole, name, summary, least, most);
}

constexpr Argument number(const char* name, const char* summary, double least, double most)
{
    return argument(ValueKind::Number, name, summary, least, most);
}

/// A text of so many bytes in UTF-8.
constexpr Argument text(const char* name, const char* summary, int least, int most)
{
    return argument(ValueKind::Text, name, summary, least, most);
}

constexpr Argument choice(const char* name, const char* summary, const char* words)
{
    Argument row = argument(ValueKind::Choice, name, summary);
    row.choices = words;
    return row;
}

constexpr Argument object(const char* name, const char* summary, Rows<Argument> keys = {})
{
    Argument row = argument(ValueKind::Object, name, summary);
    row.keys = keys;
    return row;
}

constexpr Argument list(const char* name, const char* summary, int most, Rows<Argument> keys = {})
{
    Argument row = argument(ValueKind::List, name, summary, 0, most);
    row.keys = keys;
    return row;
}

} // namespace ky
