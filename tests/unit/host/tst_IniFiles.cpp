#include "host/PublicClass.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>
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
    void damagedFileIsReplacedNotEmptied();
    void readerNeverSeesHalf();
    void writersAtTheSameTimeLoseNothing();

private:
    QString file() const { return _folder->filePath(QStringLiteral("card.ini")); }
    QByteArray content() const;

    std::unique_ptr<QTemporaryDir> _folder;
};

namespace {

PublicClass& host()
{
    return *PublicClass::init();
}

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

void tst_IniFiles::damagedFileIsReplacedNotEmptied()
{
    QFile ini(file());
    QVERIFY(ini.open(QIODevice::WriteOnly));
    ini.write("[Server1]\nport=19208\nthis line says nothing\n");
    ini.close();

    host().writeIni(file(), QStringLiteral("a/b"), 1);

    QCOMPARE(host().readIni(file(), QStringLiteral("Server1/port")).toInt(), 19208);
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
