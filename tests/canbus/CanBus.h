#pragma once

#include <QString>
#include <QTemporaryDir>

#include <linux/can.h>

/// One CAN interface and what is on its bus, as a test or a benchmark wants it: while a CanBus
/// lives, this process (with CanBusCalls linked) or a child that preloads the module kycanbus
/// finds the interface, and each raw socket bound to it is a connection to here.
/// Thread: one at a time.
class CanBus
{
public:
    /// All interfaces of a process lie in one folder.
    explicit CanBus(const QString& folder, const QString& name = QStringLiteral("can0"));
    ~CanBus();
    CanBus(const CanBus&) = delete;
    CanBus& operator=(const CanBus&) = delete;

    /// The socket most lately bound to the interface; waits for it, at most `limitMs`. -1 if none.
    int accept(int limitMs = 5000);
    int peer() const { return _peer; }

    /// Puts one frame on the bus; waits while the reader is behind.
    bool send(const can_frame& frame);
    bool send(quint32 identifierWord, const QByteArray& data);
    /// The next frame that was written, within `limitMs`; all zero if none came.
    can_frame receive(int limitMs = 5000);

    /// The interface goes: reads on the other side find the end.
    void hangUp();

private:
    QByteArray _path;
    int _listener = -1;
    int _peer = -1;
};

/// Puts KY_CANBUS into the environment for as long as it lives.
class CanBusFolder
{
public:
    CanBusFolder();
    ~CanBusFolder();
    CanBusFolder(const CanBusFolder&) = delete;
    CanBusFolder& operator=(const CanBusFolder&) = delete;
    QString path() const { return _folder.path(); }

private:
    QTemporaryDir _folder;
};

/// A frame with as many data bytes as given.
can_frame canFrame(quint32 identifierWord, const QByteArray& data);

/// Whether the kernel of this machine has CAN (the stand-in does not count).
bool kernelHasCan();
