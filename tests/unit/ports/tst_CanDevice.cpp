#include "TaskState.h"

#include "ports/CanDevice.h"

#include "LogCapture.h"
#include "canbus/CanBus.h"

#include <QScopeGuard>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

std::atomic<const std::function<void()>*> onClose{nullptr}; // runs within the next close()
std::atomic<const std::function<void()>*> onPause{nullptr}; // runs within the loop's next pause
std::atomic<const std::function<void()>*> onRead{nullptr};  // runs before the next read of readFd
std::atomic<int> readFd{-1};
std::atomic<const std::function<void()>*> onWrite{nullptr}; // runs before the next write of writeFd
std::atomic<int> writeFd{-1};
std::atomic<int> pauses{0};

} // namespace

/// Stands before the system's own, in this program: what the loop pauses with.
extern "C" Q_DECL_EXPORT int nanosleep(const timespec* wanted, timespec* left)
{
    const bool isOfTheLoop = gettid() != getpid(); // the test's own waits come here too
    pauses += isOfTheLoop ? 1 : 0;
    if (const auto* const hook = isOfTheLoop ? onPause.exchange(nullptr) : nullptr)
        (*hook)();
    static const auto real =
        reinterpret_cast<int (*)(const timespec*, timespec*)>(dlsym(RTLD_NEXT, "nanosleep"));
    return real(wanted, left);
}

/// Stands before the system's own, in this program: what the loop takes its frames with.
extern "C" Q_DECL_EXPORT ssize_t read(int fd, void* bytes, size_t size)
{
    if (const auto* const hook = fd == readFd ? onRead.exchange(nullptr) : nullptr)
        (*hook)();
    static const auto real =
        reinterpret_cast<ssize_t (*)(int, void*, size_t)>(dlsym(RTLD_NEXT, "read"));
    return real(fd, bytes, size);
}

/// Stands before the system's own, in this program: what a port sends its frames with.
extern "C" Q_DECL_EXPORT ssize_t write(int fd, const void* bytes, size_t size)
{
    if (const auto* const hook = fd == writeFd ? onWrite.exchange(nullptr) : nullptr)
        (*hook)();
    static const auto real =
        reinterpret_cast<ssize_t (*)(int, const void*, size_t)>(dlsym(RTLD_NEXT, "write"));
    return real(fd, bytes, size);
}

/// Stands before the system's own, in this program and its libraries.
extern "C" Q_DECL_EXPORT int close(int fd)
{
    if (const auto* const hook = onClose.exchange(nullptr))
        (*hook)();
    static const auto real = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "close"));
    return real(fd);
}

class tst_CanDevice : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void kernelWithoutCanIsASocketError();
    void emptyMapFailsButClosesAnOpenSocket();
    void descriptorZeroCountsAsNotOpen();
    void opensInterfaceByName();
    void receiveQueueIsAsLongAsTheHostAllows();
    void openingAgainClosesTheFirstSocket();
    void unknownInterfaceIsAnIoctlError_data();
    void unknownInterfaceIsAnIoctlError();
    void refusedBindIsABindError();
    void overLongNameIsRefused_data();
    void overLongNameIsRefused();

    void writesFrame_data();
    void writesFrame();
    void refusesWhatNoFrameHolds();
    void writeOnClosedDeviceFails();
    void shortWriteFails();
    void busThatTakesNoFrameFailsInTime();
    void emptyMapFailsOnWrite();

    void closedDeviceDoesNotRead();
    void reportsFramesInOrderWithNameAndTime();
    void reportsAtMostEightBytesOfData();
    void framesOfBothDirectionsAreLogged();
    void incompleteFrameIsSkipped();
    void closeDoesNotWakeTheRead();
    void frameThatComesAfterCloseIsDropped();
    void loopGoesOnAfterReopening();
    void loopNeverReadsFromANumberThatIsSomebodyElses();
    void numberIsFreeOnceTheLoopHasLeft();
    void writeNeverGoesToANumberThatIsSomebodyElses();
    void descriptorSetFromOutsideIsTakenUpAfterTheRead();
    void quietBusIsReadWithoutPauses();
    void framesOfABusyBusGatherAndAllArrive();
    void closeWithinAPauseEndsTheLoop();
    void reopeningWithinAPauseGoesOnWithTheNewSocket();
    void reopenedPortIsReadThoughTheOldReadNeverReturns_data();
    void reopenedPortIsReadThoughTheOldReadNeverReturns();
    void reopenedPortIsReadAfterAShortageOfDescriptors();
    void failedReopeningIsOneReadErrorUntilThePortOpens();
    void closeEndsALoopThatHasNoSocket();
    void failedReadIsWarnedOfAndRepeatedAtOnce();
    void peerThatGoesAwayIsAnEndlessIncompleteFrame();
    void destructorClosesTheSocket();
    void destructorLetsNoSignalOut();
};

