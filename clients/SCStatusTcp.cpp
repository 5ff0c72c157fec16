#include "clients/SCStatusTcp.h"

#include "clients/ClientsLog.h"
#include "clients/Reply.h"
#include "clients/StatusReport.h"
#include "clients/Texts.h"
#include "wire/FrameHead.h"
#include "wire/FrameWriter.h"
#include "wire/StreamBuffer.h"

#include <QDateTime>
#include <QMetaMethod>

#include <new>
#include <utility>

namespace {

constexpr int kMsPerDay = 24 * 60 * 60 * 1000;

/// `text` with the size, or `plain`, which allocates nothing, where even that finds no memory.
QString noMemoryText(const QString& text, qint64 size, const QString& plain)
{
    try {
        return text.arg(size);
    } catch (const std::bad_alloc&) {
        return plain;
    }
}

} // namespace

SCStatusTcp::SCStatusTcp(QObject* parent)
    : QObject(parent)
{}

SCStatusTcp::~SCStatusTcp()
{
    releaseTcpSocket();
    delete _tcpSocket;
}

bool SCStatusTcp::connectHost(const QString& ip, quint16 port)
{
    if (!_tcpSocket)
        makeSocket();
    const QAbstractSocket::SocketState state = _tcpSocket->state();
    const bool isConnected = _tcpSocket->isOpen() && (state == QAbstractSocket::ConnectedState ||
                                                      state == QAbstractSocket::ConnectingState);
    if (isConnected) {
        _tcpSocket->close();
        _tcpSocket->abort();
        KY_DEBUG << "----close _tcpSocket----\n";
    } else {
        _tcpSocket->connectToHost(ip, port, QIODevice::ReadWrite, QAbstractSocket::IPv4Protocol);
        _ip = ip;
        _port = port;
    }
    if (_tcpSocket->isOpen())
        _tcpSocket->readAll();
    return isConnected;
}

void SCStatusTcp::makeSocket()
{
    _tcpSocket = new QTcpSocket(this);
    connect(_tcpSocket, &QTcpSocket::readyRead, this, &SCStatusTcp::receiveTcpReadyRead);
    // Looked up by name: the owner may be any class.
    connect(_tcpSocket, SIGNAL(stateChanged(QAbstractSocket::SocketState)), parent(),
            SLOT(stateChanged(QAbstractSocket::SocketState)));
    connect(_tcpSocket, SIGNAL(error(QAbstractSocket::SocketError)), parent(),
            SLOT(receiveTcpError(QAbstractSocket::SocketError)));
    connect(_tcpSocket, &QTcpSocket::connected, _tcpSocket,
            [this] { _tcpSocket->setSocketOption(QAbstractSocket::LowDelayOption, 1); });
}

bool SCStatusTcp::writeTcpData(quint16 command, const QByteArray& json, const QByteArray& data,
                               quint16& number)
{
    _sentCommand = command;
    _sentNumber = number;
    _time = QTime::currentTime();
    _isAnswerLost = false;
    try {
        if (!sendRequest(json, data))
            return false;
    } catch (const std::bad_alloc&) {
        _lastError = noMemoryText(QStringLiteral("request [%1 bytes]: no memory"),
                                  ky::kHeaderSize + qint64(json.size()) + data.size(),
                                  QStringLiteral("request: no memory"));
        return false;
    }
    try {
        KY_DEBUG << "TCP:_timeOut:" << _timeOut;
        return _timeOut == 0 || waitForAnswer();
    } catch (const std::bad_alloc&) {
        // The socket itself found no room for what came.
        giveUp(_lastMessage.size());
        return false;
    }
}

/// Leaves the frame with the socket as a whole, or not at all.
bool SCStatusTcp::sendRequest(const QByteArray& json, const QByteArray& data)
{
    const QByteArray frame =
        ky::buildFrame(quint16(_sentCommand), quint16(_sentNumber), json, data);
    if (frame.isEmpty() || !_tcpSocket) {
        _lastError = frame.isEmpty() ? QStringLiteral("request: larger than a frame can be")
                                     : QStringLiteral("request: no connection");
        return false;
    }
    reportRequest(frame, json, data);
    _tcpSocket->write(frame);
    return true;
}

void SCStatusTcp::reportRequest(const QByteArray& frame, const QByteArray& json,
                                const QByteArray& data)
{
    KY_LOG_DEBUG_AS(kyClientsLog, "writeTcpData") << "j:" << json;
    KY_LOG_DEBUG_AS(kyClientsLog, "writeTcpData")
        << "send:" << ky::textUpToZero(frame) << "  Hex:" << ky::hexOf(frame)
        << "vantData:size:" << frame.size();
    if (isReportRead())
        emit sigPrintInfo(ky::requestReport(getCurrentDateTime(), _port, frame, json, data));
}

bool SCStatusTcp::waitForAnswer()
{
    if (!_tcpSocket->waitForBytesWritten(_timeOut))
        return failWait(QStringLiteral("waitForBytesWritten: time out!"));
    if (_isAnswerLost || !_tcpSocket->waitForReadyRead(_timeOut))
        return failWait(QStringLiteral("waitForReadyRead: time out!"));
    return !_isAnswerLost;
}

