#include "clients/BlockTcpObject.h"

#include "clients/BlockThreadTcp.h"

#include <QCoreApplication>
#include <QMetaMethod>
#include <QScopedValueRollback>
#include <QThread>
#include <QTimer>

namespace {

QString timeoutText()
{
    return QStringLiteral("Tcp requst timeout");
}

} // namespace

BlockTcpObject::BlockTcpObject(QObject* parent)
    : QObject(parent)
    , _worker(new BlockThreadTcp)
    , _timer(new QTimer(this))
    , _thread(new QThread)
{
    _timer->setSingleShot(true);
    connect(this, &BlockTcpObject::sigDisConnectTcp, _worker, &BlockThreadTcp::disconnectSocket);
    connect(this, &BlockTcpObject::sigSendData, this, &BlockTcpObject::passOnRequest);
    connect(_worker, &BlockThreadTcp::sigDisconnected, &_inbox, [this] { emit sigDisconnected(); });
    connect(_worker, &BlockThreadTcp::sigFinished, _worker, [this] { passOnEnd(); });
    connect(this, &BlockTcpObject::sigFinished, &_eventLoop, &QEventLoop::quit);
    connect(_thread, &QThread::finished, _worker, &QObject::deleteLater);
    connect(_timer, &QTimer::timeout, this, &BlockTcpObject::slotTimeout);
    connect(this, &BlockTcpObject::sigFinished, this, [this] {
        if (_exchange.end == End::None)
            _exchange.end = End::Worker;
    });
    _worker->moveToThread(_thread);
    _thread->start(QThread::InheritPriority);
}

BlockTcpObject::~BlockTcpObject()
{
    releaseThis();
}

void BlockTcpObject::connectNotify(const QMetaMethod& signal)
{
    if (!_worker)
        return;
    if (signal == QMetaMethod::fromSignal(&BlockTcpObject::sigWriteProgress) &&
        !_isWriteWatched.exchange(true))
        connect(_worker, &BlockThreadTcp::sigBytesWritten, &_inbox,
                [this](qint64 value, qint64 max) { emit sigWriteProgress(value, max); });
    if (signal == QMetaMethod::fromSignal(&BlockTcpObject::sigReadProgress) &&
        !_isReadWatched.exchange(true))
        connect(_worker, &BlockThreadTcp::sigProgressValue, &_inbox,
                [this](quint64 value, quint64 max) { emit sigReadProgress(value, max); });
}

void BlockTcpObject::init(const QString& ip, int port)
{
    if (!_worker)
        return;
    _worker->setIp(ip);
    _worker->setPort(quint16(port));
}

bool BlockTcpObject::sendData(const QVariant& commandVar, const QVariant& byteVar, int number,
                              const QVariant& jsonVar)
{
    // Not the event loop: that counts as ended as soon as it is told to quit, and slots still run
    // before this returns.
    if (_exchange.isInCall) {
        _lastError = QStringLiteral("Event loop is running");
        return false;
    }
    const QScopedValueRollback<bool> inCall(_exchange.isInCall, true);
    // What waits in the queue belongs to the calls before.
    QCoreApplication::sendPostedEvents(&_inbox, QEvent::MetaCall);
    if (!_worker) {
        _lastError = QStringLiteral("request: the client has been released");
        _isOk = false;
        return false;
    }
    _isOk = true;
    if (_exchange.end != End::Timeout)
        _exchange.settled = _exchange.sent;
    _exchange.end = End::None;
    _timer->start(_waitTimeout);
    emit sigSendData(commandVar, byteVar, number, jsonVar);
    if (_worker && _exchange.end == End::None)
        _eventLoop.exec();
    if (_timer)
        _timer->stop();
    if (_isOk)
        takeResult();
    else if (_exchange.end == End::Timeout)
        _lastError = timeoutText(); // a refused call in a slot of sigFinished() has left its own
    return _isOk;
}

