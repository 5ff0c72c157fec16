#include "host/PublicClass.h"
#include "support/IniFile.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLockFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

class tst_IniFiles : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void writtenValueIsReadBack_data();
    void writtenValueIsReadBack();
    void valueIsOnTheDiskAtOnce();
    void otherReadersUnderstandIt();
    void missingKeyAndFileReadAsInvalid();
    void missingFolderIsMade();
    void otherKeysStay();
    void modeAndOwnerAreKept();
    void relativePathCountsFromTheWorkingDirectory();
    void latestValueIsReadHoweverFastTheWrites();
    void nothingIsLeftBeside();
    void fileThatCannotBeWrittenIsTold();
    void fileThatCannotBeReadIsNotTakenForAnEmptyOne();
    void damagedFileIsReplacedNotEmptied();
    void commentsAndOrderStay();
    void newFileIsPrivateUnderAnyUmask_data();
    void newFileIsPrivateUnderAnyUmask();
    void valuesOfTheSameProcessAreKept();
    void severalValuesAreOneReplacement();
    void lockThatNobodyHoldsIsPassedOver_data();
    void lockThatNobodyHoldsIsPassedOver();
    void lockOfAShortSaveIsWaitedFor();
    void nothingIsStoredBehindALivingHolder();
    void linkToADeviceStoresNothing();
    void readerNeverSeesHalf();
    void writersAtTheSameTimeLoseNothing();

private:
    QString file() const { return _folder->filePath(QStringLiteral("card.ini")); }
    QByteArray content() const;
    void write(const QByteArray& content) const;

    std::unique_ptr<QTemporaryDir> _folder;
};

namespace {

PublicClass& host()
{
    return *PublicClass::init();
}

/// Reads what happens to the names in a folder.
class FolderWatch
{
public:
    FolderWatch(const QString& folder, uint32_t events)
        : _fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        inotify_add_watch(_fd, QFile::encodeName(folder).constData(), events);
    }
    ~FolderWatch() { close(_fd); }
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    /// How often something has happened to this name since the last call.
    int countOf(const QByteArray& name) const
    {
        alignas(inotify_event) char buffer[8192];
        int count = 0;
        for (ssize_t size; (size = ::read(_fd, buffer, sizeof buffer)) > 0;) {
            for (const char* at = buffer; at < buffer + size;) {
                const auto* event = reinterpret_cast<const inotify_event*>(at);
                count += event->len > 0 && name == event->name ? 1 : 0;
                at += sizeof *event + event->len;
            }
        }
        return count;
    }
    /// Waits for something to happen to this name.
    bool sees(const QByteArray& name, int limitMs) const
    {
        pollfd ready = {_fd, POLLIN, 0};
        for (QDeadlineTimer limit(limitMs); !limit.hasExpired();) {
            if (poll(&ready, 1, int(limit.remainingTime())) > 0 && countOf(name) > 0)
                return true;
        }
        return false;
    }

private:
    int _fd;
};

} // namespace

void tst_IniFiles::init()
{
    // In memory where that is to be had: every write waits for the disk otherwise.
    const QString memory = QStringLiteral("/dev/shm");
    _folder = std::make_unique<QTemporaryDir>(
        QDir(QFileInfo(memory).isWritable() ? memory : QDir::tempPath())
            .filePath(QStringLiteral("tst_IniFiles-XXXXXX")));
    QVERIFY(_folder->isValid());
}

QByteArray tst_IniFiles::content() const
{
    QFile ini(file());
    return ini.open(QIODevice::ReadOnly) ? ini.readAll() : QByteArray("unreadable");
}

void tst_IniFiles::write(const QByteArray& content) const
{
    QFile ini(file());
    QVERIFY(ini.open(QIODevice::WriteOnly) && ini.write(content) == content.size());
}

void tst_IniFiles::writtenValueIsReadBack_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("text") << QVariant(QStringLiteral("wlan0"));
    QTest::newRow("empty") << QVariant(QString());
    QTest::newRow("Chinese") << QVariant(QStringLiteral("五号车间 \U0001F916"));
    QTest::newRow("signs of the format") << QVariant(QStringLiteral("a,b;c=\"d\"\\ #[e]%f"));
    QTest::newRow("line feed") << QVariant(QStringLiteral("a\nb\r\n"));
    QTest::newRow("blanks around") << QVariant(QStringLiteral("  a  "));
    QTest::newRow("list") << QVariant(QStringList{QStringLiteral("a,b"), QStringLiteral("c")});
}

