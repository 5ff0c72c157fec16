#pragma once

#include "cli/Verb.h"

#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <vector>

namespace ky {

class Invocation;

/// Which events a verb prints, and how.
struct EventWatch
{
    QStringList events; ///< names; empty for all
    /// The lines of one event: `map` is what it says, `text` its JSON as it came. None for an
    /// event that is not wanted. --count counts lines.
    std::function<QStringList(const QVariantMap& map, const QByteArray& text)> lines;
};

/// Subscribes and prints events as they come, until Ctrl-C or as --count and --for say. Returns
/// the exit status.
int watchEvents(Invocation& call, const EventWatch& watch);

/// --count and --for, for the table of a verb.
std::vector<Option> watchOptions();

} // namespace ky
