#include "cli/FileContent.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

class tst_FileContent : public QObject
{
    Q_OBJECT

private slots:
    void fileThatClaimsMoreThanItHasIsRead();
    void fileUpToTheLimitIsRead_data();
    void fileUpToTheLimitIsRead();
    void pipeUpToTheLimitIsRead_data();
    void pipeUpToTheLimitIsRead();
    void fileWithoutASizeIsReadToItsEnd();
    void endlessFileIsLeftAtTheLimit();
    void largeFileIsRefusedUnread();
    void readErrorIsNoEmptyFile();
    void missingFileIsNamed();

private:
    QTemporaryDir _folder;
};

namespace {

constexpr qint64 kLimit = 10;

void addSizes()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("problem");
    QTest::newRow("empty") << 0 << "";
    QTest::newRow("below") << 9 << "";
    QTest::newRow("at") << 10 << "";
    QTest::newRow("above") << 11 << " is more than this client takes here (10 B)";
}

} // namespace

void tst_FileContent::fileUpToTheLimitIsRead_data()
{
    addSizes();
}

void tst_FileContent::fileUpToTheLimitIsRead()
{
    QFETCH(int, size);
    QFETCH(QString, problem);
    const QByteArray bytes(size, 'x');
    QFile file(_folder.filePath("content"));
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Truncate));
    file.write(bytes);
    QVERIFY(file.seek(0));
    QString told;

    const std::optional<QByteArray> content = ky::contentOf(file, &told, kLimit);

    QCOMPARE(content.has_value(), problem.isEmpty());
    QCOMPARE(content.value_or(bytes), bytes);
    QVERIFY2(problem.isEmpty() ? told.isEmpty() : told == "11 B" + problem, qPrintable(told));
}

void tst_FileContent::pipeUpToTheLimitIsRead_data()
{
    addSizes();
}

void tst_FileContent::pipeUpToTheLimitIsRead()
{
    QFETCH(int, size);
    QFETCH(QString, problem);
    const QByteArray bytes(size, 'x');
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    QCOMPARE(int(::write(ends[1], bytes.constData(), size_t(size))), size);
    ::close(ends[1]);
    QFile file;
    QVERIFY(file.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
    QString told;

    const std::optional<QByteArray> content = ky::contentOf(file, &told, kLimit);

    QCOMPARE(content.has_value(), problem.isEmpty());
    QCOMPARE(content.value_or(bytes), bytes);
    QVERIFY2(problem.isEmpty() ? told.isEmpty() : told == "its content" + problem,
             qPrintable(told));
}

void tst_FileContent::fileWithoutASizeIsReadToItsEnd()
{
    QString told;

    const std::optional<QByteArray> content = ky::contentOfFile("/proc/self/status", &told);

    QVERIFY2(content, qPrintable(told));
    QVERIFY(content->startsWith("Name:\ttst_FileContent\n"));
    QVERIFY(content->contains("\nThreads:"));
}

void tst_FileContent::endlessFileIsLeftAtTheLimit()
{
    QFile file("/dev/zero");
    QVERIFY(file.open(QIODevice::ReadOnly));
    QString told;

    QVERIFY(!ky::contentOf(file, &told, 3 * 1024 * 1024));

    QVERIFY2(told.startsWith("its content is more than"), qPrintable(told));
}

void tst_FileContent::largeFileIsRefusedUnread()
{
    // A hole: it takes no room on the disk.
    QFile file(_folder.filePath("large"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(ky::kLargestContent + 1));
    QString told;

    QVERIFY(!ky::contentOfFile(file.fileName(), &told));

    QVERIFY2(told.startsWith("file [" + file.fileName() + "]: "), qPrintable(told));
    QVERIFY2(told.contains(" is more than this client takes here ("), qPrintable(told));
}

void tst_FileContent::readErrorIsNoEmptyFile()
{
    QString told;

    // Its address 0 belongs to nobody.
    QVERIFY(!ky::contentOfFile("/proc/self/mem", &told));

    QCOMPARE(told, QString("file [/proc/self/mem]: Input/output error"));
}

void tst_FileContent::missingFileIsNamed()
{
    QString told;

    QVERIFY(!ky::contentOfFile("/nowhere", &told));

    QCOMPARE(told, QString("file [/nowhere]: No such file or directory"));
}

void tst_FileContent::fileThatClaimsMoreThanItHasIsRead()
{
    QFile file("/sys/class/net/lo/mtu");
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.size() > 1000);
    QString problem;

    const auto content = ky::contentOf(file, &problem);

    QVERIFY2(content && content->trimmed().toInt() > 0, qPrintable(problem));
}

QTEST_GUILESS_MAIN(tst_FileContent)
#include "tst_FileContent.moc"
