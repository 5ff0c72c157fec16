#pragma once

#include <QByteArray>
#include <QString>

#include <termios.h>

/// A pseudo terminal: `name()` is opened as the serial port, the other end is this object, and it
/// speaks as the device on the line. Thread: one at a time.
class Pty
{
public:
    Pty();
    ~Pty();
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    /// As QSerialPort names the port ("pts/3").
    QString name() const { return _path.mid(5); }
    QString path() const { return _path; }

    void write(const QByteArray& bytes);
    /// Waits for `size` bytes, at most `limitMs`; what has come until then.
    QByteArray read(int size, int limitMs = 3000);
    /// How the line is set, as its driver says.
    termios settings() const;
    /// The device is pulled off the line.
    void vanish();

private:
    int _fd = -1;
    QString _path;
};
