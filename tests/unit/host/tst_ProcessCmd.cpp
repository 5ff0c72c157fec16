#include "TaskState.h"

#include "host/PublicClass.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

class tst_ProcessCmd : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void statusDecides_data();
    void statusDecides();
    void scriptCommandIsRunTheSameWay();
    void outputIsUntouched_data();
    void outputIsUntouched();
    void outputOfTheCallBeforeIsReplaced();
    void tenMebibytesArrive();
    void bothStreamsFlowTogether();
    void moreThanTheBoundIsCut();
    void standardInputIsEmpty();
    void environmentAndFolderAreThoseOfTheDaemon();
    void zeroByteInTheLineIsRefused();
    void lineLongerThanTheKernelTakesIsTold();

    void limitIsTold();
    void limitGivesWhatWasPrintedBefore();
    void limitOfZeroOrLessEndsAtOnce();
    void limitEndsTheGrandchildToo();
    void limitEndsWhoIgnoresTheSignalToStop();
    void limitHoldsForAProgramThatMayNotBeKilled();

    void backgroundJobDoesNotDelayTheReturn();
    void backgroundJobMayPrintLater();
    void backgroundJobThatPrintsForEverDoesNotDelay();
    void manyBackgroundJobsAreServedAtOnce();

    void sixtyFourThreadsGetTheirOwnAnswers();
    void childGetsNoDescriptorOfOurs();
    void noDescriptorIsLeftOpenHere();
    void noZombieIsLeft();
    void worksWithoutStandardDescriptors();
    void signalsAreDefaultInTheChild();

private:
    QString path(const char* name) const { return _folder->filePath(QString::fromUtf8(name)); }
    pid_t pidIn(const char* name);

    std::unique_ptr<QTemporaryDir> _folder;
    std::vector<pid_t> _jobs; ///< what a line left behind on purpose
};

namespace {

constexpr int kLimitMs = 20000;

struct Result
{
    bool hasRun = false;
    QString output;
    qint64 elapsedMs = 0;
};

Result run(const QString& line, int limitMs = kLimitMs)
{
    Result result;
    QElapsedTimer clock;
    clock.start();
    result.hasRun = PublicClass::init()->processCmd(line, result.output, limitMs, true);
    result.elapsedMs = clock.elapsed();
    return result;
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Whether a process runs; one that is dead but not yet reaped by its parent does not.
bool isAlive(pid_t pid)
{
    const QByteArray stat = contentOf(QStringLiteral("/proc/%1/stat").arg(pid));
    const int end = stat.lastIndexOf(')');
    return end > 0 && stat.mid(end + 2, 1) != "Z" && stat.mid(end + 2, 1) != "X";
}

int openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
}

/// One of the sets in the text of /proc/PID/status.
quint64 signalSet(const QString& status, const char* name)
{
    const int at = status.indexOf(QLatin1String(name));
    return at < 0 ? ~quint64(0)
                  : status.mid(at + 7, 20).trimmed().left(16).toULongLong(nullptr, 16);
}

/// No child is left, dead or alive.
bool hasNoChild()
{
    return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

} // namespace

void tst_ProcessCmd::init()
{
    _folder = std::make_unique<QTemporaryDir>();
    QVERIFY(_folder->isValid());
}

void tst_ProcessCmd::cleanup()
{
    for (pid_t pid : _jobs)
        kill(pid, SIGKILL);
    _jobs.clear();
}

/// The pid that a line wrote to that file, ended when the test is over.
pid_t tst_ProcessCmd::pidIn(const char* name)
{
    const pid_t pid = contentOf(path(name)).trimmed().toInt();
    if (pid > 1)
        _jobs.push_back(pid);
    return pid;
}

void tst_ProcessCmd::statusDecides_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("hasRun");
    QTest::addColumn<QString>("output");

