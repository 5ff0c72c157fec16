#pragma once

#include "host/BaseObject.h"

#include <QHostAddress>

class QUdpSocket;

/// A connected UDP endpoint. Its type marks everything that it receives, so that one consumer can
/// tell several endpoints apart.
///
/// Thread: that of the object; datagrams arrive through its event loop. No operation blocks.
/// Errors: none towards the caller; a send that failed shows as size -1 in the log.
class Q_DECL_EXPORT RobotUdpClient : public BaseObject
{
    Q_OBJECT

public:
    explicit RobotUdpClient(QObject* parent = nullptr);
    ~RobotUdpClient() override;

    /// Connects to the peer, without waiting; only its datagrams are then received. The third
    /// value is not used. A connected socket stays as it is. Always true.
    bool connectUdpSocket(const QString& ip, quint64 port, quint64 localPort);
    /// Sends one datagram. Always true.
    bool sendData(const QByteArray& data, const QHostAddress& host, quint64 port);
    void abortUdp();

    qint32 type() const;
    void setType(qint32 type);

public slots:
    void slotReadyRead();

signals:
    /// One datagram, with the type of this endpoint. The data are valid during the emission only:
    /// connect directly.
    void sigReceiveData(int type, QByteArray& data);

private:
    QUdpSocket* _udpSocket;
    qint32 _type = 0;
};
