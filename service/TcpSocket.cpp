#include "service/TcpSocket.h"

#include "host/SqliteClass.h"
#include "service/DirectWrite.h"
#include "service/ServiceLog.h"

#include <QHostAddress>

#include <new>

namespace {

constexpr int kWaitWriteMs = 15000;
constexpr int kServicePort = 19208;
constexpr char kRelayMethod[] =
    "slotRevInterface(QString,qintptr,quint16,quint16,QByteArray,QVariant)";

/// The look-up of names creates the table of the service port when the host has none. That write
/// must not meet a look-up in another thread, so it is done before the first connection runs.
const QMap<QString, int>& serviceCommands()
{
    static QMutex mutex;
    auto& tables = SqliteClass::init()->portCommands;
    const auto known = tables.constFind(kServicePort);
    if (known != tables.constEnd())
        return *known;
    const QMutexLocker locker(&mutex);
    return tables[kServicePort];
}

QMetaMethod relayMethodOf(const QObject* relayObject)
{
    if (!relayObject)
        return {};
    const QMetaObject* meta = relayObject->metaObject();
    return meta->method(meta->indexOfMethod(kRelayMethod));
}

/// What every connection relies on, done before the first one.
bool prepareProcess()
{
    qRegisterMetaType<qintptr>("qintptr");
    qRegisterMetaType<QAbstractSocket::SocketError>("QAbstractSocket::SocketError");
    return true;
}

} // namespace

TcpSocket::TcpSocket(QObject* parent)
    : QTcpSocket(parent)
    , _header(new VantHeader)
{
    static const bool isPrepared = prepareProcess();
    Q_UNUSED(isPrepared)
    serviceCommands();
    setReadBufferSize(kReadChunk);

    connect(this, &QIODevice::readyRead, this, &TcpSocket::slotReadyRead);
    connect(this, &QAbstractSocket::disconnected, this, &TcpSocket::slotDisconnected);
    connect(this, &QAbstractSocket::errorOccurred, this, &TcpSocket::slotError);
    connect(this, &TcpSocket::sigWrite, this, &TcpSocket::slotWrite);
    connect(this, &TcpSocket::sigWaitWrite, this, &TcpSocket::slotWaitWrite,
            Qt::BlockingQueuedConnection);
}

TcpSocket::~TcpSocket()
{
    delete _header;
    _header = nullptr;
    _thread = nullptr;
    // Neither the end of the connection nor what is still unread may reach a half-gone object.
    QObject::disconnect(this, nullptr, this, nullptr);
    abort();
}

qintptr TcpSocket::intptr() const
{
    return _intptr;
}

void TcpSocket::setIntptr(qintptr handle)
{
    _intptr = handle;
}

QThread* TcpSocket::thread() const
{
    return _thread;
}

void TcpSocket::setThread(QThread* thread)
{
    _thread = thread;
}

QObject* TcpSocket::relayObj() const
{
    const QMutexLocker locker(&_relayMutex);
    return _relayObj;
}

void TcpSocket::setRelayObj(QObject* relayObject)
{
    const QMetaMethod method = relayMethodOf(relayObject);
    const QMutexLocker locker(&_relayMutex);
    _relayObj = relayObject;
    _relayMethod = method;
}

bool TcpSocket::isNeedStop() const
{
    return _isNeedStop;
}

void TcpSocket::setIsNeedStop(bool isNeedStop)
{
    _isNeedStop = isNeedStop;
}

QVariantMap TcpSocket::peerInfo() const
{
    return _peerInfo;
}

void TcpSocket::updatePeerInfo()
{
    _peerInfo.insert(QStringLiteral("ip"), peerAddress().toString());
    _peerInfo.insert(QStringLiteral("port"), int(peerPort()));
    _peerInfo.insert(QStringLiteral("name"), peerName());
    _isDirect = ky::leadsToPeer(*this);
}

