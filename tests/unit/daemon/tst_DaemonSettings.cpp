#include "daemon/DaemonHome.h"
#include "daemon/DaemonSettings.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

class tst_DaemonSettings : public QObject
{
    Q_OBJECT

private slots:
    void numbersAreCheckedAsTheServiceCutsThem_data();
    void numbersAreCheckedAsTheServiceCutsThem();
    void hostGroupIsTaken();
    void hostGroupMayBeMissing();
    void boardFamilyHasToBeANumber();
    void reportsGoWhereTheDaemonListens_data();
    void reportsGoWhereTheDaemonListens();
    void fileIsRead();
    void folderIsNoFile();
    void backupFolderIsAddedOnce();
    void backupFolderOfTheFileStays_data();
    void backupFolderOfTheFileStays();
    void backupFolderNeedsAFile();
    void defaultHomeFollowsTheUser_data();
    void defaultHomeFollowsTheUser();
};

namespace {

QVariantMap goodValues()
{
    return {{"Server1/port", 19208},   {"Server1/threadCount", 16}, {"Server1/payload", 1024},
            {"Server2/port", 19207},   {"Server2/threadCount", 4},  {"Server3/port", 19210},
            {"Server3/threadCount", 4}};
}

} // namespace

void tst_DaemonSettings::numbersAreCheckedAsTheServiceCutsThem_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("problem");
    QTest::newRow("good") << "Server1/port" << QVariant(19208) << "";
    QTest::newRow("no port") << "Server1/port" << QVariant() << "[Server1/port]: missing";
    QTest::newRow("port 0") << "Server2/port" << QVariant(0)
                            << "[Server2/port]: 0 is not in 1 to 32767";
    QTest::newRow("port 1") << "Server2/port" << QVariant(1) << "";
    QTest::newRow("port 32767") << "Server3/port" << QVariant(32767) << "";
    QTest::newRow("port 32768") << "Server3/port" << QVariant(32768)
                                << "[Server3/port]: 32768 is not in 1 to 32767";
    QTest::newRow("port 65536 is cut to 0")
        << "Server3/port" << QVariant(65536) << "[Server3/port]: 65536 is not in 1 to 32767";
    QTest::newRow("port is a word")
        << "Server1/port" << QVariant("x") << "[Server1/port]: x is not in 1 to 32767";
    QTest::newRow("64 threads") << "Server1/threadCount" << QVariant(64) << "";
    QTest::newRow("65 threads") << "Server1/threadCount" << QVariant(65)
                                << "[Server1/threadCount]: 65 is not in 1 to 64";
    QTest::newRow("256 threads are cut to 0")
        << "Server1/threadCount" << QVariant(256) << "[Server1/threadCount]: 256 is not in 1 to 64";
    QTest::newRow("257 threads are cut to 1") << "Server1/threadCount" << QVariant(257) << "";
}

void tst_DaemonSettings::numbersAreCheckedAsTheServiceCutsThem()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(QString, problem);
    QVariantMap values = goodValues();
    values.insert(key, value);
    ky::DaemonSettings settings;

    QCOMPARE(ky::checkSettings(values, &settings), problem);
}

void tst_DaemonSettings::hostGroupIsTaken()
{
    QVariantMap values = goodValues();
    values.insert("Host/hardwareType", "6");
    values.insert("Host/halShPath", "/opt/hal.sh");
    values.insert("Host/tbxName", "T1");
    values.insert("Host/dataDir", "work");
    values.insert("Host/version", "2.0");
    values.insert("Host/autoConnectEnabled", "true");
    ky::DaemonSettings settings;

    QCOMPARE(ky::checkSettings(values, &settings), QString());

    QCOMPARE(settings.hardwareType, 6);
    QCOMPARE(settings.halShPath, QString("/opt/hal.sh"));
    QCOMPARE(settings.tbxName, QString("T1"));
    QCOMPARE(settings.dataDir, QString("work"));
    QCOMPARE(settings.version, QString("2.0"));
    QCOMPARE(settings.autoConnectEnabled, true);
}

void tst_DaemonSettings::hostGroupMayBeMissing()
{
    ky::DaemonSettings settings;

    QCOMPARE(ky::checkSettings(goodValues(), &settings), QString());

    QCOMPARE(settings.hardwareType, -1);
    QCOMPARE(settings.autoConnectEnabled, false);
}

void tst_DaemonSettings::boardFamilyHasToBeANumber()
{
    QVariantMap values = goodValues();
    values.insert("Host/hardwareType", "six");
    ky::DaemonSettings settings;

    QCOMPARE(ky::checkSettings(values, &settings),
             QString("[Host/hardwareType]: six is no number"));
}

