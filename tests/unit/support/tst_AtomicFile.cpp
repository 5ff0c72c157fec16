#include "support/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using ky::replaceFile;

class tst_AtomicFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void newFileIsReadableByAll();
    void modeIsKept_data();
    void modeIsKept();
    void ownerIsKept();
    void contentIsReplacedAsAWhole_data();
    void contentIsReplacedAsAWhole();
    void missingFolderIsMade();
    void relativePathCountsFromTheWorkingDirectory();
    void symbolicLinkKeepsPointingAtItsTarget();
    void linkOverTwoStepsIsFollowed();
    void danglingLinkGetsItsTarget();
    void hardLinkKeepsTheOldContent();
    void folderInTheWayIsRefused();
    void fileAsFolderIsRefused();
    void unwritableFolderLeavesTheFile();
    void fullDiskLeavesTheFile();
    void nothingIsLeftBeside();
    void nameMayHaveAllItsBytes_data();
    void nameMayHaveAllItsBytes();
    void errorMayBeNull();
    void readerNeverSeesHalf();
    void writersAtTheSameTimeLeaveOneOfTheirs();

private:
    QString path(const char* name) const { return _folder->filePath(QString::fromUtf8(name)); }
    QStringList names() const { return QDir(_folder->path()).entryList(kAll); }

    static constexpr QDir::Filters kAll = QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot;
    std::unique_ptr<QTemporaryDir> _folder;
};

namespace {

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

int modeOf(const QString& path)
{
    return int(statOf(path).st_mode & 07777);
}

} // namespace

void tst_AtomicFile::init()
{
    _folder = std::make_unique<QTemporaryDir>();
    QVERIFY(_folder->isValid());
}

void tst_AtomicFile::newFileIsReadableByAll()
{
    const mode_t before = umask(0077);
    const bool isDone = replaceFile(path("new"), "x");
    umask(before);

    QVERIFY(isDone);
    QCOMPARE(contentOf(path("new")), QByteArray("x"));
    QCOMPARE(modeOf(path("new")), 0644);
}

void tst_AtomicFile::modeIsKept_data()
{
    QTest::addColumn<int>("mode");
    for (int mode : {0600, 0640, 0644, 0755, 0400, 0666})
        QTest::addRow("%o", unsigned(mode)) << mode;
}

void tst_AtomicFile::modeIsKept()
{
    QFETCH(int, mode);
    QVERIFY(replaceFile(path("secret"), "old"));
    QCOMPARE(chmod(QFile::encodeName(path("secret")).constData(), mode_t(mode)), 0);

    QVERIFY(replaceFile(path("secret"), "new"));

    QCOMPARE(modeOf(path("secret")), mode);
}

void tst_AtomicFile::ownerIsKept()
{
    if (geteuid() != 0)
        QSKIP("only root may give a file away");
    QVERIFY(replaceFile(path("theirs"), "old"));
    QCOMPARE(chown(QFile::encodeName(path("theirs")).constData(), 1234, 4321), 0);
    QCOMPARE(chmod(QFile::encodeName(path("theirs")).constData(), 0660), 0);

    QVERIFY(replaceFile(path("theirs"), "new"));

    QCOMPARE(statOf(path("theirs")).st_uid, uid_t(1234));
    QCOMPARE(statOf(path("theirs")).st_gid, gid_t(4321));
    QCOMPARE(modeOf(path("theirs")), 0660);
}

void tst_AtomicFile::contentIsReplacedAsAWhole_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("shorter") << QByteArray("s");
    QTest::newRow("with zero bytes") << QByteArray("a\0b\0", 4);
    QTest::newRow("3 MiB") << QByteArray(3 << 20, 'm');
}

void tst_AtomicFile::contentIsReplacedAsAWhole()
{
    QFETCH(QByteArray, content);
    QVERIFY(replaceFile(path("file"), "old content"));

    QVERIFY(replaceFile(path("file"), content));

    QCOMPARE(contentOf(path("file")), content);
}

