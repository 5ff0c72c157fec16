#pragma once

#include <QVariant>

namespace ky {

/// Compact JSON text of a map or list, byte for byte that of QJsonDocument, at less than half its
/// cost. Empty where a value is of a kind that JSON has not, or on which writers differ:
/// QJsonDocument is to write it then.
QByteArray writePlainJson(const QVariant& value);

} // namespace ky