namespace {

constexpr char kIncomplete[] = "[warning][readCan]Incomplete CAN frame received";
constexpr char kNoDescriptor[] = "[warning][readCan]Read error:Bad file descriptor";

/// A connected pair of sockets in the place of a CAN interface.
struct Pair
{
    Pair()
    {
        int fds[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds) != 0)
            qFatal("socketpair: %s", strerror(errno));
        device = fds[0];
        peer = fds[1];
    }
    ~Pair() { hangUp(); }
    void hangUp()
    {
        if (peer >= 0)
            ::close(peer);
        peer = -1;
    }
    void send(const can_frame& frame, size_t size = sizeof(can_frame))
    {
        if (::write(peer, &frame, size) != ssize_t(size))
            qFatal("write: %s", strerror(errno));
    }
    can_frame received()
    {
        can_frame frame = {};
        if (::recv(peer, &frame, sizeof frame, MSG_DONTWAIT) != ssize_t(sizeof frame))
            frame.can_id = 0xDEAD;
        return frame;
    }

    int device;
    int peer;
};

/// A device whose loop runs in a thread of its own, ended at the latest with this object.
class Loop
{
public:
    explicit Loop(int fd)
    {
        device->setCanName(QStringLiteral("can0"));
        device->setSocketId(fd);
        device->moveToThread(&_thread);
        QObject::connect(device, &CanDevice::sigReadyRead, &_receiver,
                         [this](const QVariantMap& map) { frames << map; });
        _thread.start();
        QMetaObject::invokeMethod(
            device, [] {}, Qt::BlockingQueuedConnection); // it has its events
    }
    ~Loop()
    {
        device->setStop(true);
        Pair wake;
        const int fd = device->socketId();
        device->setSocketId(wake.device);
        if (fd >= 0)
            ::shutdown(fd, SHUT_RDWR); // ends a blocked read
        wake.hangUp();
        QObject::connect(&_thread, &QThread::finished, device, &QObject::deleteLater);
        _thread.quit();
        _thread.wait();
        if (fd > 0)
            ::close(fd);
    }

    void start() { QMetaObject::invokeMethod(device, &CanDevice::readCan, Qt::QueuedConnection); }
    bool waitForReading(bool isReading)
    {
        return QTest::qWaitFor([&] { return device->isReading() == isReading; }, 3000);
    }
    bool waitForFrames(int count)
    {
        return QTest::qWaitFor([&] { return frames.size() >= count; }, 3000);
    }

    CanDevice* device = new CanDevice;
    QVector<QVariantMap> frames;

private:
    QObject _receiver; // lives here: frames cross by queued signal
    QThread _thread;
};

/// As long as it lives, the process gets no descriptor more than it has.
class NoMoreDescriptors
{
public:
    NoMoreDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &_old);
        const int next = dup(STDERR_FILENO);
        ::close(next);
        rlimit tight = _old;
        tight.rlim_cur = rlim_t(next);
        setrlimit(RLIMIT_NOFILE, &tight);
    }
    ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &_old); }

private:
    rlimit _old = {};
};

int receiveQueueOf(int fd)
{
    int size = 0;
    socklen_t length = sizeof size;
    getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, &length);
    return size;
}

/// What this process may have of 4 MiB, which the kernel doubles for its own use.
int longestReceiveQueue()
{
    constexpr int kWanted = 4 * 1024 * 1024;
    Pair pair;
    const bool isForced =
        setsockopt(pair.device, SOL_SOCKET, SO_RCVBUFFORCE, &kWanted, sizeof kWanted) == 0;
    ::close(pair.device);
    QFile limit("/proc/sys/net/core/rmem_max");
    if (isForced || !limit.open(QIODevice::ReadOnly))
        return 2 * kWanted;
    return 2 * qMin(kWanted, limit.readAll().trimmed().toInt());
}

/// Keeps a bus busy, in heaps of 200 frames with their numbers, until the condition holds. What a
/// loaded machine makes of the times of one heap does not matter then.
bool sendUntil(Pair& pair, int* sent, const std::function<bool()>& isMet)
{
    for (int heap = 0; heap < 500; ++heap) {
        for (int n = 0; n < 200; ++n) {
            const can_frame frame = canFrame(quint32(*sent), "b");
            if (::send(pair.peer, &frame, sizeof frame, MSG_DONTWAIT) == ssize_t(sizeof frame))
                ++*sent;
        }
        if (QTest::qWaitFor(isMet, 10))
            return true;
    }
    return false;
}

