#pragma once

#include <QEventLoop>
#include <QObject>
#include <QTcpSocket>
#include <QThread>

/// The worker of the thinnest facade: writes a frame, hands back the bytes of one answer.
class ThinWorker : public QObject
{
    Q_OBJECT

public:
    explicit ThinWorker(quint16 port)
        : _port(port)
    {}

public slots:
    void exchange(const QByteArray& frame);

signals:
    void answered(const QByteArray& frame);

private:
    void takeIn();

    quint16 _port;
    QTcpSocket* _socket = nullptr;
    QByteArray _received;
};

/// What a blocking exchange over a worker thread and a local event loop costs at the least: no
/// time limit, no result map, no JSON, no log, no progress.
class ThinFacade : public QObject
{
    Q_OBJECT

public:
    explicit ThinFacade(quint16 port);
    ~ThinFacade() override;
    QByteArray exchange(const QByteArray& frame);

signals:
    void request(const QByteArray& frame);

private:
    QThread _thread;
    QEventLoop _loop;
    QByteArray _answer;
};

/// One socket in the caller's thread that writes and waits: no events are served meanwhile.
class BareClient
{
public:
    explicit BareClient(quint16 port);
    QByteArray exchange(const QByteArray& frame);

private:
    QTcpSocket _socket;
};
