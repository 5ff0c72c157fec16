#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QVariantMap>

class BaseObject;

namespace ky {

/// Codes of the service itself; each subsystem has a block of its own. The texts are in the
/// error table.
enum ServiceError
{
    kUnknownCommand = 40001,
    kBadArgument = 40002,
    kUploadFailed = 40003,
    kAnswerTooLarge = 40004,
    kOutOfMemory = 40005,
    kSettingsNotStored = 40007,
};

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
    /// A request without an argument that the command needs.
    static Answer missing(const QString& key);
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
