#pragma once

#include <QString>

namespace ky {

// What a text has to look like. The host is not asked: whether it knows the name is another
// question.

/// Four numbers of at most three digits, up to 255, separated by dots. A number other than 0 that
/// begins with 0 is none: some readers would take it as octal.
bool isIpv4Address(const QString& text);
/// Four such numbers whose ones are all in front. Zeros in front of a number do no harm here.
bool isSubnetMask(const QString& text);
/// An address of either version, or a name in letters that hosts have. Never begins with "-", which
/// tools would take for an option.
bool isHostName(const QString& text);
/// What the kernel takes as a name of an interface: 1 to 15 bytes without blanks, "/" and ":", not
/// "." or ".."; and no "-" in front.
bool isInterfaceName(const QString& text);
/// Words of letters, digits, "_", "+" and "-", separated by "/".
bool isZoneName(const QString& text);
/// "yyyy-MM-dd hh:mm:ss", a time that there is.
bool isLocalTime(const QString& text);
/// Letters, digits, "_" and "-".
bool isPlainWord(const QString& text);

} // namespace ky
