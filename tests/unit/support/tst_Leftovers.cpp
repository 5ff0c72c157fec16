#include "support/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using ky::clearLeftovers;
using ky::isAsideName;
using ky::replaceFile;

namespace {

/// A child that is killed in the middle of replaceFile(), after 4096 bytes: the kernel's signal for
/// a file that grows beyond its limit. True if it ended so.
bool killWhileReplacing(const QString& path)
{
    const pid_t child = fork();
    if (child == 0) {
        const rlimit small = {4096, 4096};
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_FSIZE, &small);
        setrlimit(RLIMIT_CORE, &none);
        signal(SIGXFSZ, SIG_DFL);
        replaceFile(path, QByteArray(100000, 'n'));
        _exit(0);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFSIGNALED(status) &&
           WTERMSIG(status) == SIGXFSZ;
}

} // namespace

class tst_Leftovers : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void killedWriterLeavesAFileOfAKnownName();
    void leftoverIsClearedAway();
    void fileOfALivingWriterStays();
    void whatIsNoLeftoverStays_data();
    void whatIsNoLeftoverStays();
    void linkOfSuchANameStays();
    void folderOfSuchANameStays();
    void missingFolderIsNothingToClear();

private:
    QString path(const QString& name) const { return _folder->filePath(name); }
    QStringList names() const { return QDir(_folder->path()).entryList(kAll); }

    static constexpr QDir::Filters kAll =
        QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot;
    std::unique_ptr<QTemporaryDir> _folder;
};

void tst_Leftovers::init()
{
    _folder = std::make_unique<QTemporaryDir>();
    QVERIFY(_folder->isValid());
    QVERIFY(replaceFile(path(QStringLiteral("file")), "old content"));
}

void tst_Leftovers::killedWriterLeavesAFileOfAKnownName()
{
    QVERIFY(killWhileReplacing(path(QStringLiteral("file"))));

    QStringList left = names();
    QVERIFY(left.removeOne(QStringLiteral("file")));
    QCOMPARE(left.size(), 1);
    QVERIFY2(isAsideName(left.first()), qPrintable(left.first()));
}

void tst_Leftovers::leftoverIsClearedAway()
{
    for (int i = 0; i < 3; ++i)
        QVERIFY(killWhileReplacing(path(QStringLiteral("file"))));
    QCOMPARE(names().size(), 4);

    clearLeftovers(_folder->path());

    QCOMPARE(names(), QStringList{QStringLiteral("file")});
    QFile file(path(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("old content"));
}

void tst_Leftovers::fileOfALivingWriterStays()
{
    std::atomic<bool> isDone{false};
    int failures = 0;
    std::thread writer([&] {
        for (int i = 0; i < 300; ++i)
            failures += replaceFile(path(QStringLiteral("file")), QByteArray(20000, 'n')) ? 0 : 1;
        isDone = true;
    });
    int rounds = 0;
    for (; !isDone; ++rounds)
        clearLeftovers(_folder->path());
    writer.join();

    QCOMPARE(failures, 0);
    QVERIFY(rounds > 0);
    QCOMPARE(names(), QStringList{QStringLiteral("file")});
}

void tst_Leftovers::whatIsNoLeftoverStays_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("too short") << ".kynew-abcde";
    QTest::newRow("too long") << ".kynew-abcdefg";
    QTest::newRow("other characters") << ".kynew-abc.ef";
    QTest::newRow("letters of another script") << QStringLiteral(u".kynew-机器人机器人");
    QTest::newRow("visible") << "kynew-abcdef";
    QTest::newRow("another program's") << ".new-config";
    QTest::newRow("another prefix") << ".old-abcdef";
    QTest::newRow("hidden profile") << ".office.nmconnection";
}

void tst_Leftovers::whatIsNoLeftoverStays()
{
    QFETCH(QString, name);
    QVERIFY(!isAsideName(name));
    QVERIFY(replaceFile(path(name), "x"));

    clearLeftovers(_folder->path());

    QVERIFY(QFile::exists(path(name)));
}

void tst_Leftovers::linkOfSuchANameStays()
{
    QVERIFY(QFile::link(QStringLiteral("file"), path(QStringLiteral(".kynew-abcdef"))));

    clearLeftovers(_folder->path());

    QCOMPARE(names().size(), 2);
}

void tst_Leftovers::folderOfSuchANameStays()
{
    QVERIFY(QDir(_folder->path()).mkdir(QStringLiteral(".kynew-abcdef")));

    clearLeftovers(_folder->path());

    QCOMPARE(names().size(), 2);
}

void tst_Leftovers::missingFolderIsNothingToClear()
{
    const QString missing = path(QStringLiteral("none"));

    clearLeftovers(missing);

    QVERIFY(!QFile::exists(missing));
}

QTEST_APPLESS_MAIN(tst_Leftovers)
#include "tst_Leftovers.moc"
