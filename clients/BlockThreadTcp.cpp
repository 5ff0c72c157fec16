// The sending side of the blocking client: connection, frame, chunks.
#include "clients/BlockThreadTcp.h"

#include "clients/ClientsLog.h"
#include "clients/Reply.h"
#include "clients/Texts.h"
#include "host/PublicClass.h"
#include "host/SqliteClass.h"
#include "service/DirectWrite.h"
#include "support/HostLimits.h"
#include "wire/FrameHead.h"
#include "wire/FrameWriter.h"
#include "wire/StreamBuffer.h"

#include <QHostAddress>
#include <QNetworkProxy>

#include <algorithm>
#include <new>

namespace {

constexpr int kConnectLimitMs = ky::limits::kPeerConnectMs;
constexpr int kSilentCommand = 1100; ///< asked so often that its log line would hide all others
constexpr int kLongFrame = 10001;    ///< frames from this size on are logged without their data

/// The bytes of a JSON or data area as the caller gave it.
QByteArray areaBytes(const QVariant& area)
{
    switch (area.userType()) {
    case QMetaType::QByteArray:
        return area.toByteArray();
    case QMetaType::QVariantMap:
        return PublicClass::init()->qVariantToByteArray(area, QJsonDocument::Compact);
    case QMetaType::QVariantList:
        return QJsonDocument::fromVariant(area).toJson(QJsonDocument::Compact);
    default:
        return {};
    }
}

} // namespace

BlockThreadTcp::BlockThreadTcp(QObject* parent)
    : QObject(parent)
    , _readBuffer(std::make_unique<ky::StreamBuffer>())
{
    qRegisterMetaType<QAbstractSocket::SocketError>();
}

BlockThreadTcp::~BlockThreadTcp()
{
    if (!_tcpSocket)
        return;
    _tcpSocket->blockSignals(true);
    _tcpSocket->abort();
    delete _tcpSocket;
}

void BlockThreadTcp::sendData(const QVariant& commandVar, const QVariant& byteVar, int number,
                              const QVariant& jsonVar)
{
    setNeedStop(false);
    clearResult();

    connectSocket(getIp(), getPort());
    if (!getIsOk()) {
        emit sigFinished();
        return;
    }
    try {
        if (sendRequest(commandVar, byteVar, number, jsonVar))
            return;
    } catch (const std::bad_alloc&) {
        dropRequest();
        return;
    }
    setIsOk(false);
    emit sigFinished();
}

bool BlockThreadTcp::sendRequest(const QVariant& commandVar, const QVariant& byteVar, int number,
                                 const QVariant& jsonVar)
{
    QByteArray frame;
    if (!getSendData(jsonVar, byteVar, commandVar, number, frame))
        return false;
    if (payloadSize() == 0)
        writeWhole(frame);
    else
        writeInChunks(frame);
    return true;
}

/// Where there is no memory for a request. A part of it may be out, and the peer would take what
/// follows for the rest of it, so its connection goes.
void BlockThreadTcp::dropRequest()
{
    _writeBuffer.clear();
    _writePosition = 0;
    disconnectSocket();
    setFailure(QStringLiteral("request: no memory"));
    emit sigFinished();
}

void BlockThreadTcp::connectSocket(const QString& ip, int port)
{
    if (_tcpSocket && _tcpSocket->state() == QAbstractSocket::ConnectedState) {
        KY_DEBUG << "IP:" << ip << "port:" << port
                 << "peer:" << _tcpSocket->peerAddress().toString() << _tcpSocket->peerPort();
        if (_peerAddress != ip || _tcpSocket->peerPort() != port) {
            _tcpSocket->abort();
            _readBuffer->clear();
        }
    }
    setIp(ip);
    setPort(quint16(port));
    if (!_tcpSocket)
        makeSocket();
    if (_tcpSocket->state() != QAbstractSocket::ConnectedState)
        openConnection();
}

void BlockThreadTcp::makeSocket()
{
    _tcpSocket = new QTcpSocket;
    _tcpSocket->setProxy(
        QNetworkProxy(QNetworkProxy::DefaultProxy, QString(), 0, QString(), QString()));
    connect(_tcpSocket, &QTcpSocket::bytesWritten, this, &BlockThreadTcp::slotBytesWritten);
    connect(_tcpSocket, &QTcpSocket::readyRead, this, [this] { takeArrived(); });
    connect(_tcpSocket, &QTcpSocket::disconnected, this, [this] { emit sigDisconnected(); });
    connect(_tcpSocket, &QAbstractSocket::errorOccurred, this, &BlockThreadTcp::slotError);
}

void BlockThreadTcp::openConnection()
{
    _tcpSocket->connectToHost(getIp(), getPort(), QIODevice::ReadWrite,
                              QAbstractSocket::IPv4Protocol);
    if (_tcpSocket->waitForConnected(kConnectLimitMs)) {
        // Without it the second of two small writes waits for the peer's delayed acknowledgement.
        _tcpSocket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        _peerAddress = _tcpSocket->peerAddress().toString();
        _isDirect = ky::leadsToPeer(*_tcpSocket);
        _socketDebug = getTcpSocketDebug();
        return;
    }
    setFailure(
        QStringLiteral("TcpSocket.waitForConnected error:%1").arg(_tcpSocket->errorString()));
}

void BlockThreadTcp::disconnectSocket()
{
    if (_tcpSocket)
        _tcpSocket->abort();
    _readBuffer->clear();
}

