#pragma once

#include <QProcess>
#include <QVector>

/// What a bus load did.
struct BusLoad
{
    int frames = 0;     ///< offered, all channels together
    int rate = 0;       ///< frames per second, all channels together; 0: as fast as they are taken
    QVector<int> peers; ///< descriptors of the channels' far ends
};

/// The bus, as a process of its own so that its work is not counted with what is measured.
///
/// With a rate it does not wait for a reader: a frame that the socket has no room for is lost, as
/// on a real interface.
class FrameSender
{
public:
    explicit FrameSender(const BusLoad& load);
    ~FrameSender();

    /// Waits for its end; how many frames were lost, -1 if it failed.
    int waitLost();

private:
    QProcess _process;
};

/// The main function of that process: "--send RATE FRAMES FD…".
int sendFrames(const QStringList& arguments);
