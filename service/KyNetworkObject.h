#pragma once

#include "host/BaseObject.h"

#include <QVariantMap>

class HCTcpServer;

/// The framed TCP service as a daemon sees it: listens on the port of the settings file, hands
/// requests to the relay object and takes answers by handle.
///
///     class Relay : public QObject
///     {
///         Q_OBJECT
///     public slots:
///         void slotRevInterface(QString name, qintptr handle, quint16 answerType,
///                               quint16 number, QByteArray data, QVariant json);
///     };
///
/// Thread: that of the relay object, for every call. waitWrite2Client() blocks it, and with it
/// every accept and every other request, for up to about 15 s.
class Q_DECL_EXPORT KyNetworkObject : public BaseObject
{
    Q_OBJECT

public:
    /// `parent` is the relay object: it becomes the owner and receives the requests.
    explicit KyNetworkObject(QObject* parent);
    /// Cuts every connection and returns without waiting for their threads.
    ~KyNetworkObject() override;

    /// The number in the settings keys "Server<id>/port", "…/threadCount", "…/payload".
    quint8 serverId() const;
    void setServerId(const quint8& serverId);

    bool isTcpListening();
    /// Reads the three keys from PublicClass::settingsFile and calls listenTcp(). A missing key
    /// counts as 0.
    bool startTcpListenning();
    /// A toggle: starts to listen, or stops when the server listens and disconnects its clients.
    /// `port` is 1 to 32767 and `threadCount` 1 to 64, else false without a word. `threadCount`
    /// and `payload` limit nothing. False when the port cannot be had. The last error is not set.
    bool listenTcp(quint16 port, quint8 threadCount, quint16 payload, bool flag);

    /// See HCTcpServer. After false the last error tells why.
    bool sendDataToClient(qintptr handle, const QByteArray& data);
    bool waitWrite2Client(qintptr handle, const QByteArray& data);
    bool abortClient(qintptr handle);
    QVariantMap getSocketPeerInfo(qintptr handle);

private:
    bool keepError(bool isSent);

    HCTcpServer* _tcpServer;
    quint8 _serverId = 0;
};
