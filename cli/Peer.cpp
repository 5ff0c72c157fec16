#include "cli/Peer.h"

#include "clients/BlockTcpObject.h"
#include "clients/BlockThreadTcp.h"
#include "commands/Catalogue.h"
#include "service/VantHeader.h"
#include "support/JsonText.h"
#include "support/SocketErrorText.h"
#include "wire/FrameHead.h"

#include <QHostAddress>
#include <QTimer>

#include <limits>

namespace ky {

namespace {

constexpr quint64 kUploadPiece = 256 * 1024;
constexpr char kTimeoutText[] = "Tcp requst timeout"; // as the client words it

QString peerName(const GlobalOptions& options)
{
    return QStringLiteral("%1:%2").arg(options.host).arg(options.port);
}

/// The client tells a failed connect by the system's words or by the number of the socket error,
/// whichever reaches its owner first.
QString reasonOf(const QString& clientError)
{
    const QString connectError = QStringLiteral("TcpSocket.waitForConnected error:");
    if (clientError.startsWith(connectError))
        return clientError.mid(connectError.size());
    const QString words = socketErrorWords(clientError);
    return words.isEmpty() ? clientError : words;
}

int numberInCatalogue(const char* name)
{
    return findCommand(QLatin1String(name))->number;
}

PeerReply unanswered(const QString& sentence)
{
    PeerReply reply;
    reply.sentence = sentence;
    return reply;
}

} // namespace

QString resolvePeer(const GlobalOptions& options, QString* address, const LookUp& lookUp)
{
    // The client compares the peer's address with what it was told, so it is told an address.
    const bool isAddress = !QHostAddress(options.host).isNull();
    const std::optional<QString> found =
        isAddress ? options.host : lookUpWithin(options.timeoutMs, options.host, lookUp);
    if (!found)
        return noAnswerSentence(QString(), options);
    *address = *found;
    return address->isEmpty()
               ? QStringLiteral("no answer from %1: no such host").arg(peerName(options))
               : QString();
}

QString noAnswerSentence(const QString& clientError, const GlobalOptions& options)
{
    const QString line = QStringLiteral("no answer from %1: %2").arg(peerName(options));
    if (clientError.isEmpty() || clientError == QLatin1String(kTimeoutText))
        return QStringLiteral("no answer from %1 within %2 ms")
            .arg(peerName(options))
            .arg(options.timeoutMs);
    return line.arg(reasonOf(clientError));
}

bool fitsJsonArea(const QVariant& json)
{
    return jsonText(json, QJsonDocument::Compact).size() <= 0xffff;
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

PeerReply Peer::ask(const QString& command, const QVariant& json, const QByteArray& data)
{
    PeerReply failure;
    const std::optional<int> number = numberOf(command, &failure);
    return number ? exchange(*number, json, data) : failure;
}

std::optional<int> Peer::numberOf(const QString& command, PeerReply* failure)
{
    bool isNumber = false;
    const int given = command.toInt(&isNumber);
    if (isNumber && given >= 0 && given <= 0xffff)
        return given;
    const Command* row = findCommand(command);
    if (row && row->port == kServicePort)
        return row->number;
    if (_numbers.isEmpty()) {
        *failure = commands();
        if (!failure->isAnswered || failure->code != 0)
            return {};
    }
    if (_numbers.contains(command))
        return _numbers.value(command);
    *failure = PeerReply();
    failure->isAnswered = true;
    failure->code = -1;
    failure->errorText = QStringLiteral("the peer has no command '%1'").arg(command);
    return {};
}

PeerReply Peer::commands()
{
    const PeerReply reply = exchange(numberInCatalogue("commands"), {}, {});
    const QVariantList rows = reply.map.value(QStringLiteral("commands")).toList();
    for (const QVariant& row : rows)
        _numbers.insert(row.toMap().value(QStringLiteral("name")).toString(),
                        row.toMap().value(QStringLiteral("number")).toInt());
    return reply;
}

/// Empty on success, else the sentence that tells why there is nobody to ask.
QString Peer::connectClient()
{
    if (_client)
        return {};
    QString address;
    const QString problem = resolvePeer(_options, &address);
    if (!problem.isEmpty())
        return problem;
    _client = std::make_unique<BlockTcpObject>();
    _client->init(address, _options.port);
    return {};
}

PeerReply Peer::exchange(int number, const QVariant& json, const QByteArray& data)
{
    const QString problem = connectClient();
    if (!problem.isEmpty())
        return unanswered(problem);
    GlobalOptions options = _options;
    options.timeoutMs = limitMs(number);
    _client->setWaitTimeout(options.timeoutMs);
    if (!_client->sendData(number, data, nextNumber(), json))
        return unanswered(noAnswerSentence(_client->lastError(), options));
    return takeReply();
}

PeerReply Peer::upload(const QByteArray& content, const std::function<void(qint64)>& onSent)
{
    const QString problem = connectClient();
    if (!problem.isEmpty())
        return unanswered(problem);
    const int uploadNumber = numberInCatalogue("upload");
    GlobalOptions options = _options;
    options.timeoutMs = limitMs(uploadNumber);
    const qint64 frameSize = content.size() + kHeaderSize;
    bool isStalled = false;
    QTimer stall;
    stall.setSingleShot(true);
    QObject::connect(&stall, &QTimer::timeout, _client.get(), [this, &isStalled] {
        isStalled = true;
        emit _client->sigFinished();
    });
    const auto progress = QObject::connect(_client.get(), &BlockTcpObject::sigWriteProgress, &stall,
                                           [&](qint64 value, qint64 max) {
                                               stall.start(options.timeoutMs);
                                               // Percent of the frame come the same way.
                                               if (max == frameSize)
                                                   onSent(qMax<qint64>(0, value - kHeaderSize));
                                           });
    stall.start(options.timeoutMs);
    _client->worker()->setPayloadSize(kUploadPiece);
    _client->setWaitTimeout(std::numeric_limits<int>::max());
    const bool isAnswered = _client->sendData(uploadNumber, content, nextNumber(), QVariant());
    QObject::disconnect(progress);
    _client->worker()->setPayloadSize(0);
    if (!isAnswered || isStalled)
        return unanswered(noAnswerSentence(
            isStalled ? QLatin1String(kTimeoutText) : _client->lastError(), options));
    return takeReply();
}

int Peer::limitMs(int number) const
{
    const Command* row = _options.isTimeoutGiven ? nullptr : findCommand(number);
    return row ? qMax(_options.timeoutMs, answerLimitMs(*row)) : _options.timeoutMs;
}

int Peer::nextNumber()
{
    _lastNumber = _lastNumber % 0xffff + 1;
    return _lastNumber;
}

PeerReply Peer::takeReply() const
{
    PeerReply reply = readReply(_client->receiveData(), _client->receiveMap());
    reply.json = _client->worker()->receiveJsonVar();
    return reply;
}

} // namespace ky
