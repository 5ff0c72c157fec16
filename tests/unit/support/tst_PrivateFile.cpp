#include "support/PrivateFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using ky::makePrivateFile;
using ky::replacePrivateFile;

namespace {

/// What a child says that may write files of 4096 bytes, with the kernel's signal ignored or, for
/// one that is to be killed in the middle, not.
int statusOfLimited(const QString& path, bool isKilled)
{
    const pid_t child = fork();
    if (child == 0) {
        const rlimit small = {4096, 4096};
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_FSIZE, &small);
        setrlimit(RLIMIT_CORE, &none);
        signal(SIGXFSZ, isKilled ? SIG_DFL : SIG_IGN);
        umask(0);
        _exit(replacePrivateFile(path, QByteArray(100000, 's')) ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

int modeOf(const QString& path)
{
    struct stat facts = {};
    return lstat(QFile::encodeName(path).constData(), &facts) == 0 ? int(facts.st_mode & 07777)
                                                                   : -1;
}

} // namespace

/// Files that hold secrets.
class tst_PrivateFile : public QObject
{
    Q_OBJECT

private slots:
    void init() { _folder = std::make_unique<QTemporaryDir>(); }
    void newFileIsForItsOwnerAlone();
    void existingFileKeepsItsMode();
    void whatAKilledWriterLeavesIsForItsOwnerAlone();
    void failedWriteLeavesNoNewFile();
    void failedWriteThroughALinkLeavesTheLinkAlone();
    void linkToNothingGetsItsTarget();
    void fileThatIsThereIsNotMade_data();
    void fileThatIsThereIsNotMade();

private:
    QString path(const char* name) const { return _folder->filePath(QLatin1String(name)); }
    QStringList names() const
    {
        return QDir(_folder->path())
            .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<QTemporaryDir> _folder;
};

void tst_PrivateFile::newFileIsForItsOwnerAlone()
{
    const mode_t before = umask(0);
    const bool isWritten = replacePrivateFile(path("secret"), "s");
    umask(before);

    QVERIFY(isWritten);
    QCOMPARE(modeOf(path("secret")), 0600);
}

void tst_PrivateFile::existingFileKeepsItsMode()
{
    QFile file(path("secret"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(chmod(QFile::encodeName(file.fileName()).constData(), 0640), 0);

    QVERIFY(replacePrivateFile(file.fileName(), "s"));

    QCOMPARE(modeOf(file.fileName()), 0640);
}

/// The first bytes are on the disk then: neither they nor the name may be anybody else's to read.
void tst_PrivateFile::whatAKilledWriterLeavesIsForItsOwnerAlone()
{
    const int status = statusOfLimited(path("secret"), true);
    QVERIFY(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ);

    QVERIFY(!names().isEmpty());
    for (const QString& name : names())
        QVERIFY2(modeOf(_folder->filePath(name)) == 0600, qPrintable(name));
}

void tst_PrivateFile::failedWriteLeavesNoNewFile()
{
    const int status = statusOfLimited(path("secret"), false);

    QVERIFY(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    QCOMPARE(names(), QStringList());
}

void tst_PrivateFile::failedWriteThroughALinkLeavesTheLinkAlone()
{
    QVERIFY(QFile::link(path("target"), path("link")));

    const int status = statusOfLimited(path("link"), false);

    QVERIFY(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    QCOMPARE(names(), QStringList{QStringLiteral("link")});
}

void tst_PrivateFile::linkToNothingGetsItsTarget()
{
    QVERIFY(QFile::link(path("target"), path("link")));

    QVERIFY(replacePrivateFile(path("link"), "s"));

    QCOMPARE(names(), (QStringList{QStringLiteral("link"), QStringLiteral("target")}));
    QCOMPARE(modeOf(path("target")), 0600);
}

void tst_PrivateFile::fileThatIsThereIsNotMade_data()
{
    QTest::addColumn<bool>("isLink");

    QTest::newRow("file") << false;
    QTest::newRow("link to it") << true;
}

void tst_PrivateFile::fileThatIsThereIsNotMade()
{
    QFETCH(bool, isLink);
    QFile file(path("there"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(chmod(QFile::encodeName(file.fileName()).constData(), 0644), 0);
    QVERIFY(QFile::link(path("there"), path("link")));

    QVERIFY(!makePrivateFile(path(isLink ? "link" : "there")));

    QCOMPARE(modeOf(path("there")), 0644);
}

QTEST_APPLESS_MAIN(tst_PrivateFile)
#include "tst_PrivateFile.moc"
