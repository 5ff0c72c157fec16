#include "daemon/SerialTalk.h"

#include "ports/SystemSerialPort.h"

#include <QSerialPort>

namespace ky {

namespace {

constexpr int kGapMs = 100;

} // namespace

SerialTalk::SerialTalk(SystemSerialPort& port)
    : _port(port)
{
    _gap.setSingleShot(true);
    _gap.setInterval(kGapMs);
    _gap.setParent(this);
    connect(&_gap, &QTimer::timeout, this, &SerialTalk::finish);
    connect(&port, &SystemSerialPort::sigMsg, this, &SerialTalk::take);
}

void SerialTalk::exchange(const QByteArray& request, const Done& done)
{
    finish();
    _errors.clear();
    _done = done;
    _answer += _port.writeSerial(request); // what the receiver left, behind what it took
    if (_answer.isEmpty())
        finish();
    else
        _gap.start();
}

void SerialTalk::finish()
{
    _gap.stop();
    if (!_done)
        return;
    const Done done = std::move(_done);
    _done = nullptr;
    done(_answer);
    _answer.clear();
}

void SerialTalk::take(const QVariantMap& kind, const QByteArray& bytes)
{
    if (kind.value(QStringLiteral("type")) == QLatin1String("serialPortError"))
        takeError(bytes);
    else
        takeData(bytes);
}

void SerialTalk::takeData(const QByteArray& bytes)
{
    if (bytes.isEmpty())
        return;
    _errors.clear();
    if (_done)
        _answer += bytes;
    if (_gap.isActive())
        _gap.start();
    emit sigData(bytes);
}

void SerialTalk::takeError(const QByteArray& text)
{
    const int error = _port.portError();
    const bool isGone = _errors.isDeviceGone(error);
    // The port reports "No error" when it opens: nobody who watches for errors is to read that.
    if (error == QSerialPort::NoError)
        return;
    // Not from within the port's own notification.
    if (isGone)
        QTimer::singleShot(0, &_port, &SystemSerialPort::closeSerialPort);
    if (!_errors.isStorm())
        emit sigError(QString::fromLocal8Bit(text), isGone);
}

} // namespace ky
