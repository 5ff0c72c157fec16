#pragma once

#include "service/HCTcpServer.h"
#include "wire/FrameWriter.h"

#include <QEventLoop>
#include <QFile>
#include <QObject>
#include <QTimer>
#include <QVariant>
#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

/// A relay that answers every request with its own data, as a daemon would, and the listener that
/// feeds it. Lives on the thread of the test.
class EchoService : public QObject
{
    Q_OBJECT

public:
    EchoService()
    {
        server.setRelayObject(this);
        isListening = server.startListen(0);
    }
    quint16 port() const { return server.serverPort(); }

    bool isListening = false;
    qint64 requests = 0;
    HCTcpServer server{nullptr};

public slots:
    void slotRevInterface(QString, qintptr handle, quint16 answerType, quint16 number,
                          QByteArray data, QVariant)
    {
        ++requests;
        server.sendDataToClient(handle, ky::buildFrame(answerType, number, {}, data));
    }
};

/// Runs the event loop until the condition holds. QTRY_VERIFY would sleep between its looks, and
/// the service with it.
template <typename Condition>
bool serveUntil(Condition isMet, int limitMs)
{
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (isMet())
            loop.quit();
    });
    QTimer::singleShot(limitMs, &loop, [&loop] { loop.quit(); });
    look.start(5);
    loop.exec();
    return isMet();
}

inline int threadCount()
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("Threads:"))
            return line.mid(8).trimmed().toInt();
    }
    return -1;
}

/// Resident memory of this process in KiB.
inline long residentKib()
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

/// Runs client code on threads of its own while the test's event loop serves.
class ClientThreads
{
public:
    template <typename Body>
    ClientThreads(int count, Body body)
        : _running(count)
    {
        for (int i = 0; i < count; ++i)
            _threads.emplace_back([this, body, i] {
                body(i);
                --_running;
            });
    }
    ~ClientThreads()
    {
        for (std::thread& thread : _threads)
            thread.join();
    }
    bool areDone() const { return _running == 0; }

private:
    std::atomic<int> _running;
    std::vector<std::thread> _threads;
};