/// An answer comes inside the waits. Giving one up ends them, and has told its own reason.
bool SCStatusTcp::failWait(const QString& text)
{
    if (!_isAnswerLost)
        _lastError = text;
    return false;
}

void SCStatusTcp::receiveTcpReadyRead()
{
    if (!_tcpSocket)
        return;
    // What is kept always starts with a sync byte, so it is whole again, or part of a frame that
    // has been reported, before the first byte can be dropped.
    QByteArray message = std::exchange(_lastMessage, QByteArray());
    try {
        if (ky::appendWithin(message, _tcpSocket->readAll()))
            takeIn(message);
        else
            giveUp(message.size());
    } catch (const std::bad_alloc&) {
        giveUp(message.size());
    }
}

/// Only the connection of the peer that sends so much may suffer.
void SCStatusTcp::giveUp(int held)
{
    _lastMessage.clear();
    _isAnswerLost = true;
    _tcpSocket->abort();
    _lastError = noMemoryText(QStringLiteral("answer [%1 bytes and more]: no memory"), held,
                              QStringLiteral("answer: no memory"));
}

void SCStatusTcp::takeIn(QByteArray& message)
{
    int at = 0;
    while (at < message.size()) {
        if (message[at] != ky::kSync) {
            _lastError = QStringLiteral("Header Error !!!");
            ++at;
            emit sigChangedText(false, int(_sentCommand), _lastMessage, _lastMessage.toHex(), 0,
                                elapsedMs());
            continue;
        }
        const int buffered = message.size() - at;
        if (buffered < ky::kHeaderSize)
            break;
        const quint32 size = ky::readFrameHead(message.constData() + at).dataSize;
        if (size > quint32(buffered - ky::kHeaderSize))
            break;
        reportFrame(message.constData() + at, buffered);
        at += ky::kHeaderSize + int(size);
    }
    if (at > 0)
        message.remove(0, at);
    _lastMessage = message;
}

void SCStatusTcp::reportFrame(const char* frame, int buffered)
{
    const ky::Reply reply = ky::splitReply(ky::readFrameHead(frame), frame);
    const QByteArray hex = ky::hexOf(reply.data);
    KY_LOG_DEBUG_AS(kyClientsLog, "receiveTcpReadyRead")
        << ">>>>>>>>>>>>>>>>>>>>>>jsonSize:" << reply.head.jsonSize
        << "tempJsonData:" << QStringLiteral("[%1]").arg(ky::textUpToZero(reply.json));
    KY_LOG_DEBUG_AS(kyClientsLog, "receiveTcpReadyRead")
        << "jsonData:" << reply.json << "revByteData:" << reply.data << "  Hex:" << hex;
    if (isReportRead())
        printResponse(QByteArray(frame, ky::kHeaderSize), reply.json, reply.data, buffered);
    emit sigChangedText(true, reply.head.type, reply.data, hex, reply.head.number, elapsedMs());
}

void SCStatusTcp::printResponse(const QByteArray& head, const QByteArray& json,
                                const QByteArray& data, int buffered)
{
    // The notice depends on everything that is buffered, so a short frame in front of a long one
    // gets it, too.
    const QString dataHex = ky::dataHexText(data, buffered);
    emit sigPrintInfo(ky::responseReport(getCurrentDateTime(), head, json, data, dataHex));
}

/// A report costs several times what its frame does: without a reader none is made.
bool SCStatusTcp::isReportRead() const
{
    static const QMetaMethod report = QMetaMethod::fromSignal(&SCStatusTcp::sigPrintInfo);
    return isSignalConnected(report);
}

void SCStatusTcp::releaseTcpSocket()
{
    if (!_tcpSocket)
        return;
    if (_tcpSocket->isOpen())
        _tcpSocket->close();
    _tcpSocket->abort();
}

int SCStatusTcp::elapsedMs() const
{
    if (!_time.isValid())
        return 0;
    const int ms = _time.msecsTo(QTime::currentTime());
    return ms < 0 ? ms + kMsPerDay : ms;
}

QString SCStatusTcp::getCurrentDateTime() const
{
    return QDateTime::currentDateTime().toString(QStringLiteral("[yyyyMMdd|hh:mm:ss:zzz]:"));
}

QString SCStatusTcp::hexToQString(const QByteArray& hex) const
{
    return QString::fromLatin1(hex).toUpper();
}

int SCStatusTcp::getTimeOut() const
{
    return _timeOut;
}

void SCStatusTcp::setTimeOut(int limitMs)
{
    _timeOut = limitMs;
}

QTcpSocket* SCStatusTcp::tcpSocket() const
{
    return _tcpSocket;
}

QTime SCStatusTcp::time() const
{
    return _time;
}

QString SCStatusTcp::lastError() const
{
    return _lastError;
}

void SCStatusTcp::setLastError(const QString& text)
{
    _lastError = text;
}
