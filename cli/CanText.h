#pragma once

#include <QVariantMap>

#include <optional>

namespace ky {

/// The request map of a frame written as ID#DATA: "123#0102" (up to 3 digits: standard, more:
/// extended), "18FF50E5#" without data, "123#R" or "123#R4" for a remote frame. Dots between the
/// bytes are allowed. Nothing for any other text.
std::optional<QVariantMap> parseCanText(const QString& text);

/// One received frame as a line: " (2026-05-01 12:00:00.123)  can0  123   [2]  01 02".
QString canLine(const QVariantMap& frame);

} // namespace ky
