#pragma once

#include <QCoreApplication>
#include <QTcpServer>

/// A port of loopback that nobody listens on, in the range that the service takes. Neighbouring
/// calls, also of tests that run at the same time, give different ones.
inline quint16 freePort()
{
    // Apart from the ports that the kernel gives to clients; each process begins elsewhere.
    constexpr quint16 kFirstPort = 12000;
    constexpr quint16 kPortCount = 16000;
    static quint16 next = quint16(QCoreApplication::applicationPid() * 37 % kPortCount);
    for (int i = 0; i < kPortCount; ++i) {
        const quint16 port = quint16(kFirstPort + next);
        next = quint16((next + 1) % kPortCount);
        QTcpServer probe;
        if (probe.listen(QHostAddress::AnyIPv4, port))
            return port;
    }
    qFatal("no port is free");
}
