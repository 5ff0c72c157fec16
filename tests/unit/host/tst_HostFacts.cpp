#include "host/KyFileManager.h"
#include "host/PublicClass.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>
#include <sys/stat.h>
#include <thread>
#include <vector>

class tst_HostFacts : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void instanceIsTheSameFromEveryThread();
    void fieldsStartAsAHostWithoutFacts();
    void maskBitsAreCounted_data();
    void maskBitsAreCounted();
    void whatIsNoMaskIsRefused_data();
    void whatIsNoMaskIsRefused();
    void missingFolderIsMade();
    void existingFolderKeepsItsFiles();
    void fileInTheWayOfAFolderIsRefused();
    void folderThatNobodyMayWriteIsRefused();
    void emptyPathIsRefused();
    void executableFileIsFound_data();
    void executableFileIsFound();
    void folderIsNotExecutable();
    void missingFileIsNotExecutable();
    void linkToAnExecutableIsExecutable();
    void sleepsWholeSeconds();

private:
    QString path(const char* name) const { return _folder->filePath(QString::fromUtf8(name)); }
    void makeFile(const QString& file, mode_t mode) const;

    std::unique_ptr<QTemporaryDir> _folder;
};

void tst_HostFacts::init()
{
    _folder = std::make_unique<QTemporaryDir>();
    QVERIFY(_folder->isValid());
}

void tst_HostFacts::makeFile(const QString& file, mode_t mode) const
{
    QFile made(file);
    QVERIFY(made.open(QIODevice::WriteOnly));
    made.write("#!/bin/sh\n");
    made.close();
    QCOMPARE(chmod(QFile::encodeName(file).constData(), mode), 0);
}

void tst_HostFacts::instanceIsTheSameFromEveryThread()
{
    std::atomic<int> others{0};
    PublicClass* const mine = PublicClass::init();
    KyFileManager* const files = KyFileManager::init();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            others += PublicClass::init() == mine && KyFileManager::init() == files ? 0 : 1;
        });
    for (std::thread& thread : threads)
        thread.join();

    QVERIFY(mine && files);
    QCOMPARE(others.load(), 0);
}

void tst_HostFacts::fieldsStartAsAHostWithoutFacts()
{
    const PublicClass& host = *PublicClass::init();

    QCOMPARE(host.applicationDir, QDir::currentPath());
    QVERIFY(host.hardwareType < 0);
    QVERIFY(!host.autoConnectEnabled && !host.autoConnectPaused && !host.wifiNonBroadcast);
    for (const QString& text : {host.dataDir, host.settingsFile, host.version, host.halShPath,
                                host.tbxName, host.wifiSsid, host.wifiPassword})
        QVERIFY(text.isEmpty());
}

void tst_HostFacts::maskBitsAreCounted_data()
{
    QTest::addColumn<QString>("mask");
    QTest::addColumn<int>("bits");
    for (int bits = 0; bits <= 32; ++bits) {
        const quint32 mask = bits == 0 ? 0 : ~quint32(0) << (32 - bits);
        const QString text = QStringLiteral("%1.%2.%3.%4")
                                 .arg(mask >> 24)
                                 .arg(mask >> 16 & 255)
                                 .arg(mask >> 8 & 255)
                                 .arg(mask & 255);
        QTest::newRow(qPrintable(text)) << text << bits;
    }
}

void tst_HostFacts::maskBitsAreCounted()
{
    QFETCH(QString, mask);
    QFETCH(int, bits);
    int counted = -1;

    QVERIFY(PublicClass::init()->getMask1Bits(mask, counted));
    QCOMPARE(counted, bits);
}

