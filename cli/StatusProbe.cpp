#include "cli/StatusProbe.h"

#include "cli/Peer.h"
#include "clients/SCStatusTcp.h"

#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <iterator>

namespace ky {

namespace {

// Words of the client that tell no cause: it takes the end of the connection for the end of the
// time, and noise ends nothing.
const QLatin1String kNoCauses[] = {QLatin1String("waitForBytesWritten: time out!"),
                                   QLatin1String("waitForReadyRead: time out!"),
                                   QLatin1String("Header Error !!!")};

} // namespace

StatusProbe::StatusProbe(const GlobalOptions& options)
    : _options(options)
    , _client(new SCStatusTcp(this))
{
    _clock.start();
}

int StatusProbe::remainingMs() const
{
    return int(qMax<qint64>(1, _options.timeoutMs - _clock.elapsed()));
}

QString StatusProbe::connectPeer()
{
    QString address;
    const QString problem = resolvePeer(_options, &address);
    if (!problem.isEmpty())
        return problem;
    _client->connectHost(address, _options.port);
    if (_client->tcpSocket()->waitForConnected(remainingMs()))
        return {};
    return noAnswerSentence(_client->tcpSocket()->errorString(), _options);
}

QString StatusProbe::send(quint16 command, const QByteArray& json, const QByteArray& data,
                          quint16 number)
{
    _client->setTimeOut(remainingMs());
    if (_client->writeTcpData(command, json, data, number))
        return {};
    return noAnswerSentence(reason(), _options);
}

QString StatusProbe::reason() const
{
    const QString words = _client->lastError();
    const bool isCause = !words.isEmpty() && std::find(std::begin(kNoCauses), std::end(kNoCauses),
                                                       words) == std::end(kNoCauses);
    if (isCause)
        return words;
    return _isConnected ? QString() : QStringLiteral("socketError:1");
}

bool StatusProbe::serve(const std::function<bool()>& isDone, int limitMs)
{
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(this, &StatusProbe::connectionEnded, &loop, &QEventLoop::quit);
    connect(_client, &SCStatusTcp::sigChangedText, &loop, [&] {
        if (isDone())
            loop.quit();
    });
    if (limitMs >= 0)
        limit.start(limitMs);
    if (_isConnected && !isDone())
        loop.exec();
    return _isConnected;
}

void StatusProbe::stateChanged(QAbstractSocket::SocketState state)
{
    const bool wasConnected = _isConnected;
    _isConnected = state == QAbstractSocket::ConnectedState;
    if (wasConnected && !_isConnected)
        emit connectionEnded();
}

void StatusProbe::receiveTcpError(QAbstractSocket::SocketError)
{
    // Whoever waits reads the socket's own words.
}

} // namespace ky
