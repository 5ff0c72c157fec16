#pragma once

#include "commands/ErrorCodes.h"

#include <QByteArray>
#include <QDateTime>
#include <QVariantMap>

class BaseObject;

namespace ky {

/// What a command answers: a map with "ret_code", "err_msg" and "create_on", or two areas as they
/// stand.
class Answer
{
public:
    /// Success, with what else the command has to say.
    static Answer ok(const QVariantMap& values = {});
    /// Failure with a code of the error table. `text` is the last error of the object that failed.
    static Answer error(int code, const QString& text);
    /// The usual end of a handler: success if `isOk`, else `code` and `lastError`.
    static Answer of(bool isOk, int code, const QString& lastError, const QVariantMap& values = {});
    /// The same with the last error of `failed`, read when the operation has ended. (As arguments
    /// of one call the operation and getLastError() run in any order.)
    static Answer of(bool isOk, int code, const BaseObject& failed, const QVariantMap& values = {});
    /// A request with an argument that is missing or wrong; `problem` names it and tells what was
    /// expected.
    static Answer badArgument(const QString& problem);
    static Answer missing(const char* name);
    /// A request that needs more memory than there is.
    static Answer noMemory();
    /// The two areas of the answer frame, nothing added.
    static Answer areas(const QByteArray& json, const QByteArray& data);

    bool isOk() const { return _code == 0; }
    int code() const { return _code; }
    QString errorText() const { return _errorText; }
    QVariantMap values() const { return _values; }

    /// The frame that goes out, made at `now`. What no frame can hold, or memory has no room for,
    /// becomes an error that says so.
    QByteArray frame(quint16 type, quint16 number, const QDateTime& now) const;

private:
    QByteArray buildOwn(quint16 type, quint16 number, const QDateTime& now) const;

    int _code = 0;
    QString _errorText;
    QVariantMap _values;
    bool _isRaw = false;
    QByteArray _json;
    QByteArray _data;
};

/// A time as answers and events carry it: ISO 8601, milliseconds, offset from UTC.
QString timeText(const QDateTime& time);

} // namespace ky