    QTest::newRow("success") << "echo hi" << true << "hi\n";
    QTest::newRow("success without a word") << "true" << true << "";
    QTest::newRow("empty line") << "" << true << "";
    QTest::newRow("success with a complaint") << "echo out; echo err >&2" << true << "out\n";
    QTest::newRow("failure without a word") << "false" << false << "exit status 1";
    QTest::newRow("other status") << "exit 7" << false << "exit status 7";
    QTest::newRow("standard error first") << "echo o; echo e >&2; exit 1" << false << "e\n";
    QTest::newRow("standard output second") << "echo o; exit 1" << false << "o\n";
    QTest::newRow("no such command") << "ky-none 2>/dev/null" << false << "exit status 127";
    QTest::newRow("signal") << "kill -9 $$" << false << "ended by signal 9 (Killed)";
    QTest::newRow("signal after output") << "echo o; kill -15 $$" << false << "o\n";
    QTest::newRow("pipe ends well") << "false | true" << true << "";
    QTest::newRow("list ends well") << "false; echo x" << true << "x\n";

    QTest::newRow("grep finds") << "echo wlan0 | grep w" << true << "wlan0\n";
    QTest::newRow("grep finds nothing") << "echo eth0 | grep w" << true << "";
    QTest::newRow("grep alone finds nothing") << "grep nothing /dev/null" << true << "";
    QTest::newRow("grep with blanks behind") << "echo eth0 |grep %  " << true << "";
    QTest::newRow("grep -q finds nothing") << "echo a | grep -q b" << true << "";
    QTest::newRow("grep counts nothing") << "echo a | grep -c b" << false << "0\n";
    QTest::newRow("grep of a missing file, silent")
        << "grep -s x /none" << false << "exit status 2";
    QTest::newRow("complaint before the grep")
        << "ls /none 2>&1 >/dev/null | grep zzz" << true << "";
    QTest::newRow("grep and true behind") << "echo a | grep b; true" << true << "";
    QTest::newRow("grep is not the last") << "echo a | grep b | false" << false << "exit status 1";
    QTest::newRow("false behind grep")
        << "echo a | grep a >/dev/null; false" << false << "exit status 1";
    QTest::newRow("the word grep elsewhere") << "false grep" << false << "exit status 1";
}

void tst_ProcessCmd::statusDecides()
{
    QFETCH(QString, line);
    QFETCH(bool, hasRun);
    QFETCH(QString, output);

    const Result result = run(line);

    QCOMPARE(result.output, output);
    QCOMPARE(result.hasRun, hasRun);
}

void tst_ProcessCmd::scriptCommandIsRunTheSameWay()
{
    QFile script(path("hal.sh"));
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\n[ \"$1\" = volume ] && echo \"$@\" && exit 0\n"
                 "echo \"no verb $1\" >&2; exit 2\n");
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    script.close();
    QString output;

    QVERIFY(PublicClass::init()->cmdHalSh(script.fileName() + QStringLiteral(" volume set 40%"),
                                          output, kLimitMs));
    QCOMPARE(output, QStringLiteral("volume set 40%\n"));
    QVERIFY(!PublicClass::init()->cmdHalSh(script.fileName() + QStringLiteral(" fly"), output,
                                           kLimitMs));
    QCOMPARE(output, QStringLiteral("no verb fly\n"));
}

void tst_ProcessCmd::outputIsUntouched_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("output");
    QTest::newRow("blanks and line feeds") << "printf '  a \\n\\n'"
                                           << "  a \n\n";
    QTest::newRow("carriage return") << "printf 'a\\r\\n'"
                                     << "a\r\n";
    QTest::newRow("Chinese, whatever the locale") << "LC_ALL=C printf 成功"
                                                  << "成功";
    QTest::newRow("not UTF-8") << "printf 'a\\377\\376b'" << QStringLiteral("a\ufffd\ufffdb");
    QTest::newRow("zero byte") << "printf 'a\\000b'" << QString::fromLatin1("a\0b", 3);
}

void tst_ProcessCmd::outputIsUntouched()
{
    QFETCH(QString, line);
    QFETCH(QString, output);

    const Result result = run(line);

    QVERIFY(result.hasRun);
    QCOMPARE(result.output, output);
}