void tst_DaemonSettings::reportsGoWhereTheDaemonListens_data()
{
    QTest::addColumn<QString>("ip");
    QTest::addColumn<int>("port");
    QTest::addColumn<int>("delivered");
    QTest::newRow("link supervision") << "127.0.0.1" << 19207 << 2;
    QTest::newRow("host report") << "127.0.0.1" << 19210 << 3;
    QTest::newRow("service") << "127.0.0.1" << 19208 << 19208;
    QTest::newRow("another host") << "10.0.0.1" << 19207 << 19207;
}

void tst_DaemonSettings::reportsGoWhereTheDaemonListens()
{
    QFETCH(QString, ip);
    QFETCH(int, port);
    QFETCH(int, delivered);
    ky::DaemonSettings settings;
    settings.servers[0].port = 1;
    settings.servers[1].port = 2;
    settings.servers[2].port = 3;

    QCOMPARE(int(settings.deliveryPort(ip, port)), delivered);
}

void tst_DaemonSettings::fileIsRead()
{
    QTemporaryDir folder;
    QFile file(folder.filePath("a.ini"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Server1]\nport=1\nthreadCount=1\n[Server2]\nport=2\nthreadCount=1\n"
               "[Server3]\nport=3\nthreadCount=1\n[Host]\ntbxName=甲, 乙\n");
    file.close();
    ky::DaemonSettings settings;

    QCOMPARE(ky::readSettings(file.fileName(), &settings), QString());

    QCOMPARE(int(settings.servers[2].port), 3);
    QCOMPARE(settings.file, file.fileName());
    QVERIFY2(settings.tbxName.startsWith("甲,"), qPrintable(settings.tbxName));
}

void tst_DaemonSettings::folderIsNoFile()
{
    QTemporaryDir folder;
    ky::DaemonSettings settings;

    QCOMPARE(ky::readSettings(folder.path(), &settings),
             QString("settings file [%1]: is a folder").arg(folder.path()));
}

void tst_DaemonSettings::backupFolderIsAddedOnce()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("kyhostd.ini");
    const QByteArray before = "; a comment\n[AppInfo]\nother=1\n[Host]\ntbxName=机器人";
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(before) == before.size());
    file.close();

    const QByteArray temporaryFolder = qgetenv("TMPDIR");
    qputenv("TMPDIR", "/proc/none"); // nothing is to be had there
    const QString first = ky::addBackupFolder(path, "/home of/a, 机;器");
    temporaryFolder.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", temporaryFolder);

    QCOMPARE(first, QString());
    QCOMPARE(ky::addBackupFolder(path, "/another"), QString());

    const QSettings settings(path, QSettings::IniFormat);
    QCOMPARE(settings.value("AppInfo/networkBackup").toString(),
             QString("/home of/a, 机;器/appInfo/backupFile/network"));
    QCOMPARE(settings.value("AppInfo/other").toInt(), 1);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray after = file.readAll();
    QVERIFY(after.startsWith(before + '\n'));
    QCOMPARE(after.count("networkBackup"), 1);
}

void tst_DaemonSettings::backupFolderOfTheFileStays_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("a folder") << QByteArray("[AppInfo]\nnetworkBackup=/srv/keys\n");
    QTest::newRow("none, on purpose") << QByteArray("[AppInfo]\nnetworkBackup=\n");
}

void tst_DaemonSettings::backupFolderOfTheFileStays()
{
    QFETCH(QByteArray, content);
    const QTemporaryDir folder;
    QFile file(folder.filePath("kyhostd.ini"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    file.close();

    QCOMPARE(ky::addBackupFolder(file.fileName(), "/home"), QString());

    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), content);
}

void tst_DaemonSettings::backupFolderNeedsAFile()
{
    QCOMPARE(ky::addBackupFolder("/proc/none/kyhostd.ini", "/home"),
             QString("settings file [/proc/none/kyhostd.ini]: cannot be added to"));
}

void tst_DaemonSettings::defaultHomeFollowsTheUser_data()
{
    QTest::addColumn<bool>("isRoot");
    QTest::addColumn<QString>("stateHome");
    QTest::addColumn<QString>("home");
    QTest::newRow("root") << true << ""
                          << "/var/lib/kyhostd";
    QTest::newRow("root with a state home") << true << "/s"
                                            << "/s/kyhostd";
    QTest::newRow("user") << false << ""
                          << "/home/u/.local/state/kyhostd";
    QTest::newRow("user with a state home") << false << "/s"
                                            << "/s/kyhostd";
}

void tst_DaemonSettings::defaultHomeFollowsTheUser()
{
    QFETCH(bool, isRoot);
    QFETCH(QString, stateHome);
    QFETCH(QString, home);

    QCOMPARE(ky::defaultHome(isRoot, stateHome, "/home/u"), home);
}

QTEST_GUILESS_MAIN(tst_DaemonSettings)
#include "tst_DaemonSettings.moc"
