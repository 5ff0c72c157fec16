#pragma once

#include <QString>

namespace ky {

// The name of a card or of a type goes to grep as an expression, and each profile in a row that it
// finds is removed. "." finds them all, and so does an empty line within the name. A name that grep
// takes literally is not enough either: "e" stands in nearly every row. So the name has to be known,
// too.

/// Whether the kernel would give a card this name, and grep finds no more by it than the name: 1 to
/// 15 bytes without blanks, "/" and ":", other than "." and "..", with a letter or digit, nothing
/// that grep reads as part of an expression but the dot of a VLAN ("eth0.5"), and no "-" in front.
bool isCardName(const QString& name);

/// Whether it can be a type of profile ("wifi", "802-11-wireless"): letters, digits, "-" and "_",
/// a letter or digit first.
bool isConnectionType(const QString& type);

/// Whether NetworkManager itself has profiles of this type.
bool isNetworkManagerType(const QString& type);

} // namespace ky
