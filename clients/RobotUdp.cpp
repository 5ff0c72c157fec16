#include "clients/RobotUdp.h"

#include "clients/ClientsLog.h"
#include "clients/Datagrams.h"

#include <QUdpSocket>

RobotUdp::RobotUdp(QObject* parent)
    : QObject(parent)
{}

RobotUdp::~RobotUdp()
{
    releaseUdpSocket();
    if (_udpSocket)
        _udpSocket->deleteLater();
}

bool RobotUdp::connectUdpSocket(const QString&, quint64, quint64 localPort)
{
    if (!_udpSocket)
        makeSocket();
    if (_udpSocket->isValid())
        return true;
    const QString port = QString::number(localPort);
    if (!_udpSocket->bind(quint16(localPort), QUdpSocket::DontShareAddress)) {
        KY_WARNING << QStringLiteral("[_udpSocketSend->bind:localHost,port:%1 failed: %2]")
                          .arg(port, _udpSocket->errorString());
        return true;
    }
    // Binding alone leaves the device closed, and isOpened() asks the device.
    _udpSocket->open(QIODevice::ReadWrite);
    KY_DEBUG << QStringLiteral("[_udpSocketSend->bind:localHost,port:%1 success]").arg(port);
    return true;
}

void RobotUdp::makeSocket()
{
    _udpSocket = new QUdpSocket(this);
    connect(_udpSocket, &QUdpSocket::readyRead, this, &RobotUdp::slotReadyRead);
}

bool RobotUdp::sendMessage(QString message, QHostAddress host, quint64 port)
{
    if (!_udpSocket)
        return false;
    _udpSocket->writeDatagram(message.toLatin1(), host, quint16(port));
    KY_DEBUG << QStringLiteral("[RobotUdp::sendMessage:writeDatagram:%1 %2 : %3]")
                    .arg(message, host.toString(), QString::number(port));
    return true;
}

void RobotUdp::releaseUdpSocket()
{
    if (!_udpSocket)
        return;
    _udpSocket->abort();
    if (!_udpSocket->isValid())
        return;
    // A bind that failed leaves a socket that is valid without being bound. Aborting it does
    // nothing, and the next connectUdpSocket() would leave it as it is.
    _udpSocket->disconnect(this);
    _udpSocket->deleteLater();
    makeSocket();
}

bool RobotUdp::isOpened() const
{
    return _udpSocket && _udpSocket->isOpen();
}

void RobotUdp::slotReadyRead()
{
    QByteArray data;
    while (ky::readDatagram(_udpSocket, data))
        emit sigReceiveData(0, data);
}

QString RobotUdp::lastError() const
{
    return _lastError;
}

void RobotUdp::setLastError(const QString& text)
{
    _lastError = text;
}
