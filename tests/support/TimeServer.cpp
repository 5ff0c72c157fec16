#include "TimeServer.h"

#include <QDateTime>
#include <QtEndian>

namespace {

/// A timestamp by way of nanoseconds, rounded to the nearest unit: not the way of the client.
QByteArray timestamp(qint64 epochMs)
{
    const quint64 ns = quint64(epochMs + 2208988800000) * 1000000;
    const quint32 seconds = quint32(ns / 1000000000);
    const double fraction = double(ns % 1000000000) / 1e9 * 4294967296.0 + 0.5;
    QByteArray bytes(8, '\0');
    qToBigEndian(seconds, bytes.data());
    qToBigEndian(quint32(fraction), bytes.data() + 4);
    return bytes;
}

} // namespace

TimeServer::TimeServer()
{
    _socket.bind(QHostAddress(QHostAddress::LocalHost));
    QObject::connect(&_socket, &QUdpSocket::readyRead, &_socket, [this] { readAll(); });
}

void TimeServer::answerWithShift(qint64 shiftMs)
{
    _answer = [shiftMs](const QByteArray& request) {
        const qint64 now = QDateTime::currentMSecsSinceEpoch() + shiftMs;
        return QList<QByteArray>{reply(originOf(request), now)};
    };
}

void TimeServer::sendTo(int index, const QByteArray& datagram)
{
    const Client& client = _clients.at(index);
    _socket.writeDatagram(datagram, client.address, client.port);
}

QByteArray TimeServer::reply(const QByteArray& origin, qint64 serverMs)
{
    const QByteArray time = timestamp(serverMs);
    return QByteArray::fromHex("1c0204ec0000000000000000") + "LOCL" + time + origin + time + time;
}

void TimeServer::readAll()
{
    while (_socket.hasPendingDatagrams()) {
        QByteArray request(int(_socket.pendingDatagramSize()), '\0');
        Client client;
        _socket.readDatagram(request.data(), request.size(), &client.address, &client.port);
        _requests << request;
        _clients << client;
        if (!_answer)
            continue;
        for (const QByteArray& datagram : _answer(request))
            sendTo(_clients.size() - 1, datagram);
    }
}
