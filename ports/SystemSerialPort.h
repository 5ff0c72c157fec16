#pragma once

#include "host/BaseObject.h"

#include <QVariantMap>

class QSerialPort;

/// One serial port at a time: open, write, exchange, and the file of known ports. What the port
/// receives leaves by sigMsg as it comes, neither buffered nor framed.
///
/// Thread: that of the object. writeSerial() blocks it for up to 20 s, and 100 ms for each further
/// piece of the answer; nothing else blocks.
/// Errors: nothing throws. After false, getLastError() tells why where the operation says so.
class Q_DECL_EXPORT SystemSerialPort : public BaseObject
{
    Q_OBJECT

public:
    explicit SystemSerialPort(QObject* parent = nullptr);
    ~SystemSerialPort() override;

    /// Opens "portName" with "baudRate", "stopBits", "dataBits" and "parity", in the numbers of
    /// QSerialPort; what is missing is 0. A port that is open under another name is closed first.
    /// Under the same name it stays open, and the call fails. A name with a path ("/dev/ttyS1")
    /// never equals the name of the open port ("ttyS1").
    bool openSerialPort(const QVariantMap& map);

    void closeSerialPort();
    bool isPortOpen() const;
    /// The port's last error in the numbers of QSerialPort: inside a handler of sigMsg that of the
    /// message, 0 (no error) before the first open.
    int portError() const;

    /// Hands the bytes to the port without waiting. False before the first open ("Serialport not
    /// open"), while closed, and if not all bytes were taken, both without a text.
    bool writeToSerialPort(const QByteArray& data);

    /// Drops what is pending, sends the bytes and waits for the answer: 10 s for sending, 10 s for
    /// its first bytes, then until 100 ms pass without more. Empty on every failure; getLastError()
    /// stays. Call it after openSerialPort().
    /// The answer's bytes that sigMsg announces during the wait are gone from the result: only a
    /// call from within a handler of sigMsg has all of them in the result.
    QByteArray writeSerial(QByteArray data);

    /// The bytes as "AA BB ": upper-case hexadecimal, a blank behind each pair.
    QByteArray serialPortDebugging(QByteArray& data);

    /// A message of the temperature-reporting peripheral; parseMessage() tells in the log what
    /// such a message holds.
    QByteArray createMessage(short value);
    void parseMessage(const QByteArray& message);

    /// Replaces the port file. False for an empty list only.
    bool saveSerialPortsToFile(const QVariantList& list);
    /// Takes the first port of that name out of the port file.
    bool removeSerialPortFromFile(const QString& name);
    /// The saved ports and the ports of the host, with "state": 1 known and present, 0 present and
    /// not configured, -1 configured and absent.
    QVariantList getAllSerialPorts();

    /// "appInfo/backupFile/serialPort.json" below the folder of the program, unless set.
    QString configFile() const { return _configFile; }
    void setConfigFile(const QString& path) { _configFile = path; }

    // The request in progress. Only kept here, for the daemon.
    qint64 getRequstHandle() const { return _requstHandle; }
    void setRequstHandle(qint64 handle) { _requstHandle = handle; }
    qint32 getRequstNumber() const { return _requstNumber; }
    void setRequstNumber(qint32 number) { _requstNumber = number; }

signals:
    /// { "type": "serialPortRevData" } with received bytes, or { "type": "serialPortError" } with
    /// the port's error text in the local encoding.
    void sigMsg(const QVariantMap& jsonMap, const QByteArray& bytes);

private:
    void makePort();
    void receive();
    void reportError();
    bool sendWhole(const QByteArray& data);
    QByteArray collectAnswer();

    QSerialPort* _serialPort = nullptr;
    QString _configFile;
    QVariantMap _requstMap;
    qint64 _requstHandle = 0;
    qint32 _requstNumber = 0;
};
