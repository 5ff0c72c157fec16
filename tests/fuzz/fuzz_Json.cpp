// JSON from the peer: whatever the fast reader makes of a text, and the fast writer of the value,
// is what QJsonDocument makes of it.
#include "FuzzInput.h"
#include "RandomJson.h"
#include "support/JsonReading.h"
#include "support/JsonWriting.h"

#include <QJsonDocument>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzSetUp();
    const QByteArray text(reinterpret_cast<const char*>(data), int(size));
    const QVariant expected = valueOfDocument(text);

    const auto value = ky::readPlainJson(text);
    const bool isRepeated = value && namesIn(*value) != namesIn(text);
    if (value && !isRepeated && shown(*value) != shown(expected))
        qFatal("read otherwise than by QJsonDocument");

    const QByteArray written = ky::writePlainJson(expected);
    if (!written.isEmpty() &&
        written != QJsonDocument::fromVariant(expected).toJson(QJsonDocument::Compact))
        qFatal("written otherwise than by QJsonDocument");
    return 0;
}
