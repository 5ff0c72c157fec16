// The receive chain of a connection: what the receive rules tell becomes files, lines and requests.
#include "service/TcpSocket.h"

#include "host/PublicClass.h"
#include "service/ReceiveRules.h"
#include "service/ServiceLog.h"
#include "wire/FrameHead.h"

#include <QStringBuilder>
#include <QtEndian>

#include <new>
#include <poll.h>
#include <sys/socket.h>

namespace {

constexpr char kUploadFolder[] = "/ferno/temp/up";
constexpr char kUploadFile[] = "/upgrade.zip";
constexpr int kShownData = 1024;

constexpr int kStreamChunk = 256 * 1024;
/// What the socket itself reads at each notice of an upload, into a block that it allocates anew:
/// the less, the more goes past it. This is the least block that it allocates.
constexpr qint64 kStreamHead = qint64(16) * 1024;
constexpr int kStreamReads = 16;
constexpr int kStreamWaitMs = 1;

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

/// The same bytes, not copied: they have to outlive what is returned.
QByteArray viewOf(std::string_view bytes)
{
    return QByteArray::fromRawData(bytes.data(), int(bytes.size()));
}

} // namespace

/// What the receive rules tell during one call, for the connection that it came in on.
class TcpSocket::Receiver final : public ky::ReceiveListener
{
public:
    Receiver(TcpSocket& socket, qintptr handle)
        : _socket(socket)
        , _handle(handle)
    {}

    ky::ReceiveRules rules()
    {
        return {{_socket._buffer, _socket._consumed, *_socket._header, _socket._dataSize,
                 _socket._receivedSize, _socket._isNeedStop},
                *this};
    }

    void deliver(const ky::ReceivedRequest& request) override
    {
        QVariant json;
        if (request.json)
            json = _socket.takeJson(viewOf(*request.json));
        _socket.setResolveClientData(_handle, request.type, request.number, json,
                                     {request.data.data(), int(request.data.size())});
    }

    int skip(int count, int left) override;

    bool isUploadOpen() const override { return _socket._upgradeFile.isOpen(); }

    void openUpload() override { _socket.openUpload(); }

    void writeUpload(std::string_view bytes) override
    {
        _socket._upgradeFile.write(bytes.data(), qint64(bytes.size()));
    }

    void finishUpload(std::string_view bytes) override
    {
        KY_DEBUG_AS("resolveData") << "Save File";
        writeUpload(bytes);
        _socket._upgradeFile.flush();
        _socket._upgradeFile.close();
        _socket.setReadBufferSize(kReadChunk);
    }

    void deliverUpload(quint16 type, quint16 number, const QByteArray& json) override
    {
        _socket.setResolveClientData(_handle, type, number,
                                     PublicClass::init()->getJsonVariant(json), QByteArray());
    }

    void outOfMemory(quint64 bodySize) override
    {
        _socket.giveUp("resolveTcpReadData", _handle, "a frame", bodySize);
    }

private:
    TcpSocket& _socket;
    const qintptr _handle;
};

/// One warning for each byte. While warnings are off nothing is told and nothing more is asked.
int TcpSocket::Receiver::skip(int count, int left)
{
    for (int skipped = 0; skipped < count;) {
        if (!kyServiceLog().isWarningEnabled())
            return count;
        ++skipped;
        warnOfLoss(left - skipped);
        if (_socket.isNeedStop())
            return skipped;
    }
    return count;
}

quint16 TcpSocket::getJsonSize(const VantHeader* header)
{
    return qFromBigEndian(header->jsonSize);
}

quint16 TcpSocket::getRevCommand(const VantHeader* header)
{
    return qFromBigEndian(header->revCommand);
}

bool TcpSocket::isStreaming()
{
    return Receiver(*this, _intptr).rules().isStreaming();
}

/// Where there is no memory for a connection's bytes only that connection may suffer. Its memory is
/// given back before the line is composed, which may need what is left.
void TcpSocket::giveUp(const char* operation, qintptr handle, const char* what, quint64 size)
{
    _buffer = QByteArray();
    _consumed = 0;
    abort();
    try {
        KY_WARNING_AS(operation) << "[no memory for" << what << "of" << size
                                 << "bytes, handle:" << handle << "]";
    } catch (const std::bad_alloc&) {
        // Not even for that.
    }
}

bool TcpSocket::resolveTcpReadData(qintptr handle, const QByteArray& b)
{
    Receiver(*this, handle).rules().take(b);
    return true;
}

void TcpSocket::resolveData(qintptr handle)
{
    Receiver(*this, handle).rules().deliverFrame();
}

/// Reads the rest of what has arrived for an upload past the socket's own buffer, which is empty
/// by now: one copy less for each byte. A short wait for more costs less than a turn of the event
/// loop for each piece, where the socket reads the first of it itself. The end of the stream and
/// errors are left for the socket to find. It returns in time for the event loop to do other work.
/// Without memory for the pieces the upload goes through the socket's buffer, as before.
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

QVariant TcpSocket::takeJson(const QByteArray& text) const
{
    KY_DEBUG_AS("resolveData") << ">>>>>>>>>>>>>>>>>>>>>>jsonSize:" << getJsonSize(_header)
                               << getRevCommand(_header) << qFromBigEndian(_header->type)
                               << "tempJsonData:"
                               << QStringLiteral("[%1]").arg(QString::fromUtf8(text));
    return PublicClass::init()->getJsonVariant(text);
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
