#include "host/PublicClass.h"
#include "support/IniFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

/// Settings on disks that take nothing: small disks in memory, mounted where this process alone
/// sees them.
class tst_SettingsDisk : public QObject
{
    Q_OBJECT

public:
    static bool isInOwnMounts;

private slots:
    void init();
    void cleanup();

    void temporaryFolderIsNotNeeded_data();
    void temporaryFolderIsNotNeeded();
    void fullDiskKeepsTheOldSettingsOrTakesTheNew_data();
    void fullDiskKeepsTheOldSettingsOrTakesTheNew();
    void newFileOnAFullDiskLeavesNothing();
    void readOnlyDiskIsTold();
    void valueThatIsThereNeedsNoWrite();

private:
    QString path(const char* name) const { return _home->filePath(QLatin1String(name)); }
    QString file() const { return path("setting/WirelessCard.ini"); }

    std::unique_ptr<QTemporaryDir> _home;
    QByteArray _temporaryFolder;
};

bool tst_SettingsDisk::isInOwnMounts = false;

namespace {

constexpr int kPageBytes = 4096;

const QByteArray kOldSettings = "[hotsport]\nssid=Robot\npasswd=not so secret\nis_hotspot=true\n\n"
                                "[NTP]\nntpTimeServerUrl=10.0.0.1\nntpTimePort=123\n"
                                "isAutoSync=true\ntimeSyncInterval=10\nGMT=8\n";

/// A disk of so many pages of memory in the place of a folder.
class SmallDisk
{
public:
    SmallDisk(const QString& folder, int pages)
        : _folder(QFile::encodeName(folder))
    {
        QDir().mkpath(folder);
        const QByteArray size = "size=" + QByteArray::number(pages * kPageBytes);
        _isMounted = mount("tmpfs", _folder.constData(), "tmpfs", 0, size.constData()) == 0;
    }
    ~SmallDisk()
    {
        if (_isMounted)
            umount2(_folder.constData(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted() const { return _isMounted; }
    bool makeReadOnly() const
    {
        return mount(nullptr, _folder.constData(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    }

private:
    QByteArray _folder;
    bool _isMounted = false;
};

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

bool write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) &&
           file.write(content) == content.size();
}

QStringList namesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

bool store(const QString& file, const char* key, const QVariant& value)
{
    return PublicClass::init()->writeIni(file, QLatin1String(key), value);
}

} // namespace

void tst_SettingsDisk::init()
{
    if (!isInOwnMounts)
        QSKIP("NOT TESTED: this machine gives the test no mounts of its own (unshare)");
    _temporaryFolder = qgetenv("TMPDIR");
    _home = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir().mkpath(path("setting")));
}

void tst_SettingsDisk::cleanup()
{
    if (_temporaryFolder.isNull())
        qunsetenv("TMPDIR");
    else
        qputenv("TMPDIR", _temporaryFolder);
    _home.reset();
}

void tst_SettingsDisk::temporaryFolderIsNotNeeded_data()
{
    QTest::addColumn<int>("freePages");
    QTest::addColumn<bool>("isReadOnly");

    QTest::newRow("missing") << -1 << false;
    QTest::newRow("full") << 0 << false;
    QTest::newRow("one page free") << 1 << false;
    QTest::newRow("two pages free") << 2 << false;
    QTest::newRow("three pages free") << 3 << false;
    QTest::newRow("read-only") << 3 << true;
}

void tst_SettingsDisk::temporaryFolderIsNotNeeded()
{
    QFETCH(int, freePages);
    QFETCH(bool, isReadOnly);
    QVERIFY(write(file(), kOldSettings));
    std::unique_ptr<SmallDisk> disk;
    if (freePages >= 0) {
        disk = std::make_unique<SmallDisk>(path("tmp"), freePages + 1);
        QVERIFY(disk->isMounted());
        QVERIFY(write(path("tmp/filler"), QByteArray(kPageBytes, 'x')));
        QVERIFY(!isReadOnly || disk->makeReadOnly());
    }
    qputenv("TMPDIR", QFile::encodeName(path("tmp")));

    const bool isStored = store(file(), "NTP/ntpTimePort", 124);

    QVERIFY(isStored);
    QCOMPARE(contentOf(file()),
             QByteArray(kOldSettings).replace("ntpTimePort=123", "ntpTimePort=124"));
    QVERIFY(namesIn(path("tmp")) == QStringList(QStringLiteral("filler")) || freePages < 0);
}

void tst_SettingsDisk::fullDiskKeepsTheOldSettingsOrTakesTheNew_data()
{
    QTest::addColumn<int>("freePages");
    QTest::addColumn<bool>("hasRoom");

    QTest::newRow("none") << 0 << false;
    QTest::newRow("one") << 1 << false; // of two that the new settings need
    QTest::newRow("plenty") << 8 << true;
}

void tst_SettingsDisk::fullDiskKeepsTheOldSettingsOrTakesTheNew()
{
    QFETCH(int, freePages);
    QFETCH(bool, hasRoom);
    const SmallDisk disk(path("setting"), freePages + 2);
    QVERIFY(disk.isMounted());
    QVERIFY(write(file(), kOldSettings));
    QVERIFY(write(path("setting/filler"), QByteArray(kPageBytes, 'x')));
    const QString value(kPageBytes, QLatin1Char('v'));

    QString reason;
    const bool isStored = ky::writeIniValues(file(), {{QStringLiteral("HMI/ip"), value}}, &reason);

    QCOMPARE(isStored, hasRoom);
    QVERIFY2(hasRoom || reason.endsWith(QLatin1String("No space left on device")),
             qUtf8Printable(reason));
    QCOMPARE(contentOf(file()),
             hasRoom ? kOldSettings + "\n[HMI]\nip=" + value.toLatin1() + '\n' : kOldSettings);
    QCOMPARE(namesIn(path("setting")),
             (QStringList{QStringLiteral("filler"), QStringLiteral("WirelessCard.ini")}));
}

void tst_SettingsDisk::newFileOnAFullDiskLeavesNothing()
{
    const SmallDisk disk(path("setting"), 1);
    QVERIFY(disk.isMounted());
    QVERIFY(write(path("setting/filler"), QByteArray(kPageBytes, 'x')));

    QVERIFY(!store(file(), "NTP/ntpTimePort", 124));

    QCOMPARE(namesIn(path("setting")), QStringList(QStringLiteral("filler")));
}

void tst_SettingsDisk::readOnlyDiskIsTold()
{
    const SmallDisk disk(path("setting"), 8);
    QVERIFY(disk.isMounted());
    QVERIFY(write(file(), kOldSettings));
    QVERIFY(disk.makeReadOnly());

    QString reason;
    const bool isStored =
        ky::writeIniValues(file(), {{QStringLiteral("NTP/ntpTimePort"), 124}}, &reason);

    QVERIFY(!isStored);
    QVERIFY2(reason.endsWith(QLatin1String("Read-only file system")), qUtf8Printable(reason));
    QVERIFY2(reason.contains(QLatin1String("WirelessCard.ini")), qUtf8Printable(reason));
    QCOMPARE(contentOf(file()), kOldSettings);
}

/// The name of a card is stored again with every query of it.
void tst_SettingsDisk::valueThatIsThereNeedsNoWrite()
{
    const SmallDisk disk(path("setting"), 8);
    QVERIFY(disk.isMounted());
    QVERIFY(write(file(), kOldSettings));
    QVERIFY(disk.makeReadOnly());

    QVERIFY(store(file(), "NTP/ntpTimePort", 123));
    QVERIFY(store(file(), "hotsport/is_hotspot", true));
}

/// Before there is any thread: a process of many threads gets no user namespace.
int main(int argc, char** argv)
{
    const bool isOwn = unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
    tst_SettingsDisk::isInOwnMounts =
        isOwn && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    QCoreApplication app(argc, argv);
    tst_SettingsDisk test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_SettingsDisk.moc"