/// One event with one function costs half of a queued slot with four arguments, each of which is
/// allocated by itself here and freed in the worker's thread.
void BlockTcpObject::passOnRequest(const QVariant& commandVar, const QVariant& byteVar, int number,
                                   const QVariant& jsonVar)
{
    const quint64 request = ++_exchange.sent;
    if (!_worker)
        return;
    const auto pass = [this, request, commandVar, byteVar, number, jsonVar] {
        begin(request, commandVar, byteVar, number, jsonVar);
    };
    QMetaObject::invokeMethod(_worker, pass, Qt::QueuedConnection);
}

/// In the worker's thread. A refused connection is told twice, the first time before the worker has
/// its own text for it. So an end that comes while the request is begun waits for that.
void BlockTcpObject::begin(quint64 request, const QVariant& commandVar, const QVariant& byteVar,
                           int number, const QVariant& jsonVar)
{
    _work.taken = request;
    _work.isBeginning = true;
    _worker->sendData(commandVar, byteVar, number, jsonVar);
    _work.isBeginning = false;
    for (; _work.heldEnds > 0; --_work.heldEnds)
        passOnEnd();
}

/// In the worker's thread. The second end of a request may come when the next exchange is already
/// waited for. It must not end that one; only the late end of an exchange that timed out does.
void BlockTcpObject::passOnEnd()
{
    if (_work.isBeginning) {
        ++_work.heldEnds;
        return;
    }
    const auto pass = [this, request = _work.taken] {
        if (request > _exchange.settled)
            emit sigFinished();
    };
    QMetaObject::invokeMethod(&_inbox, pass, Qt::QueuedConnection);
}

void BlockTcpObject::takeResult()
{
    // Without an end the wait was cut by releaseThis() or by the end of the thread's event loop,
    // and the worker has nothing to tell.
    if (!_worker || _exchange.end == End::None) {
        _isOk = false;
        _lastError = QStringLiteral("request: the wait was cut off");
        return;
    }
    _isOk = _worker->copyResult(_lastError, _receiveData, _receiveMap);
}

void BlockTcpObject::slotTimeout()
{
    if (_exchange.end != End::None)
        return;
    _receiveMap.insert(QStringLiteral("ret_code"), 404);
    _receiveMap.insert(QStringLiteral("msg"), QStringLiteral("timeout"));
    _lastError = timeoutText();
    _isOk = false;
    _exchange.end = End::Timeout;
    emit sigFinished();
}

void BlockTcpObject::releaseThis()
{
    if (_timer) {
        _timer->stop();
        delete _timer;
        _timer = nullptr;
    }
    if (_eventLoop.isRunning())
        _eventLoop.quit();
    if (!_thread)
        return;
    if (_thread->isRunning()) {
        _thread->quit();
        _thread->wait();
    }
    delete _thread;
    _thread = nullptr;
    _worker = nullptr;
}

BlockThreadTcp* BlockTcpObject::worker() const
{
    return _worker;
}

QString BlockTcpObject::lastError() const
{
    return _lastError;
}

void BlockTcpObject::setLastError(const QString& text)
{
    _lastError = text;
}

QVariantMap BlockTcpObject::receiveMap() const
{
    return _receiveMap;
}

void BlockTcpObject::setReceiveMap(const QVariantMap& map)
{
    _receiveMap = map;
}

QByteArray BlockTcpObject::receiveData() const
{
    return _receiveData;
}

void BlockTcpObject::setReceiveData(const QByteArray& data)
{
    _receiveData = data;
}

bool BlockTcpObject::isOk() const
{
    return _isOk;
}

void BlockTcpObject::setIsOk(bool isOk)
{
    _isOk = isOk;
}

int BlockTcpObject::waitTimeout() const
{
    return _waitTimeout;
}

void BlockTcpObject::setWaitTimeout(int limitMs)
{
    _waitTimeout = limitMs;
}
