#pragma once

#include "model/Host.h"
#include "model/Keyfile.h"

namespace hostsim {

enum class Joining
{
    Done,
    NoNetwork, ///< no access point of the network is in range
    NoSecrets, ///< the network rejects the profile's secrets, or there are none
    NoLease,   ///< no DHCP server answers
    NotReady,  ///< the card is down, blocked or without a cable
};

/// What activate() would return now; nothing is changed.
Joining tryJoining(const Host& host, const Card& card, const Keyfile& keyfile);

/// Brings a profile up on a card: access point and addresses. After a failure the card is left
/// without a connection, and NetworkManager no longer brings it up by itself.
Joining activate(Host& host, Card& card, Profile& profile);

/// Takes the card's connection down; the loopback keeps its own.
void deactivate(Card& card);

} // namespace hostsim