bool isDescriptorOpen(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

} // namespace

void tst_CanDevice::initTestCase()
{
    signal(SIGPIPE, SIG_IGN);
}

void tst_CanDevice::kernelWithoutCanIsASocketError()
{
    if (kernelHasCan())
        QSKIP("this kernel has CAN: the text of a kernel without it cannot show");
    LogCapture log("ky.ports");
    CanDevice can;

    QVERIFY(!can.openCan({{"portName", "can0"}}));

    const QString text = "Socket error: Address family not supported by protocol";
    QCOMPARE(can.lastError(), text);
    QCOMPARE(can.socketId(), -1);
    QVERIFY(log.holds("[debug][openCan]portName: can0"));
    QVERIFY(log.holds("[warning][setLastError]" + text));
}

void tst_CanDevice::emptyMapFailsButClosesAnOpenSocket()
{
    Pair pair;
    CanDevice can;
    can.setSocketId(pair.device);

    QVERIFY(!can.openCan({}));

    QCOMPARE(can.lastError(), QString("Map is empty"));
    QCOMPARE(can.socketId(), -1);
    QVERIFY(!isDescriptorOpen(pair.device));
}

void tst_CanDevice::descriptorZeroCountsAsNotOpen()
{
    const bool hadZero = isDescriptorOpen(0);
    CanDevice can;
    can.setSocketId(0);

    QVERIFY(!can.openCan({}));
    QCOMPARE(can.socketId(), 0);
    can.closeCan({});
    QCOMPARE(can.socketId(), 0);
    QVERIFY(can.isStop());
    QCOMPARE(isDescriptorOpen(0), hadZero);
}

void tst_CanDevice::opensInterfaceByName()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    LogCapture log("ky.ports");
    CanDevice can;
    can.setStop(true);

    QVERIFY(can.openCan({{"portName", "can0"}}));

    QVERIFY(can.socketId() > 0);
    QVERIFY(bus.accept() >= 0);
    QVERIFY(!can.isStop());
    QCOMPARE(can.canName(), QString());
    QCOMPARE(fcntl(can.socketId(), F_GETFL) & O_NONBLOCK, 0);
    QVERIFY(fcntl(can.socketId(), F_GETFD) & FD_CLOEXEC);
    QVERIFY(log.holds(QString("[debug][openCan]_socketId %1").arg(can.socketId())));
    QVERIFY(can.writeCan({{"frameId", 0x42}, {"data", QByteArray("hi")}}));
    QCOMPARE(bus.receive().can_id, 0x42u);
}

void tst_CanDevice::receiveQueueIsAsLongAsTheHostAllows()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    CanDevice can;

    QVERIFY(can.openCan({{"portName", "can0"}}));

    QCOMPARE(receiveQueueOf(can.socketId()), longestReceiveQueue());
}

void tst_CanDevice::openingAgainClosesTheFirstSocket()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    CanDevice can;
    QVERIFY(can.openCan({{"portName", "can0"}}));
    const int first = bus.accept();

    QVERIFY(can.openCan({{"portName", "can0"}}));

    char byte;
    QCOMPARE(::recv(first, &byte, 1, MSG_DONTWAIT), ssize_t(0)); // the end of the first one
    bus.accept();
    QVERIFY(can.writeCan({{"frameId", 7}}));
    QCOMPARE(bus.receive().can_id, 7u);
}

void tst_CanDevice::unknownInterfaceIsAnIoctlError_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("unknown") << "can9";
    QTest::newRow("empty") << "";
    QTest::newRow("15 bytes") << "can012345678901";
}

void tst_CanDevice::unknownInterfaceIsAnIoctlError()
{
    QFETCH(QString, name);
    CanBusFolder folder;
    CanBus bus(folder.path());
    CanDevice can;

    QVERIFY(!can.openCan({{"portName", name}}));

    QCOMPARE(can.lastError(), QString("IOCTL error: No such device"));
    QCOMPARE(can.socketId(), -1);
}

void tst_CanDevice::refusedBindIsABindError()
{
    CanBusFolder folder;
    QFile dead(folder.path() + "/can0"); // an interface that no socket can be bound to
    QVERIFY(dead.open(QIODevice::WriteOnly));
    CanDevice can;

    QVERIFY(!can.openCan({{"portName", "can0"}}));

    QCOMPARE(can.lastError(), QString("Bind error: Connection refused"));
    QCOMPARE(can.socketId(), -1);
}

void tst_CanDevice::overLongNameIsRefused_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("16 bytes") << "can0123456789012";
    QTest::newRow("16 bytes in 6 letters") << QString::fromUtf8("总线总线总c");
    QTest::newRow("a million") << QString(1000000, 'c');
    QTest::newRow("zero byte inside") << QString("can0") + QChar(0) + "x";
}

