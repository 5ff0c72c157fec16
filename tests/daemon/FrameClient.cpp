#include "FrameClient.h"

#include <QDataStream>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QJsonDocument>

namespace {

constexpr int kHeaderSize = 16;

} // namespace

QVariantMap WireFrame::map() const
{
    return QJsonDocument::fromJson(data).toVariant().toMap();
}

FrameClient::FrameClient(quint16 port)
{
    _socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    _socket.waitForConnected(5000);
}

void FrameClient::send(const QByteArray& bytes)
{
    _socket.write(bytes);
    while (_socket.bytesToWrite() > 0 && _socket.waitForBytesWritten(10000)) {
    }
}

void FrameClient::send(int type, int number, const QByteArray& json, const QByteArray& data)
{
    send(frame(type, number, json, data));
}

WireFrame FrameClient::ask(int type, const QByteArray& json, const QByteArray& data)
{
    send(type, ++_number, json, data);
    return receive();
}

WireFrame FrameClient::receive(int limitMs)
{
    QElapsedTimer clock;
    clock.start();
    WireFrame frame;
    quint32 size = 0;
    do {
        _buffer += _socket.readAll();
        if (_buffer.size() >= kHeaderSize) {
            QDataStream(_buffer.mid(4, 4)) >> size;
            if (quint32(_buffer.size() - kHeaderSize) >= size)
                break;
        }
        if (clock.elapsed() > limitMs || !isConnected())
            return frame;
        _socket.waitForReadyRead(20);
    } while (true);
    quint8 sync = 0;
    quint8 version = 0;
    quint16 number = 0;
    quint16 type = 0;
    quint16 revCommand = 0;
    quint16 jsonSize = 0;
    QDataStream(_buffer) >> sync >> version >> number >> size >> type >> revCommand >> jsonSize;
    frame.isValid = sync == 0x5a && version == 1;
    frame.number = number;
    frame.type = type;
    frame.revCommand = revCommand;
    frame.json = _buffer.mid(kHeaderSize, jsonSize);
    frame.data = _buffer.mid(kHeaderSize + jsonSize, int(size) - jsonSize);
    _buffer.remove(0, kHeaderSize + int(size));
    return frame;
}

QByteArray FrameClient::frame(int type, int number, const QByteArray& json, const QByteArray& data)
{
    return header(type, number, quint32(json.size() + data.size()), quint16(json.size())) + json +
           data;
}

QByteArray FrameClient::header(int type, int number, quint32 dataSize, quint16 jsonSize)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << quint8(0x5a) << quint8(1) << quint16(number) << dataSize << quint16(type)
        << quint16(type - 10000) << jsonSize << quint8(0) << quint8(2);
    return bytes;
}