void tst_IniFiles::writtenValueIsReadBack()
{
    QFETCH(QVariant, value);

    QVERIFY(host().writeIni(file(), QStringLiteral("hotsport/ssid"), value));

    QCOMPARE(host().readIni(file(), QStringLiteral("hotsport/ssid")), value);
}

void tst_IniFiles::valueIsOnTheDiskAtOnce()
{
    QVERIFY(host().writeIni(file(), QStringLiteral("Server1/port"), 19208));

    QCOMPARE(content(), QByteArray("[Server1]\nport=19208\n"));
}

void tst_IniFiles::otherReadersUnderstandIt()
{
    QVERIFY(host().writeIni(file(), QStringLiteral("AppInfo/networkBackup"), true));

    QSettings settings(file(), QSettings::IniFormat);
    QCOMPARE(settings.value(QStringLiteral("AppInfo/networkBackup")).toBool(), true);
    QCOMPARE(settings.allKeys(), QStringList{QStringLiteral("AppInfo/networkBackup")});
}

void tst_IniFiles::missingKeyAndFileReadAsInvalid()
{
    QVERIFY(!host().readIni(file(), QStringLiteral("a/b")).isValid());
    QVERIFY(host().writeIni(file(), QStringLiteral("a/c"), 1));
    QVERIFY(!host().readIni(file(), QStringLiteral("a/b")).isValid());
    QVERIFY(!QFile::exists(_folder->filePath(QStringLiteral("none.ini"))));
}

void tst_IniFiles::missingFolderIsMade()
{
    const QString deep = _folder->filePath(QStringLiteral("appInfo/setting/card.ini"));

    QVERIFY(host().writeIni(deep, QStringLiteral("a/b"), 1));

    QCOMPARE(host().readIni(deep, QStringLiteral("a/b")).toInt(), 1);
}

void tst_IniFiles::otherKeysStay()
{
    QFile ini(file());
    QVERIFY(ini.open(QIODevice::WriteOnly));
    ini.write("top=1\n\n[WirelessCard]\nname=wlan0\nisOpen=true\n\n[NTP]\nserver=a.b, c\n");
    ini.close();

    QVERIFY(host().writeIni(file(), QStringLiteral("WirelessCard/name"), QStringLiteral("wlan1")));

    QCOMPARE(host().readIni(file(), QStringLiteral("WirelessCard/name")).toString(),
             QStringLiteral("wlan1"));
    QCOMPARE(host().readIni(file(), QStringLiteral("WirelessCard/isOpen")).toString(),
             QStringLiteral("true"));
    QCOMPARE(host().readIni(file(), QStringLiteral("top")).toInt(), 1);
    QCOMPARE(host().readIni(file(), QStringLiteral("NTP/server")).toStringList(),
             (QStringList{QStringLiteral("a.b"), QStringLiteral("c")}));
}

void tst_IniFiles::modeAndOwnerAreKept()
{
    QVERIFY(host().writeIni(file(), QStringLiteral("a/b"), 1));
    const QByteArray name = QFile::encodeName(file());
    const bool isRoot = geteuid() == 0;
    if (isRoot)
        QCOMPARE(chown(name.constData(), 1234, 4321), 0);
    QCOMPARE(chmod(name.constData(), 0640), 0);

    QVERIFY(host().writeIni(file(), QStringLiteral("a/b"), 2));

    struct stat facts = {};
    stat(name.constData(), &facts);
    QCOMPARE(int(facts.st_mode & 07777), 0640);
    QCOMPARE(facts.st_uid, isRoot ? uid_t(1234) : geteuid());
    QVERIFY(!isRoot || facts.st_gid == 4321);
}

void tst_IniFiles::relativePathCountsFromTheWorkingDirectory()
{
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(_folder->path()));
    const QString relative = QStringLiteral("appInfo/setting/WirelessCard.ini");
    const bool isWritten = host().writeIni(relative, QStringLiteral("a/b"), 5);
    const int read = host().readIni(relative, QStringLiteral("a/b")).toInt();
    QDir::setCurrent(before);

    QVERIFY(isWritten);
    QCOMPARE(read, 5);
    QVERIFY(QFile::exists(_folder->filePath(relative)));
}

/// Values of the same length within one tick of the file system's clock: size and time of the
/// file say nothing then.
void tst_IniFiles::latestValueIsReadHoweverFastTheWrites()
{
    for (int i = 100; i < 200; ++i) {
        QVERIFY(host().writeIni(file(), QStringLiteral("a/b"), i));
        QCOMPARE(host().readIni(file(), QStringLiteral("a/b")).toInt(), i);
    }
}

