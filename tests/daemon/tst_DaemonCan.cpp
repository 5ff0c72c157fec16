#include "PortsDaemon.h"
#include "SimulatedHost.h"
#include "TaskState.h"

#include <atomic>
#include <memory>
#include <thread>

/// Setting CAN interfaces up, listing them, and watchers that do not keep up, through the real
/// daemon and the real client.
class tst_DaemonCan : public QObject
{
    Q_OBJECT

private slots:
    void configSetsAnInterfaceUp();
    void savingSetsUpWhatIsSavedOnlyIfAsked();
    void listTellsWhatTheHostHas();
    void listTellsWhichSavedPortsAreOpen();
    void framesFlowWhileAnInterfaceIsSetUp();
    void furtherSignalsCutNoWorkShort();
    void watcherThatStopsReadingIsCutOff();
};

namespace {

/// The daemon on a simulated host with two CAN interfaces, both down.
class HostDaemon : public DaemonFixture
{
public:
    explicit HostDaemon(const QString& model)
    {
        host.set("can0", R"({"name":"can0","type":"can","mtu":16,"queueLength":10,"up":false})");
        host.set("can1", R"({"name":"can1","type":"can","mtu":16,"queueLength":10,"up":false})");
        runUnder({programPath("hostsim"), "run", "--state", host.folder(), "--"});
        _isReady = start("tbxName=" + model + "\n");
    }
    bool isReady() const { return _isReady; }
    /// The lines that deal with the two interfaces; the daemon has more to ask of a host.
    QStringList canLines() const
    {
        return host.lines().filter(QRegularExpression("\\bcan[01]\\b"));
    }
    /// "state" by "portName".
    QMap<QString, int> states()
    {
        QMap<QString, int> states;
        for (const QVariant& port : call(*this, "can_list")["ports"].toList())
            states[port.toMap()["portName"].toString()] = port.toMap()["state"].toInt();
        return states;
    }

    SimulatedHost host;

private:
    bool _isReady = false;
};

/// The tools of a set-up, first on the PATH of what is started: they note the lines that deal with
/// "cab1" and do not end before release(). All others end well.
class SlowTools
{
public:
    SlowTools()
        : _oldPath(qgetenv("PATH"))
    {
        for (const char* name : {"ifconfig", "ip"})
            write(name);
        qputenv("PATH", QFile::encodeName(_folder.path()) + ':' + _oldPath);
    }
    ~SlowTools()
    {
        qputenv("PATH", _oldPath);
        release();
    }
    QByteArray lines() const
    {
        QFile log(_folder.filePath("log"));
        return log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
    }
    void release() const
    {
        QFile go(_folder.filePath("go"));
        go.open(QIODevice::WriteOnly);
    }

private:
    void write(const char* name) const
    {
        QFile tool(_folder.filePath(name));
        const QByteArray folder = QFile::encodeName(_folder.path());
        const QByteArray text = "#!/bin/sh\ncase \"$*\" in *cab1*) ;; *) exit 0 ;; esac\necho \"" +
                                QByteArray(name) + " $*\" >>" + folder +
                                "/log\nfor i in $(seq 150); do [ -e " + folder +
                                "/go ] && exit 0; sleep 0.1; done\n";
        if (!tool.open(QIODevice::WriteOnly) || tool.write(text) != text.size())
            qFatal("tool");
        tool.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    }

    QTemporaryDir _folder;
    QByteArray _oldPath;
};

QStringList setupLines(const QString& dev, const QString& timing)
{
    return {"ifconfig " + dev + " down", "ip link set " + dev + " type can " + timing,
            "ip link set " + dev + " txqueuelen 1000", "ifconfig " + dev + " up"};
}

// The controllers of the simulated host take any bit rate, and none of the fixed timings.
constexpr char kBitrateModel[] = "TBX880";
constexpr char kTimingModel[] = "TBX100";

} // namespace

void tst_DaemonCan::configSetsAnInterfaceUp()
{
    HostDaemon daemon(kBitrateModel);
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));

    const ProgramResult result = daemon.kyctl({"can", "config", "can0", "250000"});

    QVERIFY2(result.status == 0, result.errors.constData());
    QCOMPARE(daemon.canLines(), setupLines("can0", "bitrate 250000"));
    QCOMPARE(daemon.host.get("can0.up"), QString("true"));
    QCOMPARE(daemon.host.get("can0.queueLength"), QString("1000"));
    QCOMPARE(daemon.host.get("can1.up"), QString("false"));
}

void tst_DaemonCan::savingSetsUpWhatIsSavedOnlyIfAsked()
{
    HostDaemon daemon(kTimingModel);
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));

    QCOMPARE(daemon.kyctl({"can", "ports", "save", "can1=125000"}).status, 0);
    QCOMPARE(daemon.canLines(), QStringList());
    const ProgramResult result =
        daemon.kyctl({"can", "ports", "save", "can1=125000", "can0=250000", "--apply"});

    QVERIFY2(result.status == 0, result.errors.constData());
    const QString tail = " phase-seg2 10 sjw 4 restart-ms 50";
    QCOMPARE(daemon.canLines(), setupLines("can1", "tq 100 prop-seg 34 phase-seg1 35" + tail) +
                                    setupLines("can0", "tq 50 prop-seg 34 phase-seg1 35" + tail));
    // Both are still down, which nothing tells but the list.
    const QMap<QString, int> both{{"can0", -1}, {"can1", -1}};
    QCOMPARE(daemon.states(), both);
}

