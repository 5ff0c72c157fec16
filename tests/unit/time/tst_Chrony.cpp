#include "TestClock.h"
#include "TimeHost.h"

#include "recorded/RecordedHost.h"
#include "time/NTPPackage.h"
#include "time/SystemNTP.h"

#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUdpSocket>
#include <QtTest>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <grp.h>
#include <memory>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr int kStartLimitMs = 5000;
constexpr int kReplyLimitMs = 2000;
constexpr int kExchanges = 20;
constexpr int kMeasureLimitMs = 10000;
constexpr uid_t kNobody = 65534;

/// A child that has no privileges, whoever runs the test, and does not outlive it.
class UnprivilegedProcess : public QProcess
{
protected:
    void setupChildProcess() override
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (geteuid() != 0)
            return;
        if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)
            _exit(127);
    }
};

quint16 freeUdpPort()
{
    QUdpSocket socket;
    socket.bind(QHostAddress(QHostAddress::LocalHost));
    return socket.localPort();
}

/// The real chronyd as a server of the machine's own clock: on loopback, without the right to
/// touch the clock, with all its files in a folder of its own.
class Chronyd
{
public:
    ~Chronyd()
    {
        _process.terminate();
        if (!_process.waitForFinished(kStartLimitMs))
            _process.kill();
        _process.waitForFinished(kStartLimitMs);
    }

    static QString program()
    {
        return QStandardPaths::findExecutable("chronyd", {"/usr/sbin", "/usr/bin"});
    }

    bool start()
    {
        const QByteArray folder = QFile::encodeName(_folder.path());
        if (geteuid() == 0 && chown(folder.constData(), kNobody, kNobody) != 0)
            return false;
        QFile config(_folder.filePath("chrony.conf"));
        if (!config.open(QIODevice::WriteOnly))
            return false;
        config.write("local stratum 3\nallow 127.0.0.1\nbindaddress 127.0.0.1\ncmdport 0\n"
                     "port " +
                     QByteArray::number(_port) + "\nbindcmdaddress " + folder +
                     "/chronyd.sock\npidfile " + folder + "/chronyd.pid\n");
        config.close();
        config.setPermissions(QFile::Permissions(0x7644));
        _process.setProcessChannelMode(QProcess::MergedChannels);
        _process.start(program(), {"-x", "-d", "-U", "-u", userName(), "-f", config.fileName()});
        return _process.waitForStarted(kStartLimitMs);
    }

    quint16 port() const { return _port; }
    bool answers() const
    {
        QUdpSocket socket;
        socket.connectToHost("127.0.0.1", _port);
        socket.write(NTPPackage().toByteArray().leftJustified(48, '\0'));
        return socket.waitForReadyRead(kReplyLimitMs) && socket.pendingDatagramSize() == 48;
    }
    bool isRunning() const { return _process.state() == QProcess::Running; }
    QByteArray output()
    {
        _process.waitForFinished(kReplyLimitMs);
        return _process.readAll();
    }

private:
    static QString userName()
    {
        const passwd* user = getpwuid(geteuid() == 0 ? kNobody : geteuid());
        return user ? QString::fromLocal8Bit(user->pw_name) : QString();
    }

    QTemporaryDir _folder;
    UnprivilegedProcess _process;
    quint16 _port = freeUdpPort();
};

} // namespace

/// The client against a real server that tells the time of this very machine: what comes out as
/// offset is the client's error, and how far the test has put its own clock off.
class tst_Chrony : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void replyIsThatOfAServer();
    void offsetIsWithinTwoMilliseconds_data();
    void offsetIsWithinTwoMilliseconds();

private:
    QList<qint64> measure(SystemNTP& ntp);

    std::unique_ptr<Chronyd> _chronyd;
    std::unique_ptr<TimeHost> _host;
};

void tst_Chrony::initTestCase()
{
    QVERIFY2(!Chronyd::program().isEmpty(), "chronyd is missing: install the package chrony");
    // Another process may take the free port first.
    for (int attempt = 0; attempt < 3; ++attempt) {
        _chronyd = std::make_unique<Chronyd>();
        QVERIFY(_chronyd->start());
        if (QTest::qWaitFor([this] { return _chronyd->answers() || !_chronyd->isRunning(); },
                            kStartLimitMs) &&
            _chronyd->answers())
            return;
    }
    QFAIL("chronyd does not answer: " + _chronyd->output());
}

