#pragma once

#include "commands/Command.h"

#include <QString>
#include <QVariantMap>

namespace ky {

/// What `kyctl call NAME --help` shows: all that the catalogue tells of a command or event.
QString commandHelp(const Command& row);

/// The table of the service's commands and events as `kyctl commands` prints it, by number.
QString commandTable();

/// The same for scripts, with all that the catalogue tells: "commands" is a list.
QVariantMap commandList();

} // namespace ky
