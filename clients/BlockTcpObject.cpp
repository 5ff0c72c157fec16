#include "clients/BlockTcpObject.h"

#include "clients/BlockThreadTcp.h"

#include <QCoreApplication>
#include <QMetaMethod>
#include <QThread>
#include <QTimer>

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
    connect(this, &BlockTcpObject::sigFinished, this, [this] { _hasEnded = true; });
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
    if (_eventLoop.isRunning()) {
        _lastError = QStringLiteral("Event loop is running");
        return false;
    }
    QCoreApplication::sendPostedEvents(&_inbox, QEvent::MetaCall);
    if (!_worker) {
        _lastError = QStringLiteral("request: the client has been released");
        _isOk = false;
        return false;
    }
    _isOk = true;
    _hasEnded = false;
    if (!_hasTimedOut)
        _settled = _sent;
    _hasTimedOut = false;
    _timer->start(_waitTimeout);
    emit sigSendData(commandVar, byteVar, number, jsonVar);
    _eventLoop.exec();
    if (_timer)
        _timer->stop();
    if (_isOk)
        takeResult();
    return _isOk;
}

/// One event with one function costs half of a queued slot with four arguments, each of which is
/// allocated by itself here and freed in the worker's thread.
void BlockTcpObject::passOnRequest(const QVariant& commandVar, const QVariant& byteVar, int number,
                                   const QVariant& jsonVar)
{
    ++_sent;
    if (!_worker)
        return;
    const auto pass = [this, commandVar, byteVar, number, jsonVar] {
        ++_taken;
        _worker->sendData(commandVar, byteVar, number, jsonVar);
    };
    QMetaObject::invokeMethod(_worker, pass, Qt::QueuedConnection);
}

/// In the worker's thread. A refused connection is told twice, and the second end may come when the
/// next exchange is already waited for. It must not end that one; only the late end of an exchange
/// that timed out does.
void BlockTcpObject::passOnEnd()
{
    const auto pass = [this, exchange = _taken] {
        if (exchange > _settled)
            emit sigFinished();
    };
    QMetaObject::invokeMethod(&_inbox, pass, Qt::QueuedConnection);
}

void BlockTcpObject::takeResult()
{
    // Without the end of the exchange the wait was cut by releaseThis() or by the end of the
    // thread's event loop, and the worker has nothing to tell.
    if (!_worker || !_hasEnded) {
        _isOk = false;
        _lastError = QStringLiteral("request: the wait was cut off");
        return;
    }
    _isOk = _worker->getIsOk();
    if (!_isOk)
        _lastError = _worker->lastError();
    _receiveData = _worker->receiveData();
    _receiveMap = _worker->receiveMap();
}

void BlockTcpObject::slotTimeout()
{
    _receiveMap.insert(QStringLiteral("ret_code"), 404);
    _receiveMap.insert(QStringLiteral("msg"), QStringLiteral("timeout"));
    _lastError = QStringLiteral("Tcp requst timeout");
    _isOk = false;
    _hasTimedOut = true;
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