void tst_CanDevice::overLongNameIsRefused()
{
    QFETCH(QString, name);
    CanBusFolder folder;
    CanBus bus(folder.path());
    CanDevice can;

    QVERIFY(!can.openCan({{"portName", name}}));

    QCOMPARE(can.lastError(),
             QString("Interface name [%1]: more than 15 bytes, or a zero byte").arg(name));
    QCOMPARE(can.socketId(), -1);
}

void tst_CanDevice::writesFrame_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("dataLength");
    QTest::addColumn<int>("lengthCode");

    QTest::newRow("3 bytes, length 3") << QByteArray("abc") << 3 << 3;
    QTest::newRow("3 bytes, length 2") << QByteArray("abc") << 2 << 3;
    QTest::newRow("8 bytes, length 2") << QByteArray("abcdefgh") << 2 << 2;
    QTest::newRow("no data, length 0") << QByteArray() << 0 << 0;
    QTest::newRow("no data, length 8") << QByteArray() << 8 << 8;
}

void tst_CanDevice::writesFrame()
{
    QFETCH(QByteArray, data);
    QFETCH(int, dataLength);
    Pair pair;
    CanDevice can;
    can.setSocketId(pair.device);

    QVERIFY(can.writeCan({{"frameId", 0x1ABCDEF0},
                          {"frameType", 1},
                          {"frameFormat", 1},
                          {"dataLength", dataLength},
                          {"data", data}}));

    const can_frame frame = pair.received();
    QCOMPARE(frame.can_id, 0xDABCDEF0u);
    QTEST(int(frame.can_dlc), "lengthCode");
    QCOMPARE(QByteArray(reinterpret_cast<const char*>(frame.data), 8),
             data + QByteArray(8 - data.size(), '\0'));
    QCOMPARE(int(pair.received().can_id), 0xDEAD); // one frame only
}

void tst_CanDevice::refusesWhatNoFrameHolds()
{
    Pair pair;
    CanDevice can;
    can.setSocketId(pair.device);

    QVERIFY(!can.writeCan({{"frameId", 1}, {"data", QByteArray(9, 'x')}}));
    QCOMPARE(can.lastError(), QString("CAN data [9 bytes]: a frame holds at most 8"));
    QVERIFY(!can.writeCan({{"dataLength", 15}, {"data", QByteArray(8, 'x')}}));
    QCOMPARE(can.lastError(), QString("CAN length code [15]: a frame holds at most 8"));
    QCOMPARE(int(pair.received().can_id), 0xDEAD);
    QCOMPARE(can.socketId(), pair.device);
}

void tst_CanDevice::writeOnClosedDeviceFails()
{
    CanDevice can;

    QVERIFY(!can.writeCan({{"frameId", 1}}));

    QCOMPARE(can.lastError(), QString("Write error[socketId:-1  ret:-1]:Bad file descriptor"));
}

void tst_CanDevice::shortWriteFails()
{
    LogCapture log("ky.ports"); // keeps the log out of files while their size is limited
    QTemporaryFile carrier;
    QVERIFY(carrier.open());
    signal(SIGXFSZ, SIG_IGN);
    rlimit old = {};
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit tight = old;
    tight.rlim_cur = 10;
    CanDevice can;
    can.setSocketId(dup(carrier.handle()));

    setrlimit(RLIMIT_FSIZE, &tight);
    const bool isWritten = can.writeCan({{"frameId", 1}});
    setrlimit(RLIMIT_FSIZE, &old);

    QVERIFY(!isWritten);
    QVERIFY2(can.lastError().startsWith(
                 QString("Write error[socketId:%1  ret:10]:").arg(can.socketId())),
             qPrintable(can.lastError()));
    QVERIFY(can.socketId() > 0); // still open
}

/// A bus without a partner acknowledges nothing, so nothing leaves and the socket fills up.
void tst_CanDevice::busThatTakesNoFrameFailsInTime()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    LogCapture log("ky.ports"); // not a line for each frame
    CanDevice can;
    QVERIFY(can.openCan({{"portName", "can0"}}));
    bus.accept();
    QElapsedTimer clock;

    bool isWritten = true;
    for (int i = 0; i < 100000 && isWritten; ++i) {
        clock.start();
        isWritten = can.writeCan({{"frameId", 1}});
    }

    QVERIFY(!isWritten);
    QVERIFY2(clock.elapsed() >= 500 && clock.elapsed() < 5000,
             qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(can.lastError(), QString("Write error[socketId:%1  ret:-1]:Resource temporarily "
                                      "unavailable")
                                  .arg(can.socketId()));
    QVERIFY2(can.socketId() > 0, "still open");
    bus.receive();
    QVERIFY2(can.writeCan({{"frameId", 2}}), "goes on once the bus takes frames again");
}

