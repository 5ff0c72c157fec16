#include "support/JsonText.h"

#include "support/JsonReading.h"
#include "support/JsonWriting.h"

namespace ky {

QVariant parseJson(const QByteArray& text)
{
    if (const auto value = readPlainJson(text))
        return *value;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError)
        return {};
    return document.toVariant();
}

QByteArray jsonText(const QVariant& value, QJsonDocument::JsonFormat format)
{
    if (format == QJsonDocument::Compact) {
        const QByteArray text = writePlainJson(value);
        if (!text.isEmpty())
            return text;
    }
    return QJsonDocument::fromVariant(value).toJson(format);
}

} // namespace ky
