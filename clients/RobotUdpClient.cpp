#include "clients/RobotUdpClient.h"

#include "clients/ClientsLog.h"
#include "clients/Datagrams.h"
#include "clients/Texts.h"

#include <QNetworkProxy>
#include <QUdpSocket>

RobotUdpClient::RobotUdpClient(QObject* parent)
    : BaseObject(parent)
    , _udpSocket(new QUdpSocket(this))
{
    _udpSocket->setProxy(QNetworkProxy(QNetworkProxy::NoProxy, QString(), 0, QString(), QString()));
    connect(_udpSocket, &QUdpSocket::readyRead, this, &RobotUdpClient::slotReadyRead);
}

RobotUdpClient::~RobotUdpClient()
{
    _udpSocket->blockSignals(true);
    if (_udpSocket->isOpen()) {
        _udpSocket->readAll();
        _udpSocket->abort();
    }
    delete _udpSocket;
}

bool RobotUdpClient::connectUdpSocket(const QString& ip, quint64 port, quint64)
{
    if (!_udpSocket->isValid())
        _udpSocket->connectToHost(ip, quint16(port), QIODevice::ReadWrite,
                                  QAbstractSocket::AnyIPProtocol);
    return true;
}

bool RobotUdpClient::sendData(const QByteArray& data, const QHostAddress& host, quint64 port)
{
    KY_DEBUG << QStringLiteral("[0 - writeDatagram:%1 %2 : %3]")
                    .arg(ky::textUpToZero(data), host.toString(), QString::number(port));
    const qint64 size = _udpSocket->writeDatagram(data, host, quint16(port));
    KY_DEBUG << QStringLiteral("[1 - writeDatagram:%1 %2 : %3 size:%4]")
                    .arg(ky::textUpToZero(data), host.toString(), QString::number(port),
                         QString::number(size));
    return true;
}

void RobotUdpClient::abortUdp()
{
    _udpSocket->abort();
}

void RobotUdpClient::slotReadyRead()
{
    QByteArray data;
    while (ky::readDatagram(_udpSocket, data))
        emit sigReceiveData(_type, data);
}

qint32 RobotUdpClient::type() const
{
    return _type;
}

void RobotUdpClient::setType(qint32 type)
{
    _type = type;
}