void tst_HostFacts::whatIsNoMaskIsRefused_data()
{
    QTest::addColumn<QString>("mask");
    for (const char* mask : {"",
                             "24",
                             "255.255.255",
                             "255.255.255.0.0",
                             "255.255.255.",
                             ".255.255.0",
                             "255.255..0",
                             "255.255.255.256",
                             "256.0.0.0",
                             "-1.0.0.0",
                             "+255.0.0.0",
                             "255.0.255.0",
                             "0.0.0.255",
                             "255.255.255.1",
                             "254.255.0.0",
                             "255.255.255.0 ",
                             " 255.255.255.0",
                             "255.255. 0.0",
                             "255.255.0x0.0",
                             "a.b.c.d",
                             "255.255.255.0/24",
                             "0255.0.0.0",
                             "255,255,255,0",
                             "4294967295.0.0.0",
                             "２５５.0.0.0"})
        QTest::newRow(mask) << QString::fromUtf8(mask);
}

void tst_HostFacts::whatIsNoMaskIsRefused()
{
    QFETCH(QString, mask);
    int bits = 77;

    QVERIFY(!PublicClass::init()->getMask1Bits(mask, bits));
    QCOMPARE(bits, 77);
}

void tst_HostFacts::missingFolderIsMade()
{
    QVERIFY(PublicClass::init()->remakePath(path("ferno/temp/up")));

    QVERIFY(QDir(path("ferno/temp/up")).exists());
}

void tst_HostFacts::existingFolderKeepsItsFiles()
{
    makeFile(path("file"), 0644);

    QVERIFY(PublicClass::init()->remakePath(_folder->path()));

    QVERIFY(QFile::exists(path("file")));
}

void tst_HostFacts::fileInTheWayOfAFolderIsRefused()
{
    makeFile(path("file"), 0644);

    QVERIFY(!PublicClass::init()->remakePath(path("file")));
    QVERIFY(!PublicClass::init()->remakePath(path("file/below")));
    QVERIFY(QFileInfo(path("file")).isFile());
}

/// The kernel's own folder of facts takes new folders from nobody, root included.
void tst_HostFacts::folderThatNobodyMayWriteIsRefused()
{
    QVERIFY(!PublicClass::init()->remakePath(QStringLiteral("/proc/none")));
}

void tst_HostFacts::emptyPathIsRefused()
{
    QVERIFY(!PublicClass::init()->remakePath(QString()));
}

void tst_HostFacts::executableFileIsFound_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("isExecutable");
    QTest::newRow("script") << 0755 << true;
    QTest::newRow("owner only") << 0700 << true;
    QTest::newRow("no bit") << 0644 << false;
    QTest::newRow("nothing") << 0000 << false;
}

void tst_HostFacts::executableFileIsFound()
{
    QFETCH(int, mode);
    QFETCH(bool, isExecutable);
    makeFile(path("hal.sh"), mode_t(mode));

    QCOMPARE(KyFileManager::init()->hasExecutePermission(path("hal.sh")), isExecutable);
}

void tst_HostFacts::folderIsNotExecutable()
{
    QVERIFY(!KyFileManager::init()->hasExecutePermission(_folder->path()));
}

void tst_HostFacts::missingFileIsNotExecutable()
{
    QVERIFY(!KyFileManager::init()->hasExecutePermission(path("none")));
    QVERIFY(!KyFileManager::init()->hasExecutePermission(QString()));
}

void tst_HostFacts::linkToAnExecutableIsExecutable()
{
    QVERIFY(QFile::link(QStringLiteral("/bin/sh"), path("link")));

    QVERIFY(KyFileManager::init()->hasExecutePermission(path("link")));
}

void tst_HostFacts::sleepsWholeSeconds()
{
    QElapsedTimer clock;
    clock.start();

    PublicClass::init()->waitSTime(-1);
    PublicClass::init()->waitSTime(0);
    QVERIFY(clock.elapsed() < 900);
    PublicClass::init()->waitSTime(1);

    QVERIFY(clock.elapsed() >= 1000);
}

QTEST_GUILESS_MAIN(tst_HostFacts)
#include "tst_HostFacts.moc"
