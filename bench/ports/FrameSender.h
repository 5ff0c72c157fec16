#pragma once

#include <QProcess>
#include <QVector>

#include <optional>

/// What a bus load did.
struct BusLoad
{
    int frames = 0;     ///< offered, all channels together
    int rate = 0;       ///< frames per second, all channels together; 0: as fast as they are taken
    QVector<int> peers; ///< descriptors of the channels' far ends
};

/// What came of it.
struct SendReport
{
    bool isDone = false; ///< false: the bus failed, and the rest says nothing
    int refused = 0;     ///< frames that the socket's queue had no room for
    double seconds = 0;  ///< from the first frame to the last
};

/// The bus, as a process of its own so that its work is not counted with what is measured.
///
/// With a rate it does not wait for a reader: a frame that the socket's queue has no room for is
/// refused, as by a real interface. After a pause it goes on at its rate; it does not catch up,
/// which no bus can.
class FrameSender
{
public:
    explicit FrameSender(const BusLoad& load);
    ~FrameSender();

    /// What came of it, once it has ended; does not wait.
    const std::optional<SendReport>& report();

private:
    QProcess _process;
    std::optional<SendReport> _report;
};

/// Gives a local socket a send queue of `kQueueBytes`, by force where the process may: local
/// sockets have no receive queue of their own, so this stands for that of an open port.
/// Returns what the kernel made of it; that counts its own bookkeeping, too.
int enlargeQueue(int fd);
constexpr int kQueueBytes = 4 * 1024 * 1024;

/// The main function of that process: "--send RATE FRAMES FD…".
int sendFrames(const QStringList& arguments);