void tst_Chrony::init()
{
    _host = std::make_unique<TimeHost>();
}

void tst_Chrony::cleanup()
{
    _host.reset();
    TestClock::runWith(0);
}

void tst_Chrony::cleanupTestCase()
{
    _chronyd.reset();
}

void tst_Chrony::replyIsThatOfAServer()
{
    QUdpSocket socket;
    socket.connectToHost("127.0.0.1", _chronyd->port());
    NTPPackage request;
    socket.write(request.toByteArray().leftJustified(48, '\0'));
    QVERIFY(socket.waitForReadyRead(kReplyLimitMs));
    QByteArray datagram(int(socket.pendingDatagramSize()), '\0');
    socket.readDatagram(datagram.data(), datagram.size());

    NTPPackage reply;
    reply.parseByByteArray(datagram);

    QCOMPARE(datagram.size(), 48);
    QCOMPARE(int(reply.li), 0);
    QCOMPARE(int(reply.vn), 3);
    QCOMPARE(int(reply.mode), 4);
    QCOMPARE(int(reply.stratum), 3);
    QCOMPARE(reply.referenceId, 0x7F7F0101u);
    QVERIFY(reply.precision < -10);
    QVERIFY(reply.receiveTimestamp <= reply.transmitTimestamp);
    QVERIFY(qAbs(reply.transmitTimestamp - reply.localTimestamp) < kReplyLimitMs);
}

void tst_Chrony::offsetIsWithinTwoMilliseconds_data()
{
    QTest::addColumn<qint64>("shiftMs");

    QTest::newRow("same clock") << qint64(0);
    QTest::newRow("an hour ahead") << qint64(3600000);
    QTest::newRow("a year behind") << qint64(-365LL * 86400000);
}

void tst_Chrony::offsetIsWithinTwoMilliseconds()
{
    QFETCH(qint64, shiftMs);
    // For 256 seconds in every 18 hours the third byte of the seconds is zero and every request
    // is cut; ten minutes further none is.
    const auto isCut = [](qint64 ms) { return (ms / 1000 + 2208988800) / 256 % 256 == 0; };
    if (isCut(TestClock::machineMs() + shiftMs) || isCut(TestClock::machineMs() + shiftMs + 60000))
        shiftMs += 600000;
    TestClock::runWith(shiftMs);
    SystemNTP ntp(nullptr);

    const QList<qint64> offsets = measure(ntp);

    // The scheduler may delay single exchanges; the middle one tells what the client itself does.
    QCOMPARE(offsets.size(), kExchanges);
    QList<qint64> errors;
    for (qint64 offset : offsets)
        errors << qAbs(offset + shiftMs);
    std::sort(errors.begin(), errors.end());
    const qint64 median = errors.at(kExchanges / 2);
    qInfo("%d exchanges, error %lld ms at best, %lld ms in the middle, %lld ms at worst",
          kExchanges, errors.first(), median, errors.last());
    QVERIFY(median <= 2);
}

/// The offsets of some exchanges, as logged. One whose timestamp was cut has none: that lasts for
/// a second at most, every 256 of them.
QList<qint64> tst_Chrony::measure(SystemNTP& ntp)
{
    QSignalSpy finished(&ntp, &SystemNTP::sigSetTimeFinished);
    QList<qint64> offsets;
    const QDeadlineTimer deadline(kMeasureLimitMs);
    while (offsets.size() < kExchanges && !deadline.hasExpired()) {
        const int before = TimeHost::logLines().filter("[offset:").size();
        if (!ntp.ntpTime("127.0.0.1", _chronyd->port(), 0) || !finished.wait(kReplyLimitMs))
            continue;
        const QStringList lines = TimeHost::logLines().filter("[offset:");
        if (lines.size() > before)
            offsets << lines.last().section(' ', 1, 1).toLongLong();
    }
    return offsets;
}

QTEST_GUILESS_MAIN(tst_Chrony)
#include "tst_Chrony.moc"
