#pragma once

#include <QObject>
#include <QVariantMap>

class QTcpSocket;

/// A CAN channel over a Qt socket: frames of 16 bytes on a QTcpSocket that is bound to the address
/// "portName". The kernel's CAN layer is reached through CanDevice, not through this class.
///
/// Thread: that of the object; nothing blocks.
/// Errors: nothing throws. lastError() keeps the text of the last failure; a bind reports there
/// later, and a write to a socket that is not connected reports there although it returns true.
class Q_DECL_EXPORT SocketCan : public QObject
{
    Q_OBJECT

public:
    explicit SocketCan(QObject* parent = nullptr);
    ~SocketCan() override;

    /// Asks for a bind to the address "portName", done when control is back in the event loop.
    /// False for an empty map only: "QVariantMap is empty".
    bool openCan(const QVariantMap& map);

    /// Sends one frame: "frameType" (1 extended), "frameFormat" (1 remote), "frameId",
    /// "dataLength", "data" of at most 8 bytes. The length code is "dataLength" where the number
    /// of data bytes is a multiple of 8 and "dataLength" is above 0, otherwise 8.
    /// False for an empty map and for data or a length code that no frame holds.
    bool writeCan(const QVariantMap& map);

    /// Drops the connection and the bind. The map is not looked at.
    void closeCan(const QVariantMap& map);

    QString lastError() const { return _lastError; }
    void setLastError(const QString& text) { _lastError = text; }

    QString canName() const { return _canName; }
    void setCanName(const QString& name) { _canName = name; }

    bool isReading() const { return _isReading; }

    bool isStop() const { return _isStop; }
    void setStop(bool isStop) { _isStop = isStop; }

public slots:
    /// Adds one more reader of frames to the socket. The socket's own notification calls this, so
    /// each notification has one reader more than the one before, and the first has none.
    void readCan();

signals:
    /// One frame: "frameType", "frameFormat", "frameId", "dataLength", "data".
    void sigReadyRead(const QVariantMap& map);

private:
    bool isBoundOrOpen() const;
    void bindTo(const QString& portName);
    void readFrame();

    bool _flag = false;
    QString _lastError;
    QString _canName;
    QTcpSocket* _tcpSocket;
    bool _isReading = false;
    bool _isStop = false;
};
