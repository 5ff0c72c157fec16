#pragma once

#include "daemon/SerialErrors.h"

#include <QObject>
#include <QTimer>

#include <functional>

class SystemSerialPort;

namespace ky {

/// Follows what a serial port announces: gathers the answer of an exchange, which arrives by
/// signal while the exchange waits, and closes a port whose device has gone.
///
/// Thread: that of the port.
class SerialTalk : public QObject
{
    Q_OBJECT

public:
    explicit SerialTalk(SystemSerialPort& port);

    using Done = std::function<void(const QByteArray& answer)>;

    /// Sends a request and calls `done` with the whole answer, once 100 ms pass without more of
    /// it; empty if nothing came. Blocks as the port's exchange does. An exchange whose answer is
    /// still being gathered ends with what it has.
    void exchange(const QByteArray& request, const Done& done);

signals:
    void sigData(const QByteArray& bytes);
    /// One error; `isClosed` if the port was closed because of it.
    void sigError(const QString& text, bool isClosed);

private:
    void take(const QVariantMap& kind, const QByteArray& bytes);
    void takeData(const QByteArray& bytes);
    void takeError(const QByteArray& text);
    void finish();

    SystemSerialPort& _port;
    QTimer _gap;
    Done _done;
    QByteArray _answer;
    SerialErrors _errors;
};

} // namespace ky