void tst_ProcessCmd::outputOfTheCallBeforeIsReplaced()
{
    QString output = QStringLiteral("old");

    QVERIFY(PublicClass::init()->processCmd(QStringLiteral("true"), output, kLimitMs, false));

    QCOMPARE(output, QString());
}

void tst_ProcessCmd::tenMebibytesArrive()
{
    const Result result = run(QStringLiteral("head -c 10485760 /dev/zero | tr '\\000' x"));

    QVERIFY(result.hasRun);
    QCOMPARE(result.output.size(), 10485760);
    QCOMPARE(result.output.count(QLatin1Char('x')), 10485760);
}

void tst_ProcessCmd::bothStreamsFlowTogether()
{
    // One of them alone would fill its pipe and stop the tool.
    const Result result =
        run(QStringLiteral("head -c 1000000 /dev/zero | tr '\\000' e >&2; echo out"));

    QVERIFY(result.hasRun);
    QCOMPARE(result.output, QStringLiteral("out\n"));
}

void tst_ProcessCmd::moreThanTheBoundIsCut()
{
    const Result result = run(QStringLiteral("head -c 70000000 /dev/zero | tr '\\000' x"));

    QVERIFY(result.hasRun);
    QCOMPARE(result.output.size(), 64 * 1024 * 1024);
}

void tst_ProcessCmd::standardInputIsEmpty()
{
    const Result result = run(QStringLiteral("cat; readlink /proc/self/fd/0"));

    QCOMPARE(result.output, QStringLiteral("/dev/null\n"));
}

void tst_ProcessCmd::environmentAndFolderAreThoseOfTheDaemon()
{
    qputenv("KY_TEST_VALUE", "五号");

    const Result result = run(QStringLiteral("echo $KY_TEST_VALUE; pwd -P"));

    QCOMPARE(result.output, QStringLiteral("五号\n%1\n").arg(QDir::currentPath()));
}

void tst_ProcessCmd::zeroByteInTheLineIsRefused()
{
    const Result result = run(QStringLiteral("touch '%1'").arg(path("made")) + QChar(0));

    QVERIFY(!result.hasRun);
    QCOMPARE(result.output, QStringLiteral("a command line cannot hold a zero byte"));
    QVERIFY(!QFile::exists(path("made")));
}

void tst_ProcessCmd::lineLongerThanTheKernelTakesIsTold()
{
    const Result result = run(QStringLiteral("true ") + QString(200000, QLatin1Char('x')));

    QVERIFY(!result.hasRun);
    QCOMPARE(result.output, QStringLiteral("start of /bin/sh: Argument list too long"));
}

void tst_ProcessCmd::limitIsTold()
{
    const Result result = run(QStringLiteral("sleep 30"), 150);

    QVERIFY(!result.hasRun);
    QCOMPARE(result.output, QStringLiteral("not ended in 150 ms"));
    QVERIFY2(result.elapsedMs >= 150 && result.elapsedMs < 5000,
             qPrintable(QString::number(result.elapsedMs)));
}

void tst_ProcessCmd::limitGivesWhatWasPrintedBefore()
{
    QCOMPARE(run(QStringLiteral("echo half; sleep 30"), 150).output, QStringLiteral("half\n"));
    QCOMPARE(run(QStringLiteral("echo half; echo why >&2; sleep 30"), 150).output,
             QStringLiteral("why\n"));
}

void tst_ProcessCmd::limitOfZeroOrLessEndsAtOnce()
{
    for (int limitMs : {0, -1, INT_MIN}) {
        const Result result = run(QStringLiteral("sleep 30"), limitMs);

        QVERIFY(!result.hasRun);
        QVERIFY(result.elapsedMs < 5000);
    }
}

void tst_ProcessCmd::limitEndsTheGrandchildToo()
{
    const Result result =
        run(QStringLiteral("(sh -c 'echo $$ > %1; sleep 300; :') | cat").arg(path("pid")), 300);
    const pid_t grandchild = pidIn("pid");

    QVERIFY(!result.hasRun);
    QVERIFY(grandchild > 1);
    QTRY_VERIFY_WITH_TIMEOUT(!isAlive(grandchild), 2000);
}

