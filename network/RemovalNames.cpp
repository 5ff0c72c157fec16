#include "network/RemovalNames.h"

#include <algorithm>
#include <net/if.h>

namespace ky {

namespace {

bool isLetterOrDigit(QChar c)
{
    return c.unicode() < 0x80 && c.isLetterOrNumber();
}

bool isLetterOrDigitOfAnyScript(QChar c)
{
    return c.isLetterOrNumber();
}

/// Neither the kernel's "no" nor more than a character to grep.
bool fitsCardName(QChar c)
{
    return c.unicode() > 0x20 && c.unicode() != 0x7f && !c.isSpace() &&
           !QStringLiteral("/:*[]^$\\").contains(c);
}

} // namespace

bool isCardName(const QString& name)
{
    const int size = name.toUtf8().size();
    return size > 0 && size < IFNAMSIZ && !name.startsWith(QLatin1Char('-')) &&
           std::all_of(name.begin(), name.end(), fitsCardName) &&
           std::any_of(name.begin(), name.end(), isLetterOrDigitOfAnyScript);
}

bool isConnectionType(const QString& type)
{
    const auto fits = [](QChar c) {
        return isLetterOrDigit(c) || c == QLatin1Char('-') || c == QLatin1Char('_');
    };
    return !type.isEmpty() && isLetterOrDigit(type.front()) &&
           std::all_of(type.begin(), type.end(), fits);
}

} // namespace ky
