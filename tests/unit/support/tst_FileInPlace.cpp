#include "ClosedFolder.h"

#include "support/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using ky::replaceFile;

namespace {

constexpr int kNoMounts = 77;

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

struct stat statOf(const QString& path)
{
    struct stat facts = {};
    stat(QFile::encodeName(path).constData(), &facts);
    return facts;
}

bool hasOwnMounts()
{
    return (unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// Replaces a file that is a mount point, in a child that has mounts of its own. The exit status:
/// 0 when replaceFile() returned what is expected.
int replaceMountPoint(const QString& path, const QByteArray& content, bool isReadOnly)
{
    const pid_t child = fork();
    if (child == 0) {
        const QByteArray name = QFile::encodeName(path);
        const unsigned long mode = isReadOnly ? MS_RDONLY : 0;
        if (!hasOwnMounts() ||
            mount(name.constData(), name.constData(), nullptr, MS_BIND, nullptr) != 0 ||
            mount(nullptr, name.constData(), nullptr, MS_REMOUNT | MS_BIND | mode, nullptr) != 0)
            _exit(kNoMounts);
        QString error;
        const bool isDone = replaceFile(path, content, &error);
        const QString expected =
            isReadOnly ? QStringLiteral("open [%1]: Read-only file system").arg(path) : QString();
        _exit(isDone == isReadOnly || error != expected);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

class tst_FileInPlace : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void mountPointGetsTheContent_data();
    void mountPointGetsTheContent();
    void mountPointForReadingOnlyIsRefused();
    void fileInAClosedFolderGetsTheContent_data();
    void fileInAClosedFolderGetsTheContent();
    void ownerModeAndLinksStay();
    void fileThatTakesNothingIsRefused();
    void missingFileInAClosedFolderIsRefused();
    void oldContentComesBackWhenTheNewDoesNotFit();
    void writersAtTheSameTimeLeaveOneOfTheirs();
    void pipeStaysAPipe();
    void pipeWithoutAReaderIsRefusedAtOnce();
    void reasonIsTheKernelsOwn();

private:
    QString path(const char* name) const { return _folder->filePath(QString::fromUtf8(name)); }
    QStringList names() const
    {
        return QDir(_folder->path())
            .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    void makeFile(const QByteArray& content, int mode)
    {
        QVERIFY(replaceFile(path("file"), content));
        QCOMPARE(chmod(QFile::encodeName(path("file")).constData(), mode_t(mode)), 0);
    }

    std::unique_ptr<QTemporaryDir> _folder;
};

void tst_FileInPlace::init()
{
    _folder = std::make_unique<QTemporaryDir>();
    QVERIFY(_folder->isValid());
}

void tst_FileInPlace::mountPointGetsTheContent_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("longer") << QByteArray(100000, 'n');
    QTest::newRow("shorter") << QByteArray("n");
    QTest::newRow("empty") << QByteArray();
}

void tst_FileInPlace::mountPointGetsTheContent()
{
    QFETCH(QByteArray, content);
    makeFile("old content", 0640);

    const int status = replaceMountPoint(path("file"), content, false);

    if (status == kNoMounts)
        QSKIP("no mounts of one's own here");
    QCOMPARE(status, 0);
    QCOMPARE(contentOf(path("file")), content);
    QCOMPARE(names(), QStringList{QStringLiteral("file")});
}

void tst_FileInPlace::mountPointForReadingOnlyIsRefused()
{
    makeFile("old content", 0640);

    const int status = replaceMountPoint(path("file"), "new", true);

    if (status == kNoMounts)
        QSKIP("no mounts of one's own here");
    QCOMPARE(status, 0);
    QCOMPARE(contentOf(path("file")), QByteArray("old content"));
    QCOMPARE(names(), QStringList{QStringLiteral("file")});
}

void tst_FileInPlace::fileInAClosedFolderGetsTheContent_data()
{
    mountPointGetsTheContent_data();
}

void tst_FileInPlace::fileInAClosedFolderGetsTheContent()
{
    QFETCH(QByteArray, content);
    makeFile("old content", 0666);
    QString error;
    bool isDone = false;
    {
        const ClosedFolder closed(_folder->path());
        isDone = replaceFile(path("file"), content, &error);
    }

    QVERIFY2(isDone, qPrintable(error));
    QCOMPARE(contentOf(path("file")), content);
}

void tst_FileInPlace::ownerModeAndLinksStay()
{
    makeFile("old content", 0666);
    QCOMPARE(::link(QFile::encodeName(path("file")).constData(),
                    QFile::encodeName(path("other name")).constData()),
             0);
    const struct stat before = statOf(path("file"));
    {
        const ClosedFolder closed(_folder->path());
        QVERIFY(replaceFile(path("file"), "new"));
    }

    const struct stat now = statOf(path("file"));
    QCOMPARE(now.st_uid, before.st_uid);
    QCOMPARE(now.st_mode, before.st_mode);
    QCOMPARE(now.st_ino, before.st_ino);
    QCOMPARE(contentOf(path("other name")), QByteArray("new"));
}

void tst_FileInPlace::fileThatTakesNothingIsRefused()
{
    makeFile("old content", 0444);
    QString error;
    {
        const ClosedFolder closed(_folder->path());
        QVERIFY(!replaceFile(path("file"), "new", &error));
    }

    QCOMPARE(error, QStringLiteral("open [%1]: Permission denied").arg(path("file")));
    QCOMPARE(contentOf(path("file")), QByteArray("old content"));
}

void tst_FileInPlace::missingFileInAClosedFolderIsRefused()
{
    QString error;
    {
        const ClosedFolder closed(_folder->path());
        QVERIFY(!replaceFile(path("file"), "new", &error));
    }

    QCOMPARE(error,
             QStringLiteral("create file in folder of [%1]: Permission denied").arg(path("file")));
    QVERIFY(names().isEmpty());
}

/// The size limit of this process stands for a disk without room.
void tst_FileInPlace::oldContentComesBackWhenTheNewDoesNotFit()
{
    makeFile("old content", 0666);
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit small = before;
    small.rlim_cur = 4096;
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    QString error;
    bool isDone = true;
    {
        const ClosedFolder closed(_folder->path());
        isDone = replaceFile(path("file"), QByteArray(100000, 'n'), &error);
    }
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);

    QVERIFY(!isDone);
    QCOMPARE(error, QStringLiteral("write [%1]: File too large").arg(path("file")));
    QCOMPARE(contentOf(path("file")), QByteArray("old content"));
}

void tst_FileInPlace::writersAtTheSameTimeLeaveOneOfTheirs()
{
    makeFile("old content", 0666);
    std::atomic<int> failures{0};
    {
        const ClosedFolder closed(_folder->path());
        std::vector<std::thread> writers;
        for (char letter : {'a', 'b', 'c', 'd'})
            writers.emplace_back([&, letter] {
                for (int i = 0; i < 20; ++i)
                    failures += replaceFile(path("file"), QByteArray(100000, letter)) ? 0 : 1;
            });
        for (std::thread& writer : writers)
            writer.join();
    }

    QCOMPARE(failures.load(), 0);
    const QByteArray content = contentOf(path("file"));
    QCOMPARE(content.size(), 100000);
    QCOMPARE(content.count(content.at(0)), 100000);
}

void tst_FileInPlace::pipeStaysAPipe()
{
    const QByteArray name = QFile::encodeName(path("pipe"));
    QCOMPARE(mkfifo(name.constData(), 0600), 0);
    const int reader = open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    QVERIFY(reader >= 0);

    const bool isDone = replaceFile(path("pipe"), "content");

    char buffer[16] = {};
    const ssize_t size = read(reader, buffer, sizeof buffer);
    close(reader);
    QVERIFY(isDone);
    QCOMPARE(QByteArray(buffer, int(size)), QByteArray("content"));
    QVERIFY(S_ISFIFO(statOf(path("pipe")).st_mode));
}

void tst_FileInPlace::pipeWithoutAReaderIsRefusedAtOnce()
{
    QCOMPARE(mkfifo(QFile::encodeName(path("pipe")).constData(), 0600), 0);
    QString error;

    QVERIFY(!replaceFile(path("pipe"), "content", &error));

    QCOMPARE(error, QStringLiteral("open [%1]: No such device or address").arg(path("pipe")));
    QVERIFY(S_ISFIFO(statOf(path("pipe")).st_mode));
}

void tst_FileInPlace::reasonIsTheKernelsOwn()
{
    QVERIFY(QDir(_folder->path()).mkdir(QStringLiteral("a]: b")));
    QString error;

    QVERIFY(!replaceFile(path("a]: b"), "x", &error));

    QCOMPARE(ky::reasonIn(error), QStringLiteral("Is a directory"));
}

QTEST_APPLESS_MAIN(tst_FileInPlace)
#include "tst_FileInPlace.moc"
