// The receive chain of a connection: bytes in, requests out.
#include "service/TcpSocket.h"

#include "host/PublicClass.h"
#include "service/ServiceLog.h"
#include "wire/FrameHead.h"

#include <QStringBuilder>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <new>
#include <poll.h>
#include <sys/socket.h>

namespace {

constexpr char kUploadFolder[] = "/ferno/temp/up";
constexpr char kUploadFile[] = "/upgrade.zip";
constexpr int kShownData = 1024;

static_assert(sizeof(VantHeader) == ky::kHeaderSize, "one header, whoever names it");

constexpr int kStreamChunk = 256 * 1024;
/// What the socket itself reads at each notice of an upload, into a block that it allocates anew:
/// the less, the more goes past it. This is the least block that it allocates.
constexpr qint64 kStreamHead = qint64(16) * 1024;
constexpr int kStreamReads = 16;
constexpr int kStreamWaitMs = 1;
/// A header may announce 4 GiB that never come: no more than this is set aside beforehand.
constexpr quint64 kMaxReserve = 1024 * 1024;

/// The decimal digits of a number, read as hexadecimal. The log has always shown it so.
QString digitsAsHex(int number)
{
    return QString::number(QString::number(number).toInt(nullptr, 16));
}

/// The warning for one byte of noise, which a bad peer sends by the million: composed by hand,
/// since a stream costs several times as much, and handed to the message logger as it stands.
void warnOfLoss(int left)
{
    const QMessageLogContext context(QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC,
                                     kyServiceLog().categoryName());
    const QString text = QLatin1String("[warning][resolveTcpReadData][Network packet loss: ") %
                         QString::number(left) % QLatin1String(" ]");
    qt_message_output(QtWarningMsg, context, text);
}

QString textUpToZero(const QByteArray& data)
{
    return QString::fromUtf8(data.constData());
}

} // namespace

quint16 TcpSocket::getJsonSize(const VantHeader* header)
{
    return qFromBigEndian(header->jsonSize);
}

quint16 TcpSocket::getRevCommand(const VantHeader* header)
{
    return qFromBigEndian(header->revCommand);
}

const char* TcpSocket::unread() const
{
    return _buffer.constData() + _consumed;
}

int TcpSocket::unreadSize() const
{
    return _buffer.size() - _consumed;
}

bool TcpSocket::isFrameComplete() const
{
    return _receivedSize >= _dataSize + ky::kHeaderSize;
}

/// Between two passes the buffer starts with what has not been consumed.
void TcpSocket::compactBuffer()
{
    if (_consumed >= _buffer.size())
        _buffer.clear();
    else if (_consumed > 0)
        _buffer.remove(0, _consumed);
    _consumed = 0;
}

/// Once header and JSON area of an upload are in the buffer, all that follows is the file's.
bool TcpSocket::isStreaming() const
{
    return _upgradeFile.isOpen() && _dataSize != 0 && !isNeedStop() &&
           unreadSize() == getJsonSize(_header) + ky::kHeaderSize;
}

/// False when it is more than a buffer can hold: announced sizes are trusted to the end.
bool TcpSocket::takeIn(const QByteArray& b)
{
    if (isStreaming()) {
        _upgradeFile.write(b);
        return true;
    }
    if (_buffer.size() > ky::kMaxFrame - b.size())
        return false;
    _buffer.append(b);
    return true;
}

/// Where there is no memory for what the peer sends only its own connection may suffer.
void TcpSocket::giveUp(const char* operation, qintptr handle, const char* what, quint64 size)
{
    KY_WARNING_AS(operation) << "[no memory for" << what << "of" << size
                             << "bytes, handle:" << handle << "]";
    _buffer = QByteArray();
    _consumed = 0;
    abort();
}

bool TcpSocket::resolveTcpReadData(qintptr handle, const QByteArray& b)
{
    try {
        if (takeIn(b))
            deliverFrames(handle, quint64(b.size()));
        else
            giveUp(__func__, handle, "a frame", _dataSize);
    } catch (const std::bad_alloc&) {
        giveUp(__func__, handle, "a frame", _dataSize);
    }
    return true;
}

void TcpSocket::deliverFrames(qintptr handle, quint64 incoming)
{
    while (unreadSize() > 0 && !isNeedStop()) {
        // The zero behind the last byte reads as byte 1: a lone sync byte at the end is dropped.
        if (unread()[0] != ky::kSync || unread()[1] != ky::kVersion) {
            dropToSync();
            continue;
        }
        if (_dataSize == 0 && unreadSize() >= ky::kHeaderSize) {
            takeHeader();
        } else {
            // Fewer than 16 bytes behind a delivered frame come here too, and count this read a
            // second time: the last header is then delivered again, and the rest is lost.
            if (_upgradeFile.isOpen())
                streamUpload();
            _receivedSize += incoming;
        }
        if (!isFrameComplete())
            break;
        resolveData(handle);
    }
    compactBuffer();
}

/// Reads the rest of what has arrived for an upload past the socket's own buffer, which is empty
/// by now: one copy less for each byte. A short wait for more costs less than a turn of the event
/// loop for each piece, where the socket reads the first of it itself. The end of the stream and
/// errors are left for the socket to find. It returns in time for the event loop to do other work.
/// Where there is no memory for the pieces the socket goes on alone.
void TcpSocket::readStream()
{
    try {
        _streamChunk.resize(kStreamChunk);
    } catch (const std::bad_alloc&) {
        return;
    }
    for (int i = 0; i < kStreamReads && isStreaming(); ++i) {
        pollfd more = {int(socketDescriptor()), POLLIN, 0};
        if (poll(&more, 1, kStreamWaitMs) <= 0)
            return;
        const ssize_t count =
            recv(more.fd, _streamChunk.data(), size_t(kStreamChunk), MSG_DONTWAIT);
        if (count <= 0)
            return;
        resolveTcpReadData(_intptr, QByteArray::fromRawData(_streamChunk.constData(), int(count)));
    }
}

