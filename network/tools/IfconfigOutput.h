#pragma once

#include <QString>

#include <optional>

namespace ky {

/// IPv4 address and netmask of one card; empty where `ifconfig` shows none.
struct IfconfigCard
{
    QString ip;
    QString mask;
};

/// Reads the card from the output of `ifconfig`: the first line that holds the name and a ":" and
/// the line behind it. Nothing if no line does.
std::optional<IfconfigCard> parseIfconfig(const QString& text, const QString& card);

/// What a list of card names, one a line, says of the wireless card.
struct WirelessCardChoice
{
    bool isFound = false;
    /// Empty with isFound set: several cards, none of a name that is known.
    QString name;
};

WirelessCardChoice chooseWirelessCard(const QString& list);

} // namespace ky