void tst_ProcessCmd::limitEndsWhoIgnoresTheSignalToStop()
{
    const Result result = run(QStringLiteral("trap '' TERM HUP INT PIPE; sleep 30; sleep 30"), 150);

    QVERIFY(!result.hasRun);
    QVERIFY(result.elapsedMs < 5000);
    QVERIFY(hasNoChild());
}

/// A tool under sudo belongs to root: the daemon's signal does not reach it. The caller gets its
/// thread back all the same, and the tool is reaped when it ends.
void tst_ProcessCmd::limitHoldsForAProgramThatMayNotBeKilled()
{
    if (geteuid() != 0)
        QSKIP("needs root to make a program of root's");
    const QString program = path("unkillable");
    QVERIFY(QFile::copy(QStringLiteral(KY_UNKILLABLE), program));
    QCOMPARE(chmod(QFile::encodeName(program).constData(), 04755), 0);
    QCOMPARE(chmod(QFile::encodeName(_folder->path()).constData(), 0777), 0);
    const QByteArray mounts =
        run(QStringLiteral("findmnt -no OPTIONS -T %1").arg(program)).output.toLatin1();
    if (mounts.contains("nosuid"))
        QSKIP("the temporary folder takes no set-user-ID programs");
    Result result;

    std::thread([&] {
        syscall(SYS_setresuid, 65534, 65534, 65534); // of this thread alone
        result = run(QStringLiteral("exec %1 %2").arg(program, path("pid")), 500);
    }).join();

    const pid_t pid = pidIn("pid");
    QVERIFY(pid > 1);
    QVERIFY(!result.hasRun);
    QVERIFY2(result.elapsedMs < 6000, qPrintable(QString::number(result.elapsedMs)));
    QVERIFY(isAlive(pid));
    QCOMPARE(kill(pid, SIGKILL), 0);
    QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(QStringLiteral("/proc/%1").arg(pid)), 3000);
}

void tst_ProcessCmd::backgroundJobDoesNotDelayTheReturn()
{
    const Result result = run(QStringLiteral("sleep 30 & echo $! > %1; echo on").arg(path("pid")));
    const pid_t job = pidIn("pid");

    QVERIFY(result.hasRun);
    QCOMPARE(result.output, QStringLiteral("on\n"));
    QVERIFY2(result.elapsedMs < 5000, qPrintable(QString::number(result.elapsedMs)));
    QVERIFY(isAlive(job));
}

/// Its output goes nowhere by then, but it is neither ended by a broken pipe nor stopped by a full
/// one.
void tst_ProcessCmd::backgroundJobMayPrintLater()
{
    const QString job = QStringLiteral("(while [ ! -e %1 ]; do sleep 0.02; done; echo late; "
                                       "head -c 1000000 /dev/zero; echo err >&2; "
                                       "echo survived > %2) & echo on")
                            .arg(path("go"), path("state"));
    const Result result = run(job);
    QCOMPARE(result.output, QStringLiteral("on\n"));

    QVERIFY(QFile(path("go")).open(QIODevice::WriteOnly));

    QTRY_COMPARE_WITH_TIMEOUT(contentOf(path("state")), QByteArray("survived\n"), 5000);
}

void tst_ProcessCmd::backgroundJobThatPrintsForEverDoesNotDelay()
{
    const Result result = run(QStringLiteral("yes & echo $! > %1; sleep 0.1").arg(path("pid")));
    const pid_t job = pidIn("pid");

    QVERIFY(result.hasRun);
    QVERIFY2(result.elapsedMs < 5000, qPrintable(QString::number(result.elapsedMs)));
    QVERIFY(isAlive(job));
}

void tst_ProcessCmd::manyBackgroundJobsAreServedAtOnce()
{
    const int before = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        const QString done = path("done") + QString::number(i);
        run(QStringLiteral("(sleep 0.1; head -c 200000 /dev/zero; echo x > %1) & true").arg(done));
    }

    for (int i = 0; i < 20; ++i)
        QTRY_COMPARE_WITH_TIMEOUT(contentOf(path("done") + QString::number(i)), QByteArray("x\n"),
                                  5000);
    // The drain's own set is all that may have been added.
    QTRY_VERIFY_WITH_TIMEOUT(openDescriptors() <= before + 1, 5000);
}