/// Drops bytes until one can be a sync byte, at least one, with a warning for each. While warnings
/// are off nothing is told and nothing is asked, so that noise costs one search.
void TcpSocket::dropToSync()
{
    _dataSize = 0;
    const int end = _buffer.size();
    if (kyServiceLog().isWarningEnabled()) {
        ++_consumed;
        warnOfLoss(end - _consumed);
        return;
    }
    const void* sync = std::memchr(unread() + 1, ky::kSync, size_t(unreadSize() - 1));
    _consumed = sync ? int(static_cast<const char*>(sync) - _buffer.constData()) : end;
}

void TcpSocket::takeHeader()
{
    _receivedSize = quint64(unreadSize());
    std::memcpy(_header, unread(), sizeof *_header);
    _dataSize = qFromBigEndian(_header->dataSize);
    if (qFromBigEndian(_header->type) == ky::kUploadType && !_upgradeFile.isOpen())
        openUpload();
    else if (!isFrameComplete())
        _buffer.reserve(_consumed + int(std::min(_dataSize + ky::kHeaderSize, kMaxReserve)));
}

/// When the file does not open the upload travels the ordinary way, in memory.
void TcpSocket::openUpload()
{
    const QString folder = PublicClass::init()->dataDir + QLatin1String(kUploadFolder);
    PublicClass::init()->remakePath(folder);
    const QString path = folder + QLatin1String(kUploadFile);
    KY_DEBUG_AS("resolveTcpReadData") << "upgradeFilePath:" << path;
    _upgradeFile.setFileName(path);
    if (_upgradeFile.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        setReadBufferSize(kStreamHead);
}

/// Everything behind the JSON area goes to the file, so the buffer holds one read at most. What
/// the next frame has in the same read goes there as well.
void TcpSocket::streamUpload()
{
    const int keep = getJsonSize(_header) + ky::kHeaderSize;
    if (keep >= unreadSize())
        return;
    _upgradeFile.write(unread() + keep, unreadSize() - keep);
    _buffer.truncate(_consumed + keep);
}

void TcpSocket::finishUpload(qintptr handle)
{
    KY_DEBUG_AS("resolveData") << "Save File";
    const int jsonSize =
        std::min<int>(getJsonSize(_header), std::max(unreadSize() - ky::kHeaderSize, 0));
    const QVariant json = PublicClass::init()->getJsonVariant(
        QByteArray::fromRawData(unread() + ky::kHeaderSize, jsonSize));
    const int head = jsonSize + ky::kHeaderSize;
    _upgradeFile.write(unread() + head, unreadSize() - head);
    _upgradeFile.flush();
    _upgradeFile.close();
    setReadBufferSize(kReadChunk);
    _buffer.truncate(_consumed + head);
    _consumed += head;
    _dataSize = 0;
    _receivedSize = 0;
    setResolveClientData(handle, qFromBigEndian(_header->type), qFromBigEndian(_header->number),
                         json, QByteArray());
}

QVariant TcpSocket::takeJson(const char* area, int size) const
{
    const QByteArray text = QByteArray::fromRawData(area, size);
    KY_DEBUG_AS("resolveData") << ">>>>>>>>>>>>>>>>>>>>>>jsonSize:" << getJsonSize(_header)
                               << getRevCommand(_header) << qFromBigEndian(_header->type)
                               << "tempJsonData:"
                               << QStringLiteral("[%1]").arg(QString::fromUtf8(text));
    return PublicClass::init()->getJsonVariant(text);
}

void TcpSocket::resolveData(qintptr handle)
{
    if (_upgradeFile.isOpen()) {
        finishUpload(handle);
        return;
    }
    const quint16 type = qFromBigEndian(_header->type);
    const quint16 number = qFromBigEndian(_header->number);
    if (unreadSize() == ky::kHeaderSize) {
        setResolveClientData(handle, type, number, QVariant(), QByteArray());
    } else {
        const char* body = unread() + ky::kHeaderSize;
        const int bodySize =
            int(std::min<qint64>(qint64(_dataSize), std::max(unreadSize() - ky::kHeaderSize, 0)));
        const int jsonSize = std::min<int>(getJsonSize(_header), bodySize);
        QVariant json;
        if (getJsonSize(_header) != 0)
            json = takeJson(body, jsonSize);
        setResolveClientData(handle, type, number, json,
                             QByteArray(body + jsonSize, bodySize - jsonSize));
    }
    const quint64 frameSize = _dataSize + ky::kHeaderSize;
    _consumed += int(std::min(frameSize, quint64(unreadSize())));
    _dataSize = 0;
    _receivedSize = 0;
}

void TcpSocket::setResolveClientData(qintptr handle, quint16 type, quint16 number,
                                     const QVariant& json, const QByteArray& data)
{
    const auto answerType = ky::answerTypeOf(type);
    const QString name = CDString(type);
    KY_DEBUG << QStringLiteral(
                    "[Receive %0: 函数:%1 报文类型:%2 (%3)序号: %4 (%5)数据区size:%6: %7]")
                    .arg(getSocketDebugStr(), name, QString::number(type), digitsAsHex(type),
                         QString::number(number), digitsAsHex(number), QString::number(data.size()),
                         data.size() > kShownData ? QStringLiteral("数据区过大不显示")
                                                  : textUpToZero(data));
    if (!callRelay(name, handle, answerType, number, data, json))
        KY_WARNING << QStringLiteral("[QMetaObject::invokeMethod:%1 fail]").arg(name);
}
