#include "cli/Peer.h"

#include "clients/BlockTcpObject.h"
#include "clients/BlockThreadTcp.h"
#include "support/JsonText.h"

#include <QAbstractSocket>
#include <QHostInfo>

namespace ky {

namespace {

QString peerName(const GlobalOptions& options)
{
    return QStringLiteral("%1:%2").arg(options.host).arg(options.port);
}

/// The client compares the peer's address with what it was told, so it is told an address.
QString addressOf(const QString& host)
{
    if (!QHostAddress(host).isNull())
        return host;
    const QList<QHostAddress> addresses = QHostInfo::fromName(host).addresses();
    for (const QHostAddress& address : addresses) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol)
            return address.toString();
    }
    return {};
}

PeerReply unanswered(const QString& sentence)
{
    PeerReply reply;
    reply.sentence = sentence;
    return reply;
}

} // namespace

QString noAnswerSentence(const QString& clientError, const GlobalOptions& options)
{
    const QString line = QStringLiteral("no answer from %1: %2").arg(peerName(options));
    if (clientError == QLatin1String("Tcp requst timeout"))
        return QStringLiteral("no answer from %1 within %2 ms")
            .arg(peerName(options))
            .arg(options.timeoutMs);
    if (clientError == QLatin1String("socketError:1"))
        return line.arg(QStringLiteral("the connection was closed"));
    const QString connectError = QStringLiteral("TcpSocket.waitForConnected error:");
    if (clientError.startsWith(connectError))
        return line.arg(clientError.mid(connectError.size()));
    return line.arg(clientError);
}

PeerReply readReply(const QByteArray& data, const QVariantMap& result)
{
    PeerReply reply;
    reply.isAnswered = true;
    reply.data = data;
    reply.map = parseJson(data).toMap();
    reply.code = reply.map.value(QStringLiteral("ret_code")).toInt();
    reply.answerType = result.value(QStringLiteral("revCommand")).toInt();
    reply.errorText = reply.map.value(QStringLiteral("err_msg")).toString();
    if (reply.errorText.isEmpty())
        reply.errorText = result.value(QStringLiteral("err_msg")).toString();
    return reply;
}

Peer::Peer(const GlobalOptions& options)
    : _options(options)
{}

Peer::~Peer() = default;

PeerReply Peer::ask(const QString& command, const QVariantMap& json, const QByteArray& data)
{
    PeerReply failure;
    const int number = numberOf(command, &failure);
    return number == 0 ? failure : exchange(number, json, data);
}

int Peer::numberOf(const QString& command, PeerReply* failure)
{
    bool isNumber = false;
    const int given = command.toInt(&isNumber);
    if (isNumber && given >= 0 && given <= 0xffff)
        return given;
    if (_numbers.isEmpty()) {
        *failure = commands();
        if (!failure->isAnswered || failure->code != 0)
            return 0;
    }
    const int number = _numbers.value(command);
    if (number == 0) {
        failure->isAnswered = true;
        failure->code = -1;
        failure->errorText = QStringLiteral("the peer has no command '%1'").arg(command);
    }
    return number;
}

PeerReply Peer::commands()
{
    const PeerReply reply = exchange(kCommandsNumber, {}, {});
    const QVariantList rows = reply.map.value(QStringLiteral("commands")).toList();
    for (const QVariant& row : rows)
        _numbers.insert(row.toMap().value(QStringLiteral("name")).toString(),
                        row.toMap().value(QStringLiteral("number")).toInt());
    return reply;
}

PeerReply Peer::exchange(int number, const QVariantMap& json, const QByteArray& data)
{
    if (!_client) {
        const QString address = addressOf(_options.host);
        if (address.isEmpty())
            return unanswered(
                QStringLiteral("no answer from %1: no such host").arg(peerName(_options)));
        _client = std::make_unique<BlockTcpObject>();
        _client->init(address, _options.port);
    }
    _client->setWaitTimeout(_options.timeoutMs);
    _lastNumber = _lastNumber % 0xffff + 1;
    const QVariant jsonArea = json.isEmpty() ? QVariant() : QVariant(json);
    if (!_client->sendData(number, data, _lastNumber, jsonArea))
        return unanswered(noAnswerSentence(_client->lastError(), _options));
    PeerReply reply = readReply(_client->receiveData(), _client->receiveMap());
    reply.json = _client->worker()->receiveJsonVar();
    return reply;
}

} // namespace ky