void tst_ProcessCmd::sixtyFourThreadsGetTheirOwnAnswers()
{
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 64; ++i)
        threads.emplace_back([&, i] {
            const Result result =
                run(QStringLiteral("sleep 0.05; echo out%1; echo err%1 >&2; exit %2")
                        .arg(i)
                        .arg(i % 2));
            const QString expected =
                (i % 2 ? QStringLiteral("err%1\n") : QStringLiteral("out%1\n")).arg(i);
            wrong += result.output == expected && result.hasRun == (i % 2 == 0) ? 0 : 1;
        });
    for (std::thread& thread : threads)
        thread.join();

    QCOMPARE(wrong.load(), 0);
    QVERIFY(hasNoChild());
}

void tst_ProcessCmd::childGetsNoDescriptorOfOurs()
{
    const int low = open("/dev/null", O_RDONLY);
    const int high = fcntl(low, F_DUPFD, 200);
    QVERIFY(low > 2 && high >= 200);

    const Result result = run(QStringLiteral("ls /proc/$$/fd; true"));
    close(low);
    close(high);

    QCOMPARE(result.output.simplified(), QStringLiteral("0 1 2"));
}

void tst_ProcessCmd::noDescriptorIsLeftOpenHere()
{
    run(QStringLiteral("(sleep 0.01; echo late) & true")); // starts the drain
    QVERIFY(TaskState::waitUntilOthersSleep());
    const int before = openDescriptors();

    for (int i = 0; i < 30; ++i) {
        run(QStringLiteral("echo x; echo y >&2"));
        run(QStringLiteral("false"));
        run(QStringLiteral("kill -9 $$"));
        run(QString(200000, QLatin1Char('x')));
    }
    run(QStringLiteral("sleep 9"), 20);

    QTRY_VERIFY_WITH_TIMEOUT(openDescriptors() <= before, 2000);
}

void tst_ProcessCmd::noZombieIsLeft()
{
    run(QStringLiteral("true"));
    run(QStringLiteral("kill -9 $$"));
    run(QStringLiteral("sleep 9"), 20);

    QVERIFY(hasNoChild());
}

/// A daemon started without standard descriptors gets the numbers 0 to 2 for its own pipes.
void tst_ProcessCmd::worksWithoutStandardDescriptors()
{
    int kept[3];
    for (int fd = 0; fd < 3; ++fd) {
        kept[fd] = fcntl(fd, F_DUPFD_CLOEXEC, 100);
        close(fd);
    }
    const Result out = run(QStringLiteral("echo out; echo err >&2"));
    const Result err = run(QStringLiteral("echo out; echo err >&2; exit 1"));
    for (int fd = 0; fd < 3; ++fd) {
        dup2(kept[fd], fd);
        close(kept[fd]);
    }

    QCOMPARE(out.output, QStringLiteral("out\n"));
    QCOMPARE(err.output, QStringLiteral("err\n"));
}

void tst_ProcessCmd::signalsAreDefaultInTheChild()
{
    const auto before = signal(SIGPIPE, SIG_IGN);
    const auto usr1 = signal(SIGUSR1, SIG_IGN);
    sigset_t all;
    sigset_t mask;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &mask);

    const Result result = run(QStringLiteral("cat /proc/self/status"));
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    signal(SIGPIPE, before);
    signal(SIGUSR1, usr1);

    // Signals 32 and 33 belong to the C library.
    const quint64 ours = ~quint64(0x180000000);
    QCOMPARE(signalSet(result.output, "SigBlk:") & ours, quint64(0));
    QCOMPARE(signalSet(result.output, "SigIgn:") & ours, quint64(0));
}

QTEST_GUILESS_MAIN(tst_ProcessCmd)
#include "tst_ProcessCmd.moc"
