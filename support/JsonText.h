#pragma once

#include <QJsonDocument>
#include <QVariant>

namespace ky {

/// The value of a JSON text (UTF-8), or an invalid variant if it does not parse. The outermost
/// value is an object or a list.
QVariant parseJson(const QByteArray& text);

/// JSON text of a map or a list; empty for an invalid variant or one that JSON cannot hold as a
/// document.
QByteArray jsonText(const QVariant& value, QJsonDocument::JsonFormat format);

} // namespace ky
