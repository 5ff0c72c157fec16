#pragma once

#include <QHostAddress>
#include <QObject>

class QUdpSocket;

/// A receiving UDP endpoint on a local port, which also sends text.
///
/// Thread: that of the object; datagrams arrive through its event loop. No operation blocks.
/// Errors: none towards the caller. A bind that fails is told in the log.
class Q_DECL_EXPORT RobotUdp : public QObject
{
    Q_OBJECT

public:
    explicit RobotUdp(QObject* parent = nullptr);
    ~RobotUdp() override;

    /// Binds `localPort` on all addresses, shared with nobody; the other two values are not used.
    /// A socket that is bound already stays as it is, and so does one that could not be bound until
    /// releaseUdpSocket(). Always true.
    bool connectUdpSocket(const QString& ip, quint64 port, quint64 localPort);
    /// Sends the text in Latin-1, what that lacks as "?". True whatever came of it; false only
    /// before the first connectUdpSocket().
    bool sendMessage(QString message, QHostAddress host, quint64 port);
    /// Releases the port. The next connectUdpSocket() binds anew.
    void releaseUdpSocket();
    bool isOpened() const;

    QString lastError() const;
    void setLastError(const QString& text);

public slots:
    void slotReadyRead();

signals:
    /// One datagram; `type` is 0. The data are valid during the emission only: connect directly.
    void sigReceiveData(int type, QByteArray& data);

private:
    void makeSocket();

    QUdpSocket* _udpSocket = nullptr; ///< made by the first connectUdpSocket()
    QString _lastError;
};
