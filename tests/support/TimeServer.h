#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QUdpSocket>

#include <functional>

/// A time server on loopback that answers as a test wants it to.
class TimeServer
{
public:
    /// Receives a request of a client and gives the datagrams to send back, in order.
    using Answer = std::function<QList<QByteArray>(const QByteArray& request)>;

    TimeServer();

    quint16 port() const { return _socket.localPort(); }
    void answer(Answer answer) { _answer = std::move(answer); }
    /// Answers every request with a clock of `shiftMs` against that of this process.
    void answerWithShift(qint64 shiftMs);
    /// Answers no further request.
    void keepSilent() { _answer = nullptr; }
    /// Sends to the client of the request number `index`.
    void sendTo(int index, const QByteArray& datagram);

    const QList<QByteArray>& requests() const { return _requests; }

    /// A server's reply in version 3 with that origin, and its own clock at `serverMs`
    /// (milliseconds since 1970) for all three other times.
    static QByteArray reply(const QByteArray& origin, qint64 serverMs);
    /// The transmit timestamp of a request.
    static QByteArray originOf(const QByteArray& request) { return request.mid(40, 8); }

private:
    void readAll();

    struct Client
    {
        QHostAddress address;
        quint16 port;
    };

    QUdpSocket _socket;
    Answer _answer;
    QList<QByteArray> _requests;
    QList<Client> _clients;
};