QString TcpSocket::getSocketDebugStr() const
{
    const QString reason = error() == UnknownSocketError ? QStringLiteral("none") : errorString();
    return QStringLiteral(" Local:%1:%2 Server:%3:%4 Tcp:%5")
        .arg(localAddress().toString(), QString::number(localPort()), peerAddress().toString(),
             QString::number(peerPort()), reason);
}

QString TcpSocket::CDString(int command) const
{
    return serviceCommands().key(command);
}

void TcpSocket::write2Client(const QByteArray& message)
{
    emit sigWrite(message);
}

void TcpSocket::write2Server(const QByteArray& message)
{
    emit sigWrite(message);
}

bool TcpSocket::waitWrite2Client(const QByteArray& message)
{
    emit sigWaitWrite(message);
    return true;
}

bool TcpSocket::callRelay(const QString& name, qintptr handle, quint16 answerType, quint16 number,
                          const QByteArray& data, const QVariant& json)
{
    const QMutexLocker locker(&_relayMutex);
    // The same queued call, with its arguments in one piece: by type names each would be looked up,
    // made and destroyed by itself.
    if (_relayMethod.isValid())
        return QMetaObject::invokeMethod(
            _relayObj,
            [relay = _relayObj, method = _relayMethod, name, handle, answerType, number, data,
             json] {
                method.invoke(relay, Qt::DirectConnection, Q_ARG(QString, name),
                              Q_ARG(qintptr, handle), Q_ARG(quint16, answerType),
                              Q_ARG(quint16, number), Q_ARG(QByteArray, data),
                              Q_ARG(QVariant, json));
            },
            Qt::QueuedConnection);
    return QMetaObject::invokeMethod(_relayObj, "slotRevInterface", Qt::QueuedConnection,
                                     Q_ARG(QString, name), Q_ARG(qintptr, handle),
                                     Q_ARG(quint16, answerType), Q_ARG(quint16, number),
                                     Q_ARG(QByteArray, data), Q_ARG(QVariant, json));
}

void TcpSocket::slotDisconnected()
{
    _isEndAnnounced = true;
    emit disconnected(_intptr);
}

void TcpSocket::slotReadyRead()
{
    // Asked for all that is there, the socket hands over the block that it read to: nothing is
    // copied, and an idle connection holds no block.
    const qint64 size = bytesAvailable();
    try {
        resolveTcpReadData(_intptr, read(size));
        if (_isDirect && isStreaming())
            readStream();
    } catch (const std::bad_alloc&) {
        giveUp(__func__, _intptr, "a read", quint64(size));
    }
    if (!_upgradeFile.isOpen())
        _streamChunk.clear();
}

void TcpSocket::slotError(QAbstractSocket::SocketError socketError)
{
    KY_WARNING << "[socket_id:" << _intptr << "socketError:" << socketError << "]";
}

void TcpSocket::slotWaitWrite(QByteArray message)
{
    keepForWriting(__func__, message.constData(), message.size());
    // False also when flush() has left nothing to wait for: the text is then set all the same.
    if (!waitForBytesWritten(kWaitWriteMs))
        setErrorString(QStringLiteral("waitForBytesWritten:timeout:15s"));
    emit sigFinished();
}

/// An answer goes to the kernel as it is. What the kernel does not take, or refuses, goes through
/// the socket's buffer: the socket waits for room, and tells an error.
void TcpSocket::slotWrite(QByteArray message)
{
    const int taken = _isDirect ? ky::writeAtOnce(*this, message) : 0;
    if (taken < message.size())
        keepForWriting(__func__, message.constData() + taken, message.size() - taken);
}

/// The socket keeps a copy of what the kernel does not take at once. Where there is no memory for
/// it only this connection may suffer.
void TcpSocket::keepForWriting(const char* operation, const char* bytes, int size)
{
    try {
        write(bytes, size);
        flush();
    } catch (const std::bad_alloc&) {
        giveUp(operation, _intptr, "an answer", quint64(size));
    }
}