void tst_CanDevice::emptyMapFailsOnWrite()
{
    Pair pair;
    CanDevice can;
    can.setSocketId(pair.device);

    QVERIFY(!can.writeCan({}));
    QCOMPARE(can.lastError(), QString("Map is empty"));
    QCOMPARE(can.socketId(), pair.device);
}

void tst_CanDevice::closedDeviceDoesNotRead()
{
    CanDevice can;

    can.readCan(); // returns

    QCOMPARE(can.lastError(), QString("socketId < 0"));
    QVERIFY(!can.isReading());
}

void tst_CanDevice::reportsFramesInOrderWithNameAndTime()
{
    Pair pair;
    Loop loop(pair.device);
    LogCapture log("ky.ports");
    loop.start();
    QVERIFY(loop.waitForReading(true));
    const QDateTime before = QDateTime::currentDateTime().addMSecs(-1);

    for (quint32 n = 0; n < 200; ++n)
        pair.send(canFrame(n % 2 ? n | CAN_EFF_FLAG | CAN_RTR_FLAG : n, QByteArray("\x80\xFF", 2)));

    QVERIFY(loop.waitForFrames(200));
    for (int n = 0; n < 200; ++n) {
        const QVariantMap frame = loop.frames[n];
        QCOMPARE(frame.size(), 7);
        QCOMPARE(frame["portName"], QVariant("can0"));
        QCOMPARE(frame["frameId"], QVariant(n));
        QCOMPARE(frame["frameType"], QVariant(n % 2));
        QCOMPARE(frame["frameFormat"], QVariant(n % 2));
        QCOMPARE(frame["dataLength"], QVariant(2));
        QCOMPARE(frame["data"], QVariant(QByteArray("\x80\xFF", 2)));
        const QDateTime time =
            QDateTime::fromString(frame["time"].toString(), "yyyy-MM-dd hh:mm:ss.zzz");
        QVERIFY2(time >= before && time <= QDateTime::currentDateTime(),
                 qPrintable(frame["time"].toString()));
    }
    QVERIFY(log.holds(QString("[debug][readCan]readCan: %1 _isStop: false").arg(pair.device)));
}

void tst_CanDevice::reportsAtMostEightBytesOfData()
{
    Pair pair;
    Loop loop(pair.device);
    loop.start();
    can_frame frame = canFrame(1, "abcdefgh");
    frame.can_dlc = 200;

    pair.send(frame);

    QVERIFY(loop.waitForFrames(1));
    QCOMPARE(loop.frames[0]["dataLength"].toInt(), 200);
    QCOMPARE(loop.frames[0]["data"].toByteArray(), QByteArray("abcdefgh"));
}

void tst_CanDevice::framesOfBothDirectionsAreLogged()
{
    Pair pair;
    LogCapture log("ky.ports");
    Loop loop(pair.device);
    loop.start();

    QVERIFY(loop.device->writeCan({{"frameId", 291}}));
    pair.send(canFrame(291, "abc"));

    QVERIFY(loop.waitForFrames(1));
    QVERIFY2(log.holdsPart("[debug][writeCan]map: ", "(frameId, QVariant(int, 291))"),
             qPrintable(log.lines().join('\n')));
    QVERIFY2(log.holdsPart("[debug][readCan]Received CAN frame: ", "(frameId, QVariant(int, 291))"),
             qPrintable(log.lines().join('\n')));
}

void tst_CanDevice::incompleteFrameIsSkipped()
{
    Pair pair;
    LogCapture log("ky.ports");
    Loop loop(pair.device);
    loop.start();

    pair.send(canFrame(1, "a"), 15);
    pair.send(canFrame(2, "b"));

    QVERIFY(loop.waitForFrames(1));
    QCOMPARE(loop.frames[0]["frameId"].toInt(), 2);
    QCOMPARE(log.count(kIncomplete), 1);
}

void tst_CanDevice::closeDoesNotWakeTheRead()
{
    Pair pair;
    Loop loop(pair.device);
    loop.start();
    QVERIFY(loop.waitForReading(true));
    QVERIFY(TaskState::waitUntilOthersSleep()); // in the read

    loop.device->closeCan({});

    QCOMPARE(loop.device->socketId(), -1);
    QVERIFY(loop.device->isStop());
    QVERIFY(TaskState::waitUntilOthersSleep());
    QVERIFY(loop.device->isReading());
    pair.send(canFrame(1, "a")); // the socket is still there for the read that holds it
    QVERIFY(loop.waitForReading(false));
}

