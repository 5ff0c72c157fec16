#pragma once

#include "commands/Command.h"

/// Rules that each table keeps, judged by the compiler. What takes several tables or a JSON reader
/// to judge is left to tests/unit/commands/tst_Catalogue.cpp.
namespace ky {

constexpr bool isSameName(const char* a, const char* b)
{
    for (; *a != '\0' && *a == *b; ++a, ++b) {
    }
    return *a == *b;
}

constexpr bool beginsWith(const char* text, const char* head)
{
    for (; *head != '\0'; ++text, ++head) {
        if (*text != *head)
            return false;
    }
    return true;
}

/// Lower case, digits and underscores.
constexpr bool isSnakeCase(const char* name)
{
    if (*name < 'a' || *name > 'z')
        return false;
    for (; *name != '\0'; ++name) {
        const bool isWord = (*name >= 'a' && *name <= 'z') || (*name >= '0' && *name <= '9');
        if (!isWord && *name != '_')
            return false;
    }
    return true;
}

constexpr bool hasText(const CommandGroup& group, int code)
{
    for (const ErrorText& error : group.errors) {
        if (error.code == code)
            return true;
    }
    return false;
}

constexpr const Argument* findArgument(Rows<Argument> arguments, const char* name)
{
    for (const Argument& row : arguments) {
        if (isSameName(row.name, name))
            return &row;
    }
    return nullptr;
}

constexpr bool areSoundArguments(Rows<Argument> arguments)
{
    for (const Argument& row : arguments) {
        if (*row.name == '\0' || *row.summary == '\0' || row.least > row.most)
            return false;
        if (findArgument(arguments, row.name) != &row) // a name that stands twice
            return false;
        const Argument* exempting = findArgument(arguments, row.exempting);
        if (*row.exempting != '\0' && (!exempting || exempting->kind != ValueKind::Flag))
            return false;
    }
    return true;
}

constexpr bool isSoundRow(const Command& row, const CommandGroup& group)
{
    const Block block = row.isEvent ? group.eventNumbers : group.numbers;
    if (!row.isFixed && !block.holds(row.number))
        return false;
    if (row.number < 1 || row.number > kMostNumber || *row.summary == '\0')
        return false;
    if (!isSnakeCase(row.name) || beginsWith(row.name, "event_") != row.isEvent)
        return false;
    for (const int code : row.errors) {
        if (code != 0 && !hasText(group, code))
            return false;
    }
    return areSoundArguments(row.arguments);
}

constexpr bool isSound(const CommandGroup& group)
{
    for (const Command& row : group.rows) {
        if (!isSoundRow(row, group))
            return false;
        for (const Command* other = group.rows.begin(); other != &row; ++other) {
            if (isSameName(row.name, other->name) ||
                (row.number == other->number && row.port == other->port))
                return false;
        }
    }
    for (const ErrorText& error : group.errors) {
        if (!group.errorCodes.holds(error.code) || *error.text == '\0')
            return false;
    }
    return true;
}

} // namespace ky
