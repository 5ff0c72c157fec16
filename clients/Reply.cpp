#include "clients/Reply.h"

#include "host/PublicClass.h"
#include "host/SqliteClass.h"
#include "wire/FrameHead.h"

#include <algorithm>
#include <limits>

namespace ky {

namespace {

constexpr char kErrorMessage[] = "[%1] %2";
constexpr char kDataWarning[] =
    "Instruction error 1:  IP:%1 : %2 Send: [%3]  Rev: [%4]  Error: %5 [%6]";
constexpr char kCodeWarning[] = "Instruction error 2:  IP:%1 : %2 Send: [%3]  Rev: [%4]  Error: %5";
constexpr char kTooManyConnections[] =
    "[%1:%2]The number of connections has exceeded the maximum, please disconnect other clients "
    "and try again";

/// The first name, in key order, that the table of this port gives the command.
QString commandName(quint16 port, quint16 command)
{
    const auto& tables = SqliteClass::init()->portCommands;
    const auto names = tables.constFind(port);
    return names == tables.constEnd() ? QString() : names->key(command);
}

/// What a reply says of the request.
struct Verdict
{
    bool isJson = false; ///< the data area is JSON: it has a date and a code, if only empty ones
    QVariant code;       ///< "ret_code" as it stands
    QString message;     ///< the "err_msg" of the result
};

/// The reply's own verdict: a text under "err_msg" makes it an error, whatever "ret_code" says.
Verdict judgeData(Reply& reply, const QString& ip, quint16 port)
{
    Verdict verdict;
    verdict.isJson = PublicClass::init()->isJson(reply.data);
    if (!verdict.isJson)
        return verdict;
    const QVariantMap map = PublicClass::init()->getJsonVariant(reply.data).toMap();
    reply.createdOn = map.value(QStringLiteral("create_on")).toString();
    verdict.code = map.value(QStringLiteral("ret_code"));

    const QString peerText = map.value(QStringLiteral("err_msg")).toString();
    if (peerText.isEmpty())
        return verdict;
    const int code = verdict.code.toInt();
    const QString text = errorText(QString(), code, peerText, ip, port);
    verdict.message = QString::fromLatin1(kErrorMessage).arg(QString::number(code), text);
    reply.warning = QString::fromLatin1(kDataWarning)
                        .arg(ip, QString::number(port), QString::number(reply.head.revCommand),
                             QString::number(reply.head.type), verdict.message, text);
    return verdict;
}

/// A reply without data is judged by its type alone.
Verdict judgeType(Reply& reply, const QString& ip, quint16 port)
{
    const int type = reply.head.type;
    Verdict verdict;
    if (SqliteClass::init()->errorCommands.value(type).isEmpty())
        return verdict;
    verdict.message =
        QString::fromLatin1(kErrorMessage)
            .arg(QString::number(type), SqliteClass::init()->getErrorCommandValue(type));
    reply.warning = QString::fromLatin1(kCodeWarning)
                        .arg(ip, QString::number(port), QString::number(reply.head.revCommand),
                             QString::number(type), verdict.message);
    return verdict;
}

/// The map in the order of its keys, each put behind the one before: no search, no comparison of
/// names but one.
QVariantMap resultMap(const Reply& reply, const Verdict& verdict, const QString& ip, quint16 port)
{
    QVariantMap map;
    const auto append = [&map](const QString& key, const QVariant& value) {
        map.insert(map.constEnd(), key, value);
    };
    if (verdict.isJson)
        append(QStringLiteral("create_on"), reply.createdOn);
    append(QStringLiteral("err_msg"), verdict.message);
    append(QStringLiteral("ip"), ip);
    append(QStringLiteral("number"), int(reply.head.number));
    append(QStringLiteral("port"), int(port));
    if (verdict.isJson)
        append(QStringLiteral("ret_code"), verdict.code);
    append(QStringLiteral("revCommand"), int(reply.head.type));
    append(QStringLiteral("sendCommand"), int(reply.head.revCommand));
    append(QStringLiteral("sendCommandStr"), commandName(port, reply.head.revCommand));
    return map;
}

} // namespace

Reply splitReply(const FrameHead& head, const char* bytes)
{
    const char* body = bytes + kHeaderSize;
    const int bodySize = int(head.dataSize);
    const int jsonSize = std::min(int(head.jsonSize), bodySize);
    Reply reply;
    reply.head = head;
    if (jsonSize > 0)
        reply.json = QByteArray(body, jsonSize);
    if (bodySize > jsonSize)
        reply.data = QByteArray(body + jsonSize, bodySize - jsonSize);
    return reply;
}

void judgeReply(Reply& reply, const QString& ip, quint16 port)
{
    const Verdict verdict =
        reply.data.isEmpty() ? judgeType(reply, ip, port) : judgeData(reply, ip, port);
    reply.map = resultMap(reply, verdict, ip, port);
}

QString errorText(const QString& slot, int code, const QString& peerText, const QString& ip,
                  quint16 port)
{
    if (slot.isEmpty() || code == 40013 || code == 40014)
        return peerText;
    if (code == 61001)
        return QString::fromLatin1(kTooManyConnections).arg(ip, QString::number(port));
    return slot;
}

int progressOf(double dividend, double divisor)
{
    constexpr double kMost = std::numeric_limits<int>::max();
    if (divisor <= 0)
        return int(kMost);
    return qRound(std::clamp(dividend / divisor * 99.0, -kMost, kMost));
}

} // namespace ky