void tst_DaemonCan::listTellsWhatTheHostHas()
{
    HostDaemon daemon(kBitrateModel);
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));
    using States = QMap<QString, int>;

    // Nothing but CAN interfaces: this host has lo, a wired and a wireless card, too.
    const QByteArray cards = daemon.host.run("ifconfig -a").output;
    QVERIFY2(cards.contains("lo: ") && cards.contains("wlan0: "), cards.constData());
    QCOMPARE(daemon.states(), (States{{"can0", 0}, {"can1", 0}}));

    QCOMPARE(daemon.kyctl({"can", "ports", "save", "can0=250000"}).status, 0);
    QCOMPARE(daemon.states(), (States{{"can0", -1}, {"can1", 0}}));

    QCOMPARE(daemon.kyctl({"can", "config", "can0", "250000"}).status, 0);
    QCOMPARE(daemon.kyctl({"can", "config", "can1", "250000"}).status, 0);
    QCOMPARE(daemon.states(), (States{{"can0", 1}, {"can1", 0}}));

    daemon.host.set("can0.carrier", "false"); // up, and not running
    QCOMPARE(daemon.states(), (States{{"can0", -1}, {"can1", 0}}));
}

void tst_DaemonCan::listTellsWhichSavedPortsAreOpen()
{
    CanDaemon daemon;
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));
    CanBus bus(daemon.path(), "cab0");
    QCOMPARE(daemon.kyctl({"can", "ports", "save", "cab0=250000", "cab1=250000"}).status, 0);

    QCOMPARE(daemon.kyctl({"can", "open", "cab0"}).status, 0);

    const QByteArray open = daemon.kyctl({"can", "list"}).output;
    QVERIFY2(open.contains("cab0  250000  -      yes\n"), open.constData());
    QVERIFY2(open.contains("cab1  250000  -      -\n"), open.constData());
    QCOMPARE(daemon.kyctl({"can", "close", "cab0"}).status, 0);
    const QByteArray closed = daemon.kyctl({"can", "list"}).output;
    QVERIFY2(closed.contains("cab0  250000  -      -\n"), closed.constData());
}

void tst_DaemonCan::framesFlowWhileAnInterfaceIsSetUp()
{
    const SlowTools tools;
    CanDaemon daemon;
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));
    CanBus bus(daemon.path());
    QCOMPARE(daemon.kyctl({"can", "open", "can0"}).status, 0);
    bus.accept();
    Watcher watcher(daemon, {"can", "watch"});
    QVERIFY(watcher.waitForLines(1, [&] { bus.send(1, "first"); }));

    Watcher setup(daemon, {"can", "config", "cab1", "250000"});
    QTRY_VERIFY(tools.lines().contains("ifconfig cab1 down"));
    bus.send(0x7FF, "now");

    QVERIFY(watcher.waitForText("can0  7FF"));
    QCOMPARE(daemon.kyctl({"can", "send", "can0", "123#"}).status, 0);
    QCOMPARE(daemon.kyctl({"can", "list"}).status, 0);
    QCOMPARE(tools.lines(), QByteArray("ifconfig cab1 down\n")); // still at it
    tools.release();
    QVERIFY(setup.waitEnd());
    QCOMPARE(setup.status(), 0);
    QCOMPARE(tools.lines().count('\n'), 4);
}

void tst_DaemonCan::furtherSignalsCutNoWorkShort()
{
    const SlowTools tools;
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    Watcher setup(daemon, {"can", "config", "cab1", "250000"});
    QTRY_VERIFY(tools.lines().contains("ifconfig cab1 down"));

    for (int i = 0; i < 10; ++i) {
        ::kill(pid_t(daemon.pid()), SIGTERM);
        QTRY_VERIFY(
            !TaskState::isSignalPending(daemon.pid(), SIGTERM)); // each is handled by itself
    }
    QVERIFY(daemon.isRunning());
    tools.release();

    QVERIFY(daemon.waitEnd());
    QCOMPARE(daemon.exitStatus(), 0);
    QCOMPARE(tools.lines().count('\n'), 4);
}

void tst_DaemonCan::watcherThatStopsReadingIsCutOff()
{
#ifdef __SANITIZE_ADDRESS__
    QSKIP("16 MiB of events take a minute in a sanitizer build: the plain build shows it");
#endif
    CanDaemon daemon;
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));
    CanBus bus(daemon.path());
    QCOMPARE(daemon.kyctl({"can", "open", "can0"}).status, 0);
    bus.accept();
    Watcher stopped(daemon, {"can", "watch"});
    QVERIFY(stopped.waitForLines(1, [&] { bus.send(1, "first"); }));

    stopped.signal(SIGSTOP);
    std::atomic<bool> isOver{false};
    std::thread sender([&] {
        while (!isOver && bus.send(0x9ABCDEF0, "flooding"))
            continue;
    });
    const bool isCut = QTest::qWaitFor(
        [&] { return daemon.errorText().contains("does not read, cut off"); }, 60000);
    isOver = true;
    sender.join();
    stopped.signal(SIGCONT);

    QVERIFY(isCut);
    QVERIFY(stopped.waitEnd());
    QCOMPARE(stopped.status(), 3); // what it was told is that the connection is gone
    Watcher next(daemon, {"can", "watch", "--count", "1"});
    QVERIFY(next.waitForLines(1, [&] { bus.send(0x42, "next"); }));
    QVERIFY(next.waitEnd());
    QCOMPARE(next.status(), 0);
    QCOMPARE(daemon.stop(SIGTERM), 0);
}

QTEST_GUILESS_MAIN(tst_DaemonCan)
#include "tst_DaemonCan.moc"
