#pragma once

#include <QVariant>

#include <optional>

namespace ky {

/// The value of a JSON text as QJsonDocument would give it, sooner. Nothing where the text is not
/// JSON to the letter, or is of a kind on which readers differ (lone surrogates, numbers beyond an
/// integer, great depth or length): QJsonDocument is to decide then. Of values under one name the
/// last counts, where QJsonDocument takes any of them in a large object.
std::optional<QVariant> readPlainJson(const QByteArray& text);

} // namespace ky
