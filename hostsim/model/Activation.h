#pragma once

#include "model/Host.h"
#include "model/Keyfile.h"

namespace hostsim {

enum class Joining
{
    Done,
    NoNetwork, ///< no access point of the network is heard
    NoSecrets, ///< the network does not take the profile's secrets, or there are none
    NoLease,   ///< nobody answers DHCP
    NotReady,  ///< the card is down, blocked or without a cable
};

/// What would come of it if the card took this profile now.
Joining tryJoining(const Host& host, const Card& card, const Keyfile& keyfile);

/// Brings a profile up on a card, with address and access point. On a failure the card is left
/// without a connection and is not brought up by itself again.
Joining activate(Host& host, Card& card, Profile& profile);

/// Takes the card's connection down.
void deactivate(Card& card);

} // namespace hostsim
