#include "FakeSink.h"
#include "daemon/AnswerBacklog.h"

#include <QLoggingCategory>
#include <QTest>

#include <memory>

namespace {

constexpr int kMiB = 1024 * 1024;
constexpr int kMostMiB = 64;

} // namespace

class tst_AnswerBacklog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false")); }
    void init();
    void whoDoesNotReadIsCutOff();
    void whoReadsStays();
    void oneAnswerMayHaveAnySize();
    void smallAnswersCountTogether();
    void nextClientOfTheHandleStartsAfresh();
    void othersAreNotConcerned();
    void whereTheKernelDoesNotTellNobodyIsCutOff();

private:
    /// How many answers of 1 MiB were let through before the first that was not, at most 1000.
    int admitted(qintptr handle)
    {
        int count = 0;
        while (count < 1000 && _backlog->admit(handle, kMiB))
            ++count;
        return count;
    }

    FakeSink _sink;
    std::unique_ptr<ky::AnswerBacklog> _backlog;
};

void tst_AnswerBacklog::init()
{
    _sink = FakeSink();
    _sink.peers = {{7, "a:1"}, {8, "b:2"}};
    _sink.taken = {{7, 1}, {8, 1}};
    _backlog = std::make_unique<ky::AnswerBacklog>(_sink);
}

void tst_AnswerBacklog::whoDoesNotReadIsCutOff()
{
    QCOMPARE(admitted(7), kMostMiB + 1); // as many wait, and one more is on its way
    QCOMPARE(_sink.cutOff, QList<qintptr>{7});
}

void tst_AnswerBacklog::whoReadsStays()
{
    for (int i = 0; i < 1000; ++i) {
        QVERIFY(_backlog->admit(7, kMiB));
        _sink.taken[7] += kMiB;
    }
    QCOMPARE(_sink.cutOff, QList<qintptr>());
}

void tst_AnswerBacklog::oneAnswerMayHaveAnySize()
{
    QVERIFY(_backlog->admit(7, 1024 * kMiB));
    QVERIFY(!_backlog->admit(7, kMiB));
    QCOMPARE(_sink.cutOff, QList<qintptr>{7});
}

void tst_AnswerBacklog::smallAnswersCountTogether()
{
    int count = 0;
    while (count < 1000000 && _backlog->admit(7, 1000))
        ++count;

    const qint64 bytes = count * qint64(1000);
    QVERIFY2(bytes > kMostMiB * kMiB && bytes < (kMostMiB + 3) * kMiB,
             qPrintable(QString::number(bytes)));
    QCOMPARE(_sink.cutOff, QList<qintptr>{7});
}

void tst_AnswerBacklog::nextClientOfTheHandleStartsAfresh()
{
    for (int i = 0; i < kMostMiB; ++i)
        QVERIFY(_backlog->admit(7, kMiB));
    _sink.peers[7] = "c:3";

    QCOMPARE(admitted(7), kMostMiB + 1);
}

void tst_AnswerBacklog::othersAreNotConcerned()
{
    admitted(7);

    QVERIFY(_backlog->admit(8, kMiB));
    QCOMPARE(_sink.cutOff, QList<qintptr>{7});
}

void tst_AnswerBacklog::whereTheKernelDoesNotTellNobodyIsCutOff()
{
    _sink.taken.clear();

    QCOMPARE(admitted(7), 1000);
}

QTEST_GUILESS_MAIN(tst_AnswerBacklog)
#include "tst_AnswerBacklog.moc"
