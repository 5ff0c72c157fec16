// The receiving side of the blocking client: bytes in, result map out.
#include "clients/BlockThreadTcp.h"

#include "clients/ClientsLog.h"
#include "clients/Reply.h"
#include "clients/Texts.h"
#include "host/PublicClass.h"
#include "wire/FrameHead.h"
#include "wire/FrameWriter.h"
#include "wire/StreamBuffer.h"

#include <algorithm>
#include <new>

namespace {

constexpr quint16 kQuietReply = 11100; ///< answer of the silent command: no progress, no log
constexpr quint16 kShownMessage = 15125;
constexpr quint16 kFileCommand = 5101;
constexpr int kShownData = 1024;
constexpr qint64 kSmallRead = 1024; ///< cheaper to copy than to allocate the next block

QString lossText(char byte)
{
    return QStringLiteral("Network packet loss:%1").arg(ky::textUpToZero(QByteArray(1, byte)));
}

QString shownData(const ky::Reply& reply)
{
    if (reply.head.revCommand == kFileCommand)
        return QStringLiteral("This is a file");
    if (reply.data.size() <= kShownData)
        return ky::textUpToZero(reply.data);
    return QStringLiteral("The data area is too large to display");
}

/// All that is there. A large amount is asked for as such: the socket then hands over the block
/// that it read to. A small amount is copied, and the socket keeps its block for the next read.
QByteArray readArrived(QTcpSocket& socket)
{
    const qint64 size = socket.bytesAvailable();
    if (size > kSmallRead)
        return socket.read(size);
    QByteArray bytes(int(size), Qt::Uninitialized);
    bytes.truncate(int(std::max<qint64>(socket.read(bytes.data(), size), 0)));
    return bytes;
}

} // namespace

void BlockThreadTcp::takeArrived()
{
    try {
        resolveTcpReadData(readArrived(*_tcpSocket));
    } catch (const std::bad_alloc&) {
        giveUp();
    }
}

void BlockThreadTcp::resolveTcpReadData(const QByteArray& bytes)
{
    try {
        if (_readBuffer->append(bytes))
            takeFrames();
        else
            giveUp();
    } catch (const std::bad_alloc&) {
        giveUp();
    }
}

/// Where there is no memory for what the peer sends only its own connection may suffer. What fits
/// as bytes may still be too long for a text of it.
void BlockThreadTcp::giveUp()
{
    const qint64 held = _readBuffer->size() + (_tcpSocket ? _tcpSocket->bytesAvailable() : 0);
    disconnectSocket();
    fail(QStringLiteral("reply [%1 bytes and more]: no memory").arg(held));
}

void BlockThreadTcp::takeFrames()
{
    while (!_readBuffer->isEmpty() && !isNeedStop()) {
        // A lone sync byte is dropped, too: the version behind it is not there.
        if (!ky::startsFrame(_readBuffer->data(), _readBuffer->size())) {
            dropNoise();
            continue;
        }
        if (_readBuffer->size() < ky::kHeaderSize)
            break;
        const ky::FrameHead head = ky::readFrameHead(_readBuffer->data());
        if (head.dataSize > quint32(_readBuffer->size() - ky::kHeaderSize)) {
            reportProgress(head);
            break;
        }
        if (isNeedStop())
            break;
        takeFrame(head);
    }
}

/// Drops everything in front of the next frame, with a warning for each byte. While warnings are
/// off nothing is told, so that noise costs one search.
void BlockThreadTcp::dropNoise()
{
    const int count = ky::findNextFrame(_readBuffer->data(), _readBuffer->size());
    if (kyClientsLog().isWarningEnabled()) {
        for (int i = 0; i < count; ++i)
            KY_LOG_WARNING_AS(kyClientsLog, "resolveTcpReadData")
                << lossText(_readBuffer->data()[i]);
    }
    setLastError(lossText(_readBuffer->data()[count - 1]));
    _readBuffer->drop(count);
}

void BlockThreadTcp::reportProgress(const ky::FrameHead& head)
{
    if (head.type == kQuietReply)
        return;
    const int value = ky::progressOf(_readBuffer->size() - ky::kHeaderSize, head.dataSize);
    if (value <= _progressValue)
        return;
    _progressValue = value;
    emit sigProgressValue(quint64(value), 100);
}

void BlockThreadTcp::takeFrame(const ky::FrameHead& head)
{
    ky::Reply reply = ky::splitReply(head, _readBuffer->data());
    if (head.jsonSize != 0)
        KY_LOG_DEBUG_AS(kyClientsLog, "resolveTcpReadData")
            << ">>>>>>>>>>>>>>>>>>>>>>jsonSize:" << head.jsonSize << head.revCommand << head.type
            << "tempJsonData:" << QStringLiteral("[%1]").arg(ky::textUpToZero(reply.json));
    if (!reply.json.isEmpty())
        takeReceivedJson(reply.json);
    ky::judgeReply(reply, getIp(), getPort());
    logReply(reply);
    if (head.type == kShownMessage)
        emit sigShowMessage(PublicClass::init()->getJsonVariant(reply.data).toMap());
    _readBuffer->drop(ky::kHeaderSize + int(head.dataSize));
    _progressValue = -1;
    if (!isNeedStop())
        deliver(reply);
}

void BlockThreadTcp::logReply(const ky::Reply& reply) const
{
    if (!reply.warning.isEmpty()) {
        KY_LOG_WARNING_AS(kyClientsLog, "resolveTcpReadData") << reply.warning;
        return;
    }
    if (reply.head.type == kQuietReply)
        return;
    KY_LOG_INFO_AS(kyClientsLog, "resolveTcpReadData")
        << QStringLiteral("[%0]%1 Rev Server:Send:[%2]%3 [number:%4] Rev:%5 Data[size:%6B]: %7")
               .arg(reply.createdOn, _socketDebug, QString::number(reply.head.revCommand),
                    reply.map.value(QStringLiteral("sendCommandStr")).toString(),
                    QString::number(reply.head.number), QString::number(reply.head.type),
                    QString::number(reply.head.dataSize), shownData(reply));
}

/// The result stands before anyone is told. A reply to another request replaces it as well, but
/// does not end the exchange.
void BlockThreadTcp::deliver(const ky::Reply& reply)
{
    emit sigProgressValue(100, 100);
    {
        const QMutexLocker locker(&_mutex);
        _receiveData = reply.data;
        _receiveMap = reply.map;
    }
    if (reply.head.revCommand == _sentCommand && reply.head.number == _sentNumber)
        emit sigFinished();
}
