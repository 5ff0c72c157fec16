#include "commands/Catalogue.h"

#include "commands/Tables.h"

#include <QHash>

namespace ky {

namespace {

constexpr int kWayMs = 5000;

const CommandGroup* const kGroups[] = {
    &kServiceCommands, &kPeerCommands, &kCanCommands,       &kSerialCommands,
    &kCardCommands,    &kWifiCommands, &kRoamingCommands,   &kAddressCommands,
    &kHotspotCommands, &kTimeCommands, &kInventoryCommands,
};

QHash<QString, const Command*> rowsByName()
{
    QHash<QString, const Command*> rows;
    for (const CommandGroup* group : commandGroups()) {
        for (const Command& row : group->rows)
            rows.insert(QLatin1String(row.name), &row);
    }
    return rows;
}

} // namespace

Rows<const CommandGroup*> commandGroups()
{
    return kGroups;
}

const Command* findCommand(const QString& name)
{
    static const QHash<QString, const Command*> rows = rowsByName();
    return rows.value(name);
}

const Command* findCommand(int number, int port)
{
    for (const CommandGroup* group : commandGroups()) {
        for (const Command& row : group->rows) {
            if (row.number == number && row.port == port)
                return &row;
        }
    }
    return nullptr;
}

int answerLimitMs(const Command& row)
{
    for (const CommandGroup* group : commandGroups()) {
        if (&row >= group->rows.begin() && &row < group->rows.end())
            return row.limitMs + group->turnMs + kWayMs;
    }
    return row.limitMs + kWayMs;
}

QString errorTextOf(int code)
{
    for (const CommandGroup* group : commandGroups()) {
        for (const ErrorText& error : group->errors) {
            if (error.code == code)
                return QString::fromUtf8(error.text);
        }
    }
    return {};
}

} // namespace ky
