#include "clients/Reply.h"

#include "host/PublicClass.h"
#include "host/SqliteClass.h"
#include "service/FrameWriter.h"

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

/// The reply's own verdict: a text under "err_msg" makes it an error, whatever "ret_code" says.
QString judgeData(Reply& reply, const QString& ip, quint16 port)
{
    if (!PublicClass::init()->isJson(reply.data))
        return {};
    const QVariantMap map = PublicClass::init()->getJsonVariant(reply.data).toMap();
    reply.createdOn = map.value(QStringLiteral("create_on")).toString();
    const QVariant code = map.value(QStringLiteral("ret_code"));
    reply.map.insert(QStringLiteral("create_on"), reply.createdOn);
    reply.map.insert(QStringLiteral("ret_code"), code);

    const QString peerText = map.value(QStringLiteral("err_msg")).toString();
    if (peerText.isEmpty())
        return {};
    const QString text = errorText(QString(), code.toInt(), peerText, ip, port);
    const QString message =
        QString::fromLatin1(kErrorMessage).arg(QString::number(code.toInt()), text);
    reply.warning = QString::fromLatin1(kDataWarning)
                        .arg(ip, QString::number(port), QString::number(reply.head.revCommand),
                             QString::number(reply.head.type), message, text);
    return message;
}

/// A reply without data is judged by its type alone.
QString judgeType(Reply& reply, const QString& ip, quint16 port)
{
    const int type = reply.head.type;
    if (SqliteClass::init()->errorCommands.value(type).isEmpty())
        return {};
    const QString message =
        QString::fromLatin1(kErrorMessage)
            .arg(QString::number(type), SqliteClass::init()->getErrorCommandValue(type));
    reply.warning = QString::fromLatin1(kCodeWarning)
                        .arg(ip, QString::number(port), QString::number(reply.head.revCommand),
                             QString::number(type), message);
    return message;
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
    QVariantMap& map = reply.map;
    map.insert(QStringLiteral("ip"), ip);
    map.insert(QStringLiteral("port"), int(port));
    map.insert(QStringLiteral("number"), int(reply.head.number));
    map.insert(QStringLiteral("sendCommand"), int(reply.head.revCommand));
    map.insert(QStringLiteral("revCommand"), int(reply.head.type));
    map.insert(QStringLiteral("sendCommandStr"), commandName(port, reply.head.revCommand));
    const QString message =
        reply.data.isEmpty() ? judgeType(reply, ip, port) : judgeData(reply, ip, port);
    map.insert(QStringLiteral("err_msg"), message);
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
