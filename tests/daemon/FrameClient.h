#pragma once

#include <QTcpSocket>
#include <QVariantMap>

/// One frame as it went over the wire.
struct WireFrame
{
    bool isValid = false; ///< false: none came in time
    int type = 0;
    int number = 0;
    int revCommand = 0;
    QByteArray json;
    QByteArray data;

    QVariantMap map() const;
    int code() const { return map().value("ret_code", -1).toInt(); }
    QString errorText() const { return map().value("err_msg").toString(); }
};

/// A client of the frame protocol that shares no code with the library.
class FrameClient
{
public:
    explicit FrameClient(quint16 port);

    bool isConnected() const { return _socket.state() == QAbstractSocket::ConnectedState; }
    void send(const QByteArray& bytes);
    void send(int type, int number, const QByteArray& json = {}, const QByteArray& data = {});
    /// The next frame.
    WireFrame receive(int limitMs = 10000);
    /// Sends and takes the next frame.
    WireFrame ask(int type, const QByteArray& json = {}, const QByteArray& data = {});
    /// Cuts the connection without a farewell.
    void vanish() { _socket.abort(); }

    static QByteArray frame(int type, int number, const QByteArray& json, const QByteArray& data);
    /// With sizes that need not be true.
    static QByteArray header(int type, int number, quint32 dataSize, quint16 jsonSize);

private:
    QTcpSocket _socket;
    QByteArray _buffer;
    int _number = 0;
};
