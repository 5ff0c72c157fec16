#include "daemon/EndLimit.h"

#include <QTest>

#include <sys/wait.h>
#include <unistd.h>

class tst_EndLimit : public QObject
{
    Q_OBJECT

private slots:
    void hangingProcessIsEnded();
    void processThatEndsInTimeIsLeftAlone();
};

namespace {

/// Runs it in a process of its own; the exit status, -1 if a signal ended it.
int statusOf(const std::function<void()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(10); // in case nothing ends it
        work();
        _exit(7);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

void tst_EndLimit::hangingProcessIsEnded()
{
    QCOMPARE(statusOf([] {
                 ky::limitEnd(1);
                 for (;;)
                     pause();
             }),
             1);
}

void tst_EndLimit::processThatEndsInTimeIsLeftAlone()
{
    QCOMPARE(statusOf([] { ky::limitEnd(5); }), 7);
}

QTEST_GUILESS_MAIN(tst_EndLimit)
#include "tst_EndLimit.moc"
