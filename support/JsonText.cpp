#include "support/JsonText.h"

namespace ky {

QVariant parseJson(const QByteArray& text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError)
        return {};
    return document.toVariant();
}

QByteArray jsonText(const QVariant& value, QJsonDocument::JsonFormat format)
{
    return QJsonDocument::fromVariant(value).toJson(format);
}

} // namespace ky
