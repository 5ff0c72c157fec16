#include "daemon/Request.h"

#include "support/JsonText.h"

namespace ky {

namespace {

/// Whether the data area may hold arguments, by its first letter.
bool looksLikeObject(const QByteArray& data)
{
    for (const char c : data) {
        if (c != ' ' && c != '\t' && c != '\n' && c != '\r')
            return c == '{';
    }
    return false;
}

} // namespace

QVariantMap Request::object() const
{
    return json.isValid() ? json.toMap() : parseJson(data).toMap();
}

QString readArguments(const Command& row, Request* request)
{
    if (row.arguments.isEmpty())
        return {};
    QVariantMap given = request->json.toMap();
    if (!request->json.isValid() && looksLikeObject(request->data)) {
        if (request->data.size() > row.largestArguments)
            return QStringLiteral("arguments: more than %1 bytes").arg(row.largestArguments);
        const QVariant object = parseJson(request->data);
        request->isDataArguments = object.type() == QVariant::Map;
        given = object.toMap();
    }
    return readArguments(row.arguments, given, &request->arguments);
}

} // namespace ky
