// What the owner's thread reads and sets of the blocking client.
#include "clients/BlockThreadTcp.h"

#include "host/PublicClass.h"

bool BlockThreadTcp::getIsOk() const
{
    const QMutexLocker locker(&_mutex);
    return _isOk;
}

void BlockThreadTcp::setIsOk(bool isOk)
{
    const QMutexLocker locker(&_mutex);
    _isOk = isOk;
}

/// The whole result of one moment. The last error is taken of a failure only.
bool BlockThreadTcp::copyResult(QString& lastError, QByteArray& data, QVariantMap& map) const
{
    const QMutexLocker locker(&_mutex);
    if (!_isOk)
        lastError = _lastError;
    data = _receiveData;
    map = _receiveMap;
    return _isOk;
}

void BlockThreadTcp::clearResult()
{
    const QMutexLocker locker(&_mutex);
    _isOk = true;
    _receiveMap.clear();
    _receiveData.clear();
    _receiveJson.clear();
    _receiveJsonVar.clear();
}

void BlockThreadTcp::setFailure(const QString& text)
{
    const QMutexLocker locker(&_mutex);
    _isOk = false;
    _lastError = text;
}

QString BlockThreadTcp::lastError() const
{
    const QMutexLocker locker(&_mutex);
    return _lastError;
}

void BlockThreadTcp::setLastError(const QString& text)
{
    const QMutexLocker locker(&_mutex);
    _lastError = text;
}

QVariantMap BlockThreadTcp::receiveMap() const
{
    const QMutexLocker locker(&_mutex);
    return _receiveMap;
}

void BlockThreadTcp::setReceiveMap(const QVariantMap& map)
{
    const QMutexLocker locker(&_mutex);
    _receiveMap = map;
}

QByteArray BlockThreadTcp::receiveData() const
{
    const QMutexLocker locker(&_mutex);
    return _receiveData;
}

void BlockThreadTcp::setReceiveData(const QByteArray& data)
{
    const QMutexLocker locker(&_mutex);
    _receiveData = data;
}

QVariant BlockThreadTcp::receiveJsonVar() const
{
    const QMutexLocker locker(&_mutex);
    if (!_receiveJson.isEmpty()) {
        _receiveJsonVar = PublicClass::init()->getJsonVariant(_receiveJson);
        _receiveJson.clear();
    }
    return _receiveJsonVar;
}

void BlockThreadTcp::setReceiveJsonVar(const QVariant& json)
{
    const QMutexLocker locker(&_mutex);
    _receiveJson.clear();
    _receiveJsonVar = json;
}

/// Many callers never look at the JSON area: it is parsed for the first who does.
void BlockThreadTcp::takeReceivedJson(const QByteArray& json)
{
    const QMutexLocker locker(&_mutex);
    _receiveJson = json;
    _receiveJsonVar.clear();
}

QString BlockThreadTcp::getIp() const
{
    const QMutexLocker locker(&_mutex);
    return _ip;
}

void BlockThreadTcp::setIp(const QString& ip)
{
    const QMutexLocker locker(&_mutex);
    _ip = ip;
}

quint16 BlockThreadTcp::getPort() const
{
    return _port;
}

void BlockThreadTcp::setPort(quint16 port)
{
    _port = port;
}

quint64 BlockThreadTcp::payloadSize() const
{
    return _payloadSize;
}

void BlockThreadTcp::setPayloadSize(quint64 size)
{
    _payloadSize = size;
}

bool BlockThreadTcp::isNeedStop() const
{
    return _needStop;
}

void BlockThreadTcp::setNeedStop(bool isNeedStop)
{
    _needStop = isNeedStop;
}