void tst_IniFiles::nothingIsLeftBeside()
{
    QVERIFY(host().writeIni(file(), QStringLiteral("a/b"), 1));

    QCOMPARE(
        QDir(_folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        QStringList{QStringLiteral("card.ini")});
}

void tst_IniFiles::fileThatCannotBeWrittenIsTold()
{
    QVERIFY(!host().writeIni(QStringLiteral("/proc/none/card.ini"), QStringLiteral("a/b"), 1));
    QVERIFY(!host().writeIni(_folder->path(), QStringLiteral("a/b"), 1));
}

/// A folder that takes new files, and a name in it that leads nowhere.
void tst_IniFiles::fileThatCannotBeReadIsNotTakenForAnEmptyOne()
{
    QVERIFY(QFile::link(file(), _folder->filePath(QStringLiteral("other.ini"))));
    QVERIFY(QFile::link(_folder->filePath(QStringLiteral("other.ini")), file()));

    QVERIFY(!host().writeIni(file(), QStringLiteral("a/b"), 1));

    QVERIFY(QFileInfo(file()).isSymLink());
}

void tst_IniFiles::damagedFileIsReplacedNotEmptied()
{
    write("[Server1]\nport=19208\nthis line says nothing\nname=\"cut");

    QVERIFY(host().writeIni(file(), QStringLiteral("a/b"), 1));

    QCOMPARE(host().readIni(file(), QStringLiteral("Server1/port")).toInt(), 19208);
    QCOMPARE(host().readIni(file(), QStringLiteral("Server1/name")).toString(),
             QStringLiteral("cut"));
    QCOMPARE(host().readIni(file(), QStringLiteral("a/b")).toInt(), 1);
}

void tst_IniFiles::commentsAndOrderStay()
{
    write("; by hand\n[z]\nb = 1\n# more\na=2 ; why\n\n[a]\nk=@Rect(1 2 3 4)\n");

    QVERIFY(host().writeIni(file(), QStringLiteral("z/a"), 3));

    QCOMPARE(content(), QByteArray("; by hand\n[z]\nb = 1\n# more\na=3 ; why\n\n"
                                   "[a]\nk=@Rect(1 2 3 4)\n"));
}

void tst_IniFiles::newFileIsPrivateUnderAnyUmask_data()
{
    QTest::addColumn<int>("umask");

    for (int mask : {0, 022, 077, 0277})
        QTest::addRow("%o", mask) << mask;
}

void tst_IniFiles::newFileIsPrivateUnderAnyUmask()
{
    QFETCH(int, umask);
    const mode_t before = ::umask(mode_t(umask));
    const bool isWritten =
        host().writeIni(file(), QStringLiteral("hotsport/passwd"), QStringLiteral("secret"));
    ::umask(before);

    QVERIFY(isWritten);
    struct stat facts = {};
    QCOMPARE(stat(QFile::encodeName(file()).constData(), &facts), 0);
    QCOMPARE(int(facts.st_mode & 07777), 0600);
}

/// What a QSettings object of this process has not saved yet is not in the file, and comes into it
/// beside what was stored meanwhile.
void tst_IniFiles::valuesOfTheSameProcessAreKept()
{
    write("[a]\nold=1\n");
    QSettings own(file(), QSettings::IniFormat);
    own.setValue(QStringLiteral("a/own"), false);

    QVERIFY(host().writeIni(file(), QStringLiteral("a/b"), 1));
    own.sync();

    QCOMPARE(own.status(), QSettings::NoError);
    QCOMPARE(host().readIni(file(), QStringLiteral("a/old")).toInt(), 1);
    QCOMPARE(host().readIni(file(), QStringLiteral("a/own")).toBool(), false);
    QCOMPARE(host().readIni(file(), QStringLiteral("a/b")).toInt(), 1);
}

/// Who watches the folder sees the name put in place once.
void tst_IniFiles::severalValuesAreOneReplacement()
{
    write("[NTP]\nserver=old\nport=1\n");
    const FolderWatch watch(_folder->path(), IN_MOVED_TO | IN_MODIFY);

    QVERIFY(ky::writeIniValues(file(), {{QStringLiteral("NTP/server"), QStringLiteral("new")},
                                        {QStringLiteral("NTP/port"), 2},
                                        {QStringLiteral("HMI/ip"), QStringLiteral("10.0.0.1")}}));

    QCOMPARE(watch.countOf("card.ini"), 1);
    QCOMPARE(content(), QByteArray("[NTP]\nserver=new\nport=2\n\n[HMI]\nip=10.0.0.1\n"));
}

void tst_IniFiles::lockThatNobodyHoldsIsPassedOver_data()
{
    QTest::addColumn<QByteArray>("lock");

    QTest::newRow("empty, of this moment") << QByteArray();
    QTest::newRow("of a process that is gone") << QByteArray("999999999\ntst_IniFiles\n\n");
    QTest::newRow("no lock at all") << QByteArray("\xff\xff");
}

void tst_IniFiles::lockThatNobodyHoldsIsPassedOver()
{
    QFETCH(QByteArray, lock);
    QFile stray(file() + QStringLiteral(".lock"));
    QVERIFY(stray.open(QIODevice::WriteOnly) && stray.write(lock) == lock.size());
    stray.close();
    QElapsedTimer time;
    time.start();

    QVERIFY(host().writeIni(file(), QStringLiteral("a/b"), 1));

    QVERIFY2(time.elapsed() < 4000, "a lock must not hold a setting up for long");
    QCOMPARE(host().readIni(file(), QStringLiteral("a/b")).toInt(), 1);
}

/// The holder stores its own value before it gives the lock up: both are there in the end.
void tst_IniFiles::lockOfAShortSaveIsWaitedFor()
{
    QVERIFY(host().writeIni(file(), QStringLiteral("a/b"), 1));
    auto held = std::make_unique<QLockFile>(file() + QStringLiteral(".lock"));
    QVERIFY(held->tryLock(0));
    const FolderWatch watch(_folder->path(), IN_OPEN);
    std::atomic<bool> isStored{false};
    std::thread writer([&] { isStored = host().writeIni(file(), QStringLiteral("a/c"), 2); });

    const bool isAtTheLock = watch.sees("card.ini.lock", 5000);
    write(content() + "theirs=3\n");
    held.reset();
    writer.join();

    QVERIFY(isAtTheLock);
    QVERIFY(isStored);
    QCOMPARE(content(), QByteArray("[a]\nb=1\ntheirs=3\nc=2\n"));
}

/// The holder has read the file and replaces it in the end: a value stored meanwhile would be lost.
void tst_IniFiles::nothingIsStoredBehindALivingHolder()
{
    write("[a]\nb=1\n");
    QLockFile held(file() + QStringLiteral(".lock"));
    QVERIFY(held.tryLock(0));
    QString error;

    QVERIFY(!ky::writeIniValues(file(), {{QStringLiteral("a/b"), 2}}, &error));

    QVERIFY2(error.contains(QStringLiteral("process %1").arg(QCoreApplication::applicationPid())),
             qPrintable(error));
    QCOMPARE(content(), QByteArray("[a]\nb=1\n"));
}

/// A device takes all and keeps nothing; and its times are nobody's to change.
void tst_IniFiles::linkToADeviceStoresNothing()
{
    QVERIFY(QFile::link(QStringLiteral("/dev/null"), file()));
    struct stat before = {};
    struct stat after = {};
    QCOMPARE(stat("/dev/null", &before), 0);
    QString error;

    QVERIFY(!ky::writeIniValues(file(), {{QStringLiteral("a/b"), 2}}, &error));

    QVERIFY2(error.contains(file()) && error.contains(QStringLiteral("not a file")),
             qPrintable(error));
    QCOMPARE(stat("/dev/null", &after), 0);
    QCOMPARE(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    QCOMPARE(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
}

void tst_IniFiles::readerNeverSeesHalf()
{
    QVERIFY(host().writeIni(file(), QStringLiteral("z/last"), 1));
    std::atomic<bool> isDone{false};
    std::thread writer([&] {
        for (int i = 0; i < 60; ++i)
            host().writeIni(file(), QStringLiteral("a/b"), QString(i * 500, QLatin1Char('x')));
        isDone = true;
    });
    int lost = 0;
    while (!isDone)
        lost += content().contains("[z]\nlast=1\n") ? 0 : 1;
    writer.join();

    QCOMPARE(lost, 0);
}

void tst_IniFiles::writersAtTheSameTimeLoseNothing()
{
    std::atomic<int> failures{0};
    std::vector<std::thread> writers;
    for (int number = 0; number < 8; ++number)
        writers.emplace_back([&, number] {
            for (int i = 0; i < 15; ++i)
                failures +=
                    host().writeIni(file(), QStringLiteral("group%1/key%2").arg(number).arg(i), i)
                        ? 0
                        : 1;
        });
    for (std::thread& writer : writers)
        writer.join();

    QCOMPARE(failures.load(), 0);
    QCOMPARE(QSettings(file(), QSettings::IniFormat).allKeys().size(), 8 * 15);
}

QTEST_GUILESS_MAIN(tst_IniFiles)
#include "tst_IniFiles.moc"