void tst_CanDevice::frameThatComesAfterCloseIsDropped()
{
    Pair pair;
    Loop loop(pair.device);
    loop.start();
    pair.send(canFrame(1, "a"));
    QVERIFY(loop.waitForFrames(1));
    QVERIFY(TaskState::waitUntilOthersSleep());

    loop.device->closeCan({});
    pair.send(canFrame(2, "b"));

    QVERIFY(loop.waitForReading(false));
    QCoreApplication::processEvents();
    QCOMPARE(loop.frames.size(), 1);
}

void tst_CanDevice::loopGoesOnAfterReopening()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    Pair first;
    Loop loop(first.device);
    const auto wake = qScopeGuard([&] { first.hangUp(); }); // a loop that is deaf ends by this
    loop.start();
    first.send(canFrame(1, "a"));
    QVERIFY(loop.waitForFrames(1));

    loop.device->closeCan({});
    QVERIFY(loop.device->openCan({{"portName", "can0"}}));
    bus.accept();
    QVERIFY(loop.device->isReading());
    bus.send(canFrame(2, "b"));

    QVERIFY(loop.waitForFrames(2));
    QCOMPARE(loop.frames[1]["frameId"].toInt(), 2);
}

/// The loop has made up its mind to read; before it does, the port is closed and somebody else
/// opens a descriptor.
void tst_CanDevice::loopNeverReadsFromANumberThatIsSomebodyElses()
{
    Pair port;
    std::unique_ptr<Pair> stranger;
    Loop loop(port.device);
    const std::function<void()> closeAndOpen = [&] {
        loop.device->closeCan({});
        stranger = std::make_unique<Pair>();
        stranger->send(canFrame(7, "other's"));
    };
    readFd = port.device;
    onRead = &closeAndOpen;
    const auto unhook = qScopeGuard([] {
        readFd = -1;
        onRead = nullptr;
    });
    port.send(canFrame(1, "a"));

    loop.start();

    QVERIFY(QTest::qWaitFor([&] { return loop.device->isStop(); }, 3000));
    QVERIFY(loop.waitForReading(false));
    can_frame left = {};
    QCOMPARE(::recv(stranger->device, &left, sizeof left, MSG_DONTWAIT), ssize_t(sizeof left));
    QCOMPARE(left.can_id, 7u);
    ::close(stranger->device);
}

void tst_CanDevice::numberIsFreeOnceTheLoopHasLeft()
{
    Pair port;
    Loop loop(port.device);
    loop.start();
    port.send(canFrame(1, "a"));
    QVERIFY(loop.waitForFrames(1));

    loop.device->closeCan({});
    QCOMPARE(loop.device->socketId(), -1);
    port.send(canFrame(2, "b")); // lets the loop leave

    QVERIFY(loop.waitForReading(false));
    QVERIFY(!isDescriptorOpen(port.device));
}

/// A write may wait for a second, and another thread may close the port meanwhile.
void tst_CanDevice::writeNeverGoesToANumberThatIsSomebodyElses()
{
    Pair port;
    std::unique_ptr<Pair> stranger;
    CanDevice can;
    can.setSocketId(port.device);
    const std::function<void()> closeAndOpen = [&] {
        can.closeCan({});
        stranger = std::make_unique<Pair>();
    };
    writeFd = port.device;
    onWrite = &closeAndOpen;
    const auto unhook = qScopeGuard([] {
        writeFd = -1;
        onWrite = nullptr;
    });

    QVERIFY(can.writeCan({{"frameId", 7}}));

    QVERIFY(stranger);
    QCOMPARE(stranger->received().can_id, 0xDEADu); // nothing
    QCOMPARE(port.received().can_id, 7u);
    QVERIFY(!isDescriptorOpen(port.device));
    ::close(stranger->device);
}

/// Nothing takes the loop out of its read then, so the frame that does counts.
void tst_CanDevice::descriptorSetFromOutsideIsTakenUpAfterTheRead()
{
    Pair first;
    Pair second;
    Loop loop(first.device);
    loop.start();
    first.send(canFrame(1, "a"));
    QVERIFY(loop.waitForFrames(1));

    loop.device->setSocketId(second.device);
    QVERIFY2(isDescriptorOpen(first.device), "left to whoever had set it");
    first.send(canFrame(2, "b"));
    second.send(canFrame(3, "c"));

    QVERIFY(loop.waitForFrames(3));
    QCOMPARE(loop.frames[1]["frameId"].toInt() + loop.frames[2]["frameId"].toInt(), 5);
    ::close(first.device);
}

