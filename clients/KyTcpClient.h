#pragma once

#include <QObject>
#include <QVariantMap>

class QTcpSocket;

/// One framed exchange on behalf of a web front: connects, sends, waits for one answer, closes.
///
/// Thread: that of the caller, which is blocked for up to 5 s for each of connecting, writing, the
/// first bytes and the piece behind those: 20 s with a peer that says nothing. An answer that goes
/// on is taken for as long as it does; 5 s without a byte end it. There is no limit in all: a peer
/// that goes on dripping bytes, for noise or for an announced 4 GiB, holds the caller without end.
/// An answer that comes in one piece is taken about 5 s after it has come. One object serves one
/// caller at a time, and runs no event loop; the signals are emitted inside the call.
class Q_DECL_EXPORT KyTcpClient : public QObject
{
    Q_OBJECT

public:
    explicit KyTcpClient(QObject* parent = nullptr);
    ~KyTcpClient() override;

    /// Sends "jsonData" (a map or a list, as compact JSON text) with "type" and "number" to "ip"
    /// and "port". The text goes out as binary data: the header announces no JSON area. Any other
    /// value counts as absent: the frame has no body then. True: an answer was delivered, or one
    /// that had begun was still not whole at the last wait. An empty map or list is refused, after
    /// the connection has been made. Failures are told in the log only.
    bool sendData(const QVariantMap& map);

    /// Takes in bytes and delivers at most one frame. 0: delivered; 1: more bytes are needed; -1:
    /// nothing usable is left. Only the sync byte is looked at, not the version behind it.
    int resolveTcpReadData(const QByteArray& b);

signals:
    /// "vlx-client-onTcpConnected" with the map of sendData(), once the request is written;
    /// "vlx-client-message" with the answer: "headHex", "sendCommand", "revCommand", "number",
    /// "data" (the whole body as text, up to its first zero byte) and "jsonData" (always empty).
    void sigSendWebSocketData(QString key, QVariantMap map);

private:
    bool exchange(const QVariantMap& map, const QString& ip, quint16 port);
    bool receiveAnswer(QTcpSocket& socket);
    bool receiveLast(QTcpSocket& socket);
    int takeFrame();
    bool dropNoise();

    QByteArray _lastMessage; ///< bytes of the answer so far, within one call
};
