#include "ThinClient.h"

#include "wire/FrameHead.h"

#include <QHostAddress>
#include <QtEndian>

namespace {

void connectTo(QTcpSocket& socket, quint16 port)
{
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    if (!socket.waitForConnected(5000))
        qFatal("the echo server does not answer");
    socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
}

bool isWhole(const QByteArray& bytes)
{
    return bytes.size() >= ky::kHeaderSize && quint32(bytes.size() - ky::kHeaderSize) >=
                                                  qFromBigEndian<quint32>(bytes.constData() + 4);
}

} // namespace

void ThinWorker::exchange(const QByteArray& frame)
{
    if (!_socket) {
        _socket = new QTcpSocket(this);
        connectTo(*_socket, _port);
        connect(_socket, &QTcpSocket::readyRead, this, &ThinWorker::takeIn);
    }
    _socket->write(frame);
    _socket->flush();
}

void ThinWorker::takeIn()
{
    _received += _socket->readAll();
    if (!isWhole(_received))
        return;
    emit answered(_received);
    _received.clear();
}

ThinFacade::ThinFacade(quint16 port)
{
    auto* worker = new ThinWorker(port);
    worker->moveToThread(&_thread);
    connect(&_thread, &QThread::finished, worker, &QObject::deleteLater);
    connect(this, &ThinFacade::request, worker, &ThinWorker::exchange);
    connect(worker, &ThinWorker::answered, this, [this](const QByteArray& frame) {
        _answer = frame;
        _loop.quit();
    });
    _thread.start();
}

ThinFacade::~ThinFacade()
{
    _thread.quit();
    _thread.wait();
}

QByteArray ThinFacade::exchange(const QByteArray& frame)
{
    emit request(frame);
    _loop.exec();
    return _answer;
}

BareClient::BareClient(quint16 port)
{
    connectTo(_socket, port);
}

QByteArray BareClient::exchange(const QByteArray& frame)
{
    _socket.write(frame);
    _socket.flush();
    QByteArray received;
    while (!isWhole(received)) {
        if (!_socket.bytesAvailable() && !_socket.waitForReadyRead(5000))
            return {};
        received += _socket.readAll();
    }
    return received;
}