void tst_AtomicFile::missingFolderIsMade()
{
    QVERIFY(replaceFile(path("a/b 车间/c"), "x"));

    QCOMPARE(contentOf(path("a/b 车间/c")), QByteArray("x"));
}

void tst_AtomicFile::relativePathCountsFromTheWorkingDirectory()
{
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(_folder->path()));
    const bool inFolder = replaceFile(QStringLiteral("appInfo/x.json"), "x");
    const bool beside = replaceFile(QStringLiteral("y.json"), "y");
    QDir::setCurrent(before);

    QVERIFY(inFolder && beside);
    QCOMPARE(contentOf(path("appInfo/x.json")), QByteArray("x"));
    QCOMPARE(contentOf(path("y.json")), QByteArray("y"));
}

void tst_AtomicFile::symbolicLinkKeepsPointingAtItsTarget()
{
    QVERIFY(replaceFile(path("real/file"), "old"));
    QVERIFY(QFile::link(QStringLiteral("real/file"), path("link")));

    QVERIFY(replaceFile(path("link"), "new"));

    QVERIFY(QFileInfo(path("link")).isSymLink());
    QCOMPARE(contentOf(path("real/file")), QByteArray("new"));
}

void tst_AtomicFile::linkOverTwoStepsIsFollowed()
{
    QVERIFY(replaceFile(path("real/file"), "old"));
    QVERIFY(QFile::link(QStringLiteral("file"), path("real/second")));
    QVERIFY(QFile::link(QStringLiteral("real/second"), path("first")));

    QVERIFY(replaceFile(path("first"), "new"));

    QVERIFY(QFileInfo(path("first")).isSymLink());
    QVERIFY(QFileInfo(path("real/second")).isSymLink());
    QCOMPARE(contentOf(path("real/file")), QByteArray("new"));
}

void tst_AtomicFile::danglingLinkGetsItsTarget()
{
    QVERIFY(QDir(_folder->path()).mkdir(QStringLiteral("real")));
    QVERIFY(QFile::link(QStringLiteral("real/later"), path("link")));

    QVERIFY(replaceFile(path("link"), "new"));

    QVERIFY(QFileInfo(path("link")).isSymLink());
    QCOMPARE(contentOf(path("real/later")), QByteArray("new"));
}

void tst_AtomicFile::hardLinkKeepsTheOldContent()
{
    QVERIFY(replaceFile(path("one"), "old"));
    QCOMPARE(::link(QFile::encodeName(path("one")).constData(),
                    QFile::encodeName(path("two")).constData()),
             0);

    QVERIFY(replaceFile(path("one"), "new"));

    QCOMPARE(contentOf(path("one")), QByteArray("new"));
    QCOMPARE(contentOf(path("two")), QByteArray("old"));
}

void tst_AtomicFile::folderInTheWayIsRefused()
{
    QVERIFY(QDir(_folder->path()).mkdir(QStringLiteral("taken")));
    QString error;

    QVERIFY(!replaceFile(path("taken"), "x", &error));

    QCOMPARE(error, QStringLiteral("rename to [%1]: Is a directory").arg(path("taken")));
    QCOMPARE(names(), QStringList{QStringLiteral("taken")});
}

void tst_AtomicFile::fileAsFolderIsRefused()
{
    QVERIFY(replaceFile(path("file"), "x"));
    QString error;

    QVERIFY(!replaceFile(path("file/below"), "x", &error));

    QVERIFY2(error.contains(path("file/below")), qUtf8Printable(error));
    QVERIFY2(error.endsWith(QLatin1String(": Not a directory")), qUtf8Printable(error));
    QCOMPARE(contentOf(path("file")), QByteArray("x"));
}