void tst_CanDevice::quietBusIsReadWithoutPauses()
{
    Pair pair;
    Loop loop(pair.device);
    loop.start();
    QVERIFY(loop.waitForReading(true));
    pauses = 0;

    for (quint32 n = 0; n < 30; ++n) { // fewer than make a busy bus, however fast they come
        pair.send(canFrame(n, "q"));
        QVERIFY(loop.waitForFrames(int(n) + 1));
    }

    QCOMPARE(pauses.load(), 0);
}

void tst_CanDevice::framesOfABusyBusGatherAndAllArrive()
{
    Pair pair;
    Loop loop(pair.device);
    pauses = 0;
    loop.start();

    int sent = 0;
    QVERIFY(sendUntil(pair, &sent, [] { return pauses >= 3; }));
    QVERIFY(loop.waitForFrames(sent));
    QVERIFY(TaskState::waitUntilOthersSleep());
    pair.send(canFrame(quint32(sent++), "last")); // the bus is quiet again

    QVERIFY(loop.waitForFrames(sent));
    for (int n = 0; n < sent; ++n)
        QCOMPARE(loop.frames[n]["frameId"].toInt(), n);
}

void tst_CanDevice::closeWithinAPauseEndsTheLoop()
{
    Pair pair;
    Loop loop(pair.device);
    LogCapture log("ky.ports");
    const std::function<void()> close = [&] { loop.device->closeCan({}); };
    onPause = &close;
    const auto unhook = qScopeGuard([] { onPause = nullptr; });
    loop.start();

    int sent = 0;
    QVERIFY(sendUntil(pair, &sent, [&] { return loop.device->isStop(); }));

    QVERIFY(loop.waitForReading(false));
    QVERIFY(!log.holdsPart("[warning]", "Read error"));
}

void tst_CanDevice::reopeningWithinAPauseGoesOnWithTheNewSocket()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    Pair first;
    Loop loop(first.device);
    std::atomic<bool> isOpened{false};
    const std::function<void()> reopen = [&] {
        loop.device->closeCan({});
        isOpened = loop.device->openCan({{"portName", "can0"}});
    };
    onPause = &reopen;
    const auto unhook = qScopeGuard([] { onPause = nullptr; });
    loop.start();
    int sent = 0;
    QVERIFY(sendUntil(first, &sent, [&] { return isOpened.load(); }));
    bus.accept();

    bus.send(canFrame(0x1FFFFFFF | CAN_EFF_FLAG, "new"));

    QVERIFY(QTest::qWaitFor(
        [&] { return loop.frames.value(loop.frames.size() - 1)["frameId"].toInt() == 0x1FFFFFFF; },
        3000));
    QVERIFY(loop.device->isReading());
}

void tst_CanDevice::reopenedPortIsReadThoughTheOldReadNeverReturns_data()
{
    QTest::addColumn<bool>("isClosedFirst");

    QTest::newRow("closed and opened") << true;
    QTest::newRow("opened afresh") << false;
}

/// The socket of an adapter that was pulled out brings nothing more.
void tst_CanDevice::reopenedPortIsReadThoughTheOldReadNeverReturns()
{
    QFETCH(bool, isClosedFirst);
    CanBusFolder folder;
    CanBus bus(folder.path());
    Pair pulledOut;
    Loop loop(pulledOut.device);
    const auto wake = qScopeGuard([&] { pulledOut.hangUp(); }); // a loop that is deaf ends by this
    loop.start();
    pulledOut.send(canFrame(1, "a"));
    QVERIFY(loop.waitForFrames(1));

    if (isClosedFirst)
        loop.device->closeCan({});
    QVERIFY(loop.device->openCan({{"portName", "can0"}}));
    bus.accept();
    bus.send(canFrame(2, "in"));

    QVERIFY(loop.waitForFrames(2));
    QCOMPARE(loop.frames[1]["frameId"].toInt(), 2);
    QVERIFY(loop.device->isReading());
    char byte;
    QTRY_COMPARE(::recv(pulledOut.peer, &byte, 1, MSG_DONTWAIT), ssize_t(0)); // let go of
    QVERIFY(loop.device->writeCan({{"frameId", 3}}));
    QCOMPARE(bus.receive().can_id, 3u);
}

/// What wakes the loop costs a descriptor of its own, and there may be none.
void tst_CanDevice::reopenedPortIsReadAfterAShortageOfDescriptors()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    Pair pulledOut;
    Loop loop(pulledOut.device);
    const auto wake = qScopeGuard([&] { pulledOut.hangUp(); });
    bool isRead = false;
    {
        const NoMoreDescriptors shortage;
        loop.start();
        pulledOut.send(canFrame(1, "a"));
        isRead = loop.waitForFrames(1);
    }
    QVERIFY(isRead);

    QVERIFY(loop.device->openCan({{"portName", "can0"}}));
    bus.accept();
    bus.send(canFrame(2, "in"));

    QVERIFY(loop.waitForFrames(2));
}

