#include "inventory/ToolProcess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using ky::closeTool;
using ky::ToolProcess;

namespace {

constexpr int kAtOnceMs = 5000; // on a machine that is busy with other tests

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Whether there is such a process, be it one that has ended and is not reaped.
bool isThere(pid_t pid)
{
    return QFile::exists(QStringLiteral("/proc/%1").arg(pid));
}

/// Whether it runs; whose parent is gone may be left to nobody who reaps it.
bool isAlive(pid_t pid)
{
    const QByteArray stat = contentOf(QStringLiteral("/proc/%1/stat").arg(pid));
    const int end = stat.lastIndexOf(')');
    return end > 0 && stat.mid(end + 2, 1) != "Z" && stat.mid(end + 2, 1) != "X";
}

std::unique_ptr<ToolProcess> started(const QString& program, const QStringList& arguments)
{
    auto tool = std::make_unique<ToolProcess>();
    tool->start(program, arguments, QIODevice::ReadWrite);
    return tool;
}

std::unique_ptr<ToolProcess> startedLine(const QString& line)
{
    return started(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), line});
}

} // namespace

class tst_ToolProcess : public QObject
{
    Q_OBJECT

private slots:
    void init() { _folder = std::make_unique<QTemporaryDir>(); }
    void outputOfAToolIsRead();
    void outputUntilTheLimitIsRead();
    void missingProgramHasNoOutput();
    void childrenEndWithTheTool();
    void toolIsReapedWhenClosed();
    void toolThatMayNotBeKilledKeepsNobodyWaiting();
    void backgroundJobOfAToolThatEndedLivesOn();
    void toolThatPrintsForEverIsEnded();
    void complaintsAreNotKept();

private:
    QString path(const char* name) const { return _folder->filePath(QLatin1String(name)); }
    pid_t pidIn(const char* name) const { return contentOf(path(name)).trimmed().toInt(); }

    std::unique_ptr<QTemporaryDir> _folder;
};

void tst_ToolProcess::outputOfAToolIsRead()
{
    auto tool = startedLine(QStringLiteral("echo one; echo two"));

    QVERIFY(tool->waitForFinished(kAtOnceMs));

    QCOMPARE(tool->readAllStandardOutput(), QByteArray("one\ntwo\n"));
    closeTool(std::move(tool));
}

void tst_ToolProcess::outputUntilTheLimitIsRead()
{
    auto tool = startedLine(QStringLiteral("echo one; sleep 60; echo two"));
    QVERIFY(tool->waitForReadyRead(kAtOnceMs));

    QVERIFY(!tool->waitForFinished(100));

    QCOMPARE(tool->readAllStandardOutput(), QByteArray("one\n"));
    closeTool(std::move(tool));
}

void tst_ToolProcess::missingProgramHasNoOutput()
{
    auto tool = started(path("missing"), {});

    QVERIFY(!tool->waitForFinished(kAtOnceMs));

    QCOMPARE(tool->readAllStandardOutput(), QByteArray());
    closeTool(std::move(tool));
}

void tst_ToolProcess::childrenEndWithTheTool()
{
    auto tool = startedLine(QStringLiteral("(echo $BASHPID >%1; echo; exec sleep 60) | cat & "
                                           "(echo $BASHPID >%2; exec sleep 60); true")
                                .arg(path("job"), path("child")));
    QTRY_VERIFY(pidIn("job") > 1 && pidIn("child") > 1);
    const pid_t job = pidIn("job");
    const pid_t child = pidIn("child");

    closeTool(std::move(tool));

    QTRY_VERIFY(!isAlive(job));
    QTRY_VERIFY(!isAlive(child));
}

void tst_ToolProcess::toolIsReapedWhenClosed()
{
    auto tool = startedLine(QStringLiteral("trap '' TERM HUP INT; sleep 60; sleep 60"));
    QVERIFY(tool->waitForStarted(kAtOnceMs));
    const auto pid = pid_t(tool->processId());

    closeTool(std::move(tool));

    QTRY_VERIFY(!isThere(pid));
}

/// A tool of another user, as one under sudo, does not get our signal. It is reaped when it ends.
void tst_ToolProcess::toolThatMayNotBeKilledKeepsNobodyWaiting()
{
    if (geteuid() != 0)
        QSKIP("needs root to make a program of root's");
    const QString program = path("unkillable");
    QVERIFY(QFile::copy(QStringLiteral(KY_UNKILLABLE), program));
    QCOMPARE(chmod(QFile::encodeName(program).constData(), 04755), 0);
    QCOMPARE(chmod(QFile::encodeName(_folder->path()).constData(), 0777), 0);
    qint64 elapsedMs = -1;

    std::thread([&] {
        syscall(SYS_setresuid, 65534, 65534, 65534); // of this thread alone
        auto tool = started(program, {path("pid")});
        while (pidIn("pid") == 0 && !tool->waitForFinished(10) &&
               tool->state() != QProcess::NotRunning) {
        }
        QElapsedTimer timer;
        timer.start();
        closeTool(std::move(tool));
        elapsedMs = timer.elapsed();
    }).join();

    const pid_t pid = pidIn("pid");
    if (pid == 0)
        QSKIP("the temporary folder takes no set-user-ID programs");
    QVERIFY2(elapsedMs < kAtOnceMs, qPrintable(QString::number(elapsedMs)));
    QVERIFY(isAlive(pid));
    QCOMPARE(kill(pid, SIGKILL), 0);
    QTRY_VERIFY(!isThere(pid));
}

void tst_ToolProcess::backgroundJobOfAToolThatEndedLivesOn()
{
    auto tool = startedLine(QStringLiteral("sleep 60 >/dev/null & echo $!"));
    QVERIFY(tool->waitForFinished(kAtOnceMs));
    const pid_t job = tool->readAllStandardOutput().trimmed().toInt();
    QVERIFY(job > 1);

    closeTool(std::move(tool));

    QVERIFY(isAlive(job));
    kill(job, SIGKILL);
}

void tst_ToolProcess::toolThatPrintsForEverIsEnded()
{
    auto tool = startedLine(QStringLiteral("yes"));

    QVERIFY(tool->waitForFinished(60000));

    QVERIFY(tool->readAllStandardOutput().size() < 2 * ToolProcess::kMaxOutput);
    closeTool(std::move(tool));
}

void tst_ToolProcess::complaintsAreNotKept()
{
    auto tool = startedLine(QStringLiteral("echo heard; echo complaint >&2"));

    QVERIFY(tool->waitForFinished(kAtOnceMs));

    QCOMPARE(tool->readAllStandardError(), QByteArray());
    QCOMPARE(tool->readAllStandardOutput(), QByteArray("heard\n"));
    closeTool(std::move(tool));
}

QTEST_GUILESS_MAIN(tst_ToolProcess)
#include "tst_ToolProcess.moc"