/// The kernel's own folder of facts takes new files from nobody, root included.
void tst_AtomicFile::unwritableFolderLeavesTheFile()
{
    const QString fixed = QStringLiteral("/proc/version");
    const QByteArray before = contentOf(fixed);
    QString error;

    QVERIFY(!replaceFile(fixed, "x", &error));

    QVERIFY2(error.contains(QLatin1String(" [/proc/version]: ")), qUtf8Printable(error));
    QCOMPARE(contentOf(fixed), before);
}

void tst_AtomicFile::fullDiskLeavesTheFile()
{
    // The size limit of this process stands for a disk without room.
    QVERIFY(replaceFile(path("file"), "old"));
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit small = before;
    small.rlim_cur = 4096;
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    QString error;
    const bool isDone = replaceFile(path("file"), QByteArray(100000, 'x'), &error);
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);

    QVERIFY(!isDone);
    QCOMPARE(error, QStringLiteral("write [%1]: File too large").arg(path("file")));
    QCOMPARE(contentOf(path("file")), QByteArray("old"));
    QCOMPARE(names(), QStringList{QStringLiteral("file")});
}

void tst_AtomicFile::nothingIsLeftBeside()
{
    for (int i = 0; i < 10; ++i)
        QVERIFY(replaceFile(path("file"), QByteArray::number(i)));

    QCOMPARE(names(), QStringList{QStringLiteral("file")});
}

void tst_AtomicFile::nameMayHaveAllItsBytes_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("isWritten");

    QTest::newRow("248") << 248 << true;
    QTest::newRow("249") << 249 << true;
    QTest::newRow("255") << 255 << true;
    QTest::newRow("256") << 256 << false;
}

void tst_AtomicFile::nameMayHaveAllItsBytes()
{
    QFETCH(int, size);
    const QByteArray name(size, 'n');
    QString error;

    QTEST(replaceFile(path(name), "content", &error), "isWritten");

    QFile file(path(name));
    QTEST(file.open(QIODevice::ReadOnly) && file.readAll() == "content", "isWritten");
    QCOMPARE(names().size(), error.isEmpty() ? 1 : 0);
}

void tst_AtomicFile::errorMayBeNull()
{
    QVERIFY(!replaceFile(QStringLiteral("/proc/none/file"), "x", nullptr));
}

void tst_AtomicFile::readerNeverSeesHalf()
{
    const QByteArray contents[] = {QByteArray(200000, 'a'), QByteArray(70000, 'b')};
    QVERIFY(replaceFile(path("file"), contents[0]));
    std::atomic<bool> isDone{false};
    std::thread writer([&] {
        for (int i = 0; i < 200; ++i)
            replaceFile(path("file"), contents[i % 2]);
        isDone = true;
    });
    int halves = 0;
    int seen[2] = {};
    while (!isDone) {
        const QByteArray content = contentOf(path("file"));
        if (content == contents[0])
            ++seen[0];
        else if (content == contents[1])
            ++seen[1];
        else
            ++halves;
    }
    writer.join();

    QCOMPARE(halves, 0);
    QVERIFY(seen[0] + seen[1] > 0);
}

void tst_AtomicFile::writersAtTheSameTimeLeaveOneOfTheirs()
{
    std::atomic<int> failures{0};
    std::vector<std::thread> writers;
    for (char letter : {'a', 'b', 'c', 'd'})
        writers.emplace_back([&, letter] {
            for (int i = 0; i < 50; ++i)
                failures += replaceFile(path("file"), QByteArray(10000, letter)) ? 0 : 1;
        });
    for (std::thread& writer : writers)
        writer.join();

    QCOMPARE(failures.load(), 0);
    const QByteArray content = contentOf(path("file"));
    QCOMPARE(content.size(), 10000);
    QCOMPARE(content.count(content.at(0)), 10000);
    QCOMPARE(names(), QStringList{QStringLiteral("file")});
}

QTEST_APPLESS_MAIN(tst_AtomicFile)
#include "tst_AtomicFile.moc"
