#pragma once

#include <QtGlobal>

#include <sys/types.h>

/// A server in a process of its own that answers every frame with its own areas. It does no more
/// work than that, so that the clients in front of it are what is measured. Start it before the
/// first thread.
class EchoProcess
{
public:
    EchoProcess();
    ~EchoProcess();
    EchoProcess(const EchoProcess&) = delete;
    EchoProcess& operator=(const EchoProcess&) = delete;

    quint16 port() const { return _port; }

private:
    pid_t _pid = -1;
    quint16 _port = 0;
};
