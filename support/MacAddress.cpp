#include "support/MacAddress.h"

#include <QRegularExpression>

namespace ky {

bool isMacAddress(const QString& text)
{
    static const QRegularExpression form(
        QRegularExpression::anchoredPattern(QStringLiteral("[0-9A-Fa-f]{2}(:[0-9A-Fa-f]{2}){5}")));
    return form.match(text).hasMatch();
}

} // namespace ky
