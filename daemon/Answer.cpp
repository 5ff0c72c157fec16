#include "daemon/Answer.h"

#include "commands/ArgumentReading.h"
#include "host/BaseObject.h"
#include "support/JsonText.h"
#include "wire/FrameWriter.h"

#include <new>

namespace ky {

Answer Answer::ok(const QVariantMap& values)
{
    Answer answer;
    answer._values = values;
    return answer;
}

Answer Answer::error(int code, const QString& text)
{
    Answer answer;
    answer._code = code;
    answer._errorText = text;
    return answer;
}

Answer Answer::of(bool isOk, int code, const QString& lastError, const QVariantMap& values)
{
    return isOk ? ok(values) : error(code, lastError);
}

Answer Answer::of(bool isOk, int code, const BaseObject& failed, const QVariantMap& values)
{
    return of(isOk, code, failed.getLastError(), values);
}

Answer Answer::badArgument(const QString& problem)
{
    return error(kBadArgument, problem);
}

Answer Answer::missing(const char* name)
{
    return badArgument(missingText(QLatin1String(name)));
}

Answer Answer::noMemory()
{
    return error(kOutOfMemory, QStringLiteral("not enough memory"));
}

Answer Answer::areas(const QByteArray& json, const QByteArray& data)
{
    Answer answer;
    answer._isRaw = true;
    answer._json = json;
    answer._data = data;
    return answer;
}

QByteArray Answer::frame(quint16 type, quint16 number, const QDateTime& now) const
{
    QByteArray frame;
    try {
        frame = buildOwn(type, number, now);
    } catch (const std::bad_alloc&) {
        frame.clear();
    }
    if (!frame.isEmpty())
        return frame;
    const QString text = QStringLiteral("answer: more than one frame can hold");
    return error(kAnswerTooLarge, text).buildOwn(type, number, now);
}

QByteArray Answer::buildOwn(quint16 type, quint16 number, const QDateTime& now) const
{
    // The field for it has 16 bits, and JSON may grow when it is written again.
    if (_isRaw && _json.size() > 0xffff)
        return {};
    if (_isRaw)
        return buildFrame(type, number, _json, _data);
    QVariantMap map = _values;
    map.insert(QStringLiteral("ret_code"), _code);
    map.insert(QStringLiteral("err_msg"), _errorText);
    map.insert(QStringLiteral("create_on"), timeText(now));
    // Clients look for these keys in the data area, so the JSON area stays empty.
    return buildFrame(type, number, {}, jsonText(map, QJsonDocument::Compact));
}

QString timeText(const QDateTime& time)
{
    return time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODateWithMs);
}

} // namespace ky
