#include "Measure.h"

#include "ports/CanDevice.h"
#include "ports/CanObject.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kLimitMs = 120000;

class Manager : public CanObject
{
public:
    /// Makes the port read from `fd`.
    void serve(const QString& name, int fd)
    {
        openCan({{"portName", name}}); // makes the device; there is no such interface
        CanDevice* const device = _canDevices.value(name);
        device->setSocketId(fd);
        device->setStop(false);
        emit sigRead();
    }
    void stop()
    {
        for (CanDevice* device : qAsConst(_canDevices))
            device->closeCan({});
    }
};

double cpuSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) { return time.tv_sec + time.tv_usec / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

} // namespace

Figures measureManager(int rate, int frames)
{
    static int run = 0;
    Figures figures;
    figures.offered = frames;
    Manager manager;
    BusLoad load{frames, rate, {}};
    for (int channel = 0; channel < 2; ++channel) {
        int fds[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds) != 0)
            qFatal("socketpair");
        manager.serve(QStringLiteral("bench%1").arg(run++), fds[0]);
        load.peers << fds[1];
    }

    QEventLoop loop;
    QElapsedTimer clock;
    QElapsedTimer idle;
    QObject::connect(&manager, &CanObject::sigMsg, &loop,
                     [&](const QVariantMap&, const QByteArray& text) {
                         if (figures.arrived == 0)
                             clock.start();
                         figures.arrived += text.isEmpty() ? 0 : 1;
                         figures.seconds = double(clock.nsecsElapsed()) / 1e9;
                         idle.start();
                     });
    QTimer::singleShot(kLimitMs, &loop, &QEventLoop::quit);
    const double before = cpuSeconds();
    FrameSender sender(load);
    idle.start();
    // What the queue refused is known at the end of the bus; the rest is waited for.
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (sender.report() &&
            (figures.arrived == frames - sender.report()->refused || idle.elapsed() > kIdleMs))
            loop.quit();
    });
    poll.start(50);
    loop.exec();
    figures.cpuSeconds = cpuSeconds() - before;
    figures.take(sender.report());
    manager.stop();
    for (const int fd : load.peers)
        close(fd); // wakes the reads
    return figures;
}