QString BlockThreadTcp::getTcpSocketDebug() const
{
    const bool hasError = _tcpSocket && _tcpSocket->error() != QAbstractSocket::UnknownSocketError;
    return QStringLiteral("[Local:%1:%2][Server:%3:%4][Tcp:%5]")
        .arg(_tcpSocket ? _tcpSocket->localAddress().toString() : QString(),
             QString::number(_tcpSocket ? _tcpSocket->localPort() : 0), getIp(),
             QString::number(getPort()),
             hasError ? _tcpSocket->errorString() : QStringLiteral("none"));
}

QAbstractSocket::SocketState BlockThreadTcp::getTcpSocketState() const
{
    return _tcpSocket && _tcpSocket->isOpen() ? _tcpSocket->state()
                                              : QAbstractSocket::UnconnectedState;
}

bool BlockThreadTcp::getSendData(const QVariant& jsonVar, const QVariant& byteVar,
                                 const QVariant& commandVar, int number, QByteArray& out)
{
    int command = 0;
    if (commandVar.userType() == QMetaType::Int) {
        command = commandVar.toInt();
    } else if (commandVar.userType() == QMetaType::QString) {
        command = SqliteClass::init()->commandInt(getPort(), commandVar.toString());
        if (command == 0) {
            setLastError(SqliteClass::init()->getLastError());
            return false;
        }
    }
    const QByteArray json = areaBytes(jsonVar);
    const QByteArray data = areaBytes(byteVar);
    out = getSendData2(json, data, quint16(command), quint16(number));
    if (out.isEmpty()) {
        setLastError(QStringLiteral("Error:Send data is empty"));
        return false;
    }
    if (command != kSilentCommand && out.size() > ky::kHeaderSize)
        KY_DEBUG << "head.toHex:" << out.left(ky::kHeaderSize).toHex();
    if (command != kSilentCommand)
        logSent(command, number, out.size(), data);
    return true;
}

void BlockThreadTcp::logSent(int command, int number, int frameSize, const QByteArray& data) const
{
    if (!kyClientsLog().isInfoEnabled())
        return;
    const QString name = SqliteClass::init()->commandString(getPort(), command);
    QString line = QStringLiteral("%1 Send:[%2]%3 [number:%4] Size:%5B")
                       .arg(getTcpSocketDebug(), QString::number(command), name,
                            QString::number(number), QString::number(frameSize));
    if (frameSize < kLongFrame)
        line += QLatin1String(" Data:") + ky::textUpToZero(data);
    KY_LOG_INFO_AS(kyClientsLog, "getSendData") << line;
}

QByteArray BlockThreadTcp::getSendData2(const QByteArray& json, const QByteArray& data,
                                        quint16 command, quint16 number)
{
    _sentCommand = command;
    _sentNumber = number;
    return ky::buildFrame(command, number, json, data);
}

void BlockThreadTcp::writeWhole(const QByteArray& frame)
{
    const int taken = _isDirect ? ky::writeAtOnce(*_tcpSocket, frame) : 0;
    if (taken == frame.size()) {
        _totalBytes = taken;
        slotBytesWritten(taken);
        return;
    }
    // What the kernel did not take, or refused: the socket waits for room, and tells an error.
    const qint64 rest = _tcpSocket->write(frame.constData() + taken, frame.size() - taken);
    _totalBytes = rest < 0 ? rest : taken + rest;
    _tcpSocket->flush();
}

void BlockThreadTcp::writeInChunks(const QByteArray& frame)
{
    _writeBuffer = frame;
    _writePosition = 0;
    _totalBytes = frame.size();
    _progressValue = -1;
    writeChunk();
}

qint64 BlockThreadTcp::unwritten() const
{
    return _writeBuffer.size() - _writePosition;
}

/// Gives the socket the next chunk, or what is left of the frame.
void BlockThreadTcp::writeChunk()
{
    const auto size = qint64(std::min(quint64(unwritten()), payloadSize()));
    const char* chunk = _writeBuffer.constData() + _writePosition;
    _writePosition += int(size);
    _tcpSocket->write(chunk, size);
    if (unwritten() > 0)
        return;
    _writeBuffer.clear();
    _writePosition = 0;
}

void BlockThreadTcp::slotBytesWritten(qint64)
{
    try {
        tellWritten();
    } catch (const std::bad_alloc&) {
        dropRequest();
    }
}

/// Tells how far the frame is, and goes on with it.
void BlockThreadTcp::tellWritten()
{
    const qint64 sent = _totalBytes - unwritten();
    emit sigBytesWritten(sent, _totalBytes);
    if (unwritten() > 0) {
        writeChunk();
        // Total over sent: the first value is at least 99, and the later ones, being smaller, are
        // not told. Consumers take the 100 below for the end.
        const int value = ky::progressOf(double(_totalBytes), double(sent));
        if (value > _progressValue) {
            _progressValue = value;
            emit sigBytesWritten(value, 100);
        }
    }
    if (unwritten() == 0)
        emit sigBytesWritten(100, 100);
}

void BlockThreadTcp::slotError(QAbstractSocket::SocketError error)
{
    fail(QStringLiteral("socketError:%1").arg(int(error)));
}

void BlockThreadTcp::fail(const QString& text)
{
    {
        const QMutexLocker locker(&_mutex);
        _receiveMap.insert(QStringLiteral("ret_code"), 404);
        _receiveMap.insert(QStringLiteral("msg"), text);
        _lastError = text;
        _isOk = false;
    }
    _readBuffer->clear();
    emit sigFinished();
}
