#include "daemon/Request.h"

#include "support/JsonText.h"

namespace ky {

QVariantMap Request::arguments() const
{
    if (json.isValid())
        return json.toMap();
    return parseJson(data).toMap();
}

QByteArray Request::payload() const
{
    const bool isArguments = !json.isValid() && parseJson(data).type() == QVariant::Map;
    return isArguments ? QByteArray() : data;
}

QString Request::firstMissing(std::initializer_list<const char*> keys) const
{
    const QVariantMap given = arguments();
    for (const char* key : keys) {
        if (!given.contains(QLatin1String(key)))
            return QLatin1String(key);
    }
    return {};
}

} // namespace ky