/// An interface that went away and is asked for too early.
void tst_CanDevice::failedReopeningIsOneReadErrorUntilThePortOpens()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    LogCapture log("ky.ports");
    Pair pair;
    Loop loop(pair.device);
    const auto wake = qScopeGuard([&] { pair.hangUp(); });
    loop.start();
    pair.send(canFrame(1, "a"));
    QVERIFY(loop.waitForFrames(1));

    QVERIFY(!loop.device->openCan({{"portName", "can9"}}));
    QCOMPARE(loop.device->socketId(), -1);
    pair.send(canFrame(2, "b")); // the read returns, and finds no descriptor the next time
    QTRY_COMPARE(log.count(kNoDescriptor), 1);
    QVERIFY(!loop.device->openCan({{"portName", "can9"}}));
    QVERIFY(loop.device->isReading());
    QVERIFY(loop.device->openCan({{"portName", "can0"}}));
    bus.accept();
    bus.send(canFrame(3, "c"));

    QVERIFY(loop.waitForFrames(3));
    QCOMPARE(loop.frames[2]["frameId"].toInt(), 3);
    QCOMPARE(log.count(kNoDescriptor), 1);
}

void tst_CanDevice::closeEndsALoopThatHasNoSocket()
{
    CanBusFolder folder;
    LogCapture log("ky.ports");
    Pair pair;
    Loop loop(pair.device);
    const auto wake = qScopeGuard([&] { pair.hangUp(); });
    loop.start();
    pair.send(canFrame(1, "a"));
    QVERIFY(loop.waitForFrames(1));
    QVERIFY(!loop.device->openCan({{"portName", "can9"}}));
    pair.send(canFrame(2, "b"));
    QTRY_COMPARE(log.count(kNoDescriptor), 1);

    loop.device->closeCan({});

    QVERIFY(loop.waitForReading(false));
    QCOMPARE(log.count(kNoDescriptor), 1);
}

void tst_CanDevice::failedReadIsWarnedOfAndRepeatedAtOnce()
{
    Pair pair;
    const int unreadable = open("/dev/null", O_WRONLY | O_CLOEXEC);
    LogCapture log("ky.ports");
    Loop loop(unreadable);
    loop.start();

    QTRY_VERIFY(log.count("[warning][readCan]Read error:Bad file descriptor") >= 100);
    QVERIFY(loop.device->isReading());
    loop.device->setSocketId(pair.device); // a descriptor that can be read ends it
    pair.send(canFrame(3, "c"));

    QVERIFY(loop.waitForFrames(1));
    QCOMPARE(loop.frames[0]["frameId"].toInt(), 3);
    ::close(unreadable);
}

void tst_CanDevice::peerThatGoesAwayIsAnEndlessIncompleteFrame()
{
    Pair pair;
    LogCapture log("ky.ports");
    Loop loop(pair.device);
    loop.start();
    pair.send(canFrame(1, "a"));
    QVERIFY(loop.waitForFrames(1));

    pair.hangUp();

    QTRY_VERIFY(log.count(kIncomplete) >= 100); // no delay between them
    QVERIFY(loop.device->isReading());
    QVERIFY(!loop.device->writeCan({{"frameId", 1}}));
    QCOMPARE(loop.device->lastError(),
             QString("Write error[socketId:%1  ret:-1]:Broken pipe").arg(pair.device));
    loop.device->closeCan({});
    QVERIFY(loop.waitForReading(false));
    QCOMPARE(loop.frames.size(), 1);
}

void tst_CanDevice::destructorClosesTheSocket()
{
    Pair pair;
    {
        CanDevice can;
        can.setSocketId(pair.device);
    }
    QVERIFY(!isDescriptorOpen(pair.device));
}

void tst_CanDevice::destructorLetsNoSignalOut()
{
    Pair pair;
    auto can = std::make_unique<CanDevice>();
    can->setSocketId(pair.device);
    QSignalSpy frames(can.get(), &CanDevice::sigReadyRead);
    bool hasClosed = false;
    const std::function<void()> hook = [&hasClosed, device = can.get()] {
        hasClosed = true;
        emit device->sigReadyRead({}); // as a loop may at this moment
    };
    onClose = &hook;
    const auto unhook = qScopeGuard([] { onClose = nullptr; });

    can.reset();

    QVERIFY(hasClosed);
    QCOMPARE(frames.count(), 0);
}

QTEST_GUILESS_MAIN(tst_CanDevice)
#include "tst_CanDevice.moc"
