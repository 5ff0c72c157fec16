#include "support/KeyFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using ky::KeyFile;

namespace {

/// The files of a capture that lists several, each behind a line "## NAME".
QMap<QString, QByteArray> captured(const char* name)
{
    QFile file(QStringLiteral(KY_TEST_DATA "/") + QLatin1String(name));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QMap<QString, QByteArray> files;
    QString current;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine();
        if (line.startsWith("## "))
            current = QString::fromUtf8(line.mid(3).trimmed());
        else if (!current.isEmpty())
            files[current] += line;
    }
    return files;
}

KeyFile wifi(const QByteArray& line)
{
    return KeyFile("[wifi]\n" + line + "\n[ipv4]\nmethod=auto\n");
}

} // namespace

class tst_KeyFile : public QObject
{
    Q_OBJECT

private slots:
    void readsCapturedProfile_data();
    void readsCapturedProfile();
    void readsValue_data();
    void readsValue();
    void readsSsid_data();
    void readsSsid();
    void lastOfTwoKeysCounts();
    void groupsOfOneNameAreOne();
    void keyOfAnotherGroupIsNotRead();
    void absentKeyHoldsNothing();
    void missingFileIsAnEmptyOne();
    void removalTakesTheLineAlone_data();
    void removalTakesTheLineAlone();
    void removalOnDiskKeepsEveryOtherByteOwnerAndMode();
    void removalOfAbsentKeyLeavesTheFileAlone();
    void removalFromMissingFileTellsTheReason();
    void anyCutIsRead();
    void noiseIsRead();
};

void tst_KeyFile::readsCapturedProfile_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("ssid");
    QTest::addColumn<QString>("psk");

    const auto row = [](const char* file, const QString& id, const QString& ssid, const char* psk) {
        QTest::newRow(file) << QString::fromUtf8(file) + QStringLiteral(".nmconnection") << id
                            << ssid << QString::fromUtf8(psk);
    };
    row("RobotNet", "RobotNet", "RobotNet", "robotpass");
    row("comma,net", "comma,net", "comma,net", "pass,word1");
    row("semi;colon", "semi;colon", "semi;colon", "pass;word1");
    row("back\\slash", "back\\slash", "back\\slash", "pass\\word1");
    row("机器人网络", QStringLiteral(u"机器人网络"), QStringLiteral(u"机器人网络"), "robotpass");
}

void tst_KeyFile::readsCapturedProfile()
{
    QFETCH(QString, file);
    const KeyFile profile(captured("qsettings/files-before.c.out").value(file));
    QVERIFY(!profile.content().isEmpty());

    QTEST(profile.value("connection", "id"), "id");
    QTEST(QString::fromUtf8(profile.ssid("wifi", "ssid")), "ssid");
    QTEST(profile.value("wifi-security", "psk"), "psk");
    QCOMPARE(profile.value("connection", "type"), QStringLiteral("wifi"));
    QCOMPARE(profile.value("ipv4", "method"), QStringLiteral("auto"));
}

void tst_KeyFile::readsValue_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("value");

    QTest::newRow("comma") << QByteArray("key=a,b") << "a,b";
    QTest::newRow("semicolon") << QByteArray("key=a;b") << "a;b";
    QTest::newRow("quotes") << QByteArray("key=\"a\"") << "\"a\"";
    QTest::newRow("equals sign") << QByteArray("key=a=b") << "a=b";
    QTest::newRow("percent") << QByteArray("key=%41%2") << "%41%2";
    QTest::newRow("hash inside") << QByteArray("key=a#b") << "a#b";
    QTest::newRow("backslash") << QByteArray("key=a\\\\b") << "a\\b";
    QTest::newRow("escapes") << QByteArray("key=\\sa\\nb\\tc\\rd") << " a\nb\tc\rd";
    QTest::newRow("escaped backslash before s") << QByteArray("key=\\\\s") << "\\s";
    QTest::newRow("unknown escape stays") << QByteArray("key=a\\xb") << "a\\xb";
    QTest::newRow("lone backslash at the end") << QByteArray("key=a\\") << "a\\";
    QTest::newRow("blanks around the sign") << QByteArray("key = a b ") << "a b ";
    QTest::newRow("indented") << QByteArray("  key=a") << "a";
    QTest::newRow("carriage return") << QByteArray("key=a\r") << "a";
    QTest::newRow("empty") << QByteArray("key=") << "";
    QTest::newRow("UTF-8") << QByteArray("key=机") << QStringLiteral(u"机");
    QTest::newRow("comment") << QByteArray("#key=a") << "";
    QTest::newRow("no sign") << QByteArray("key") << "";
    QTest::newRow("longer name") << QByteArray("key2=a") << "";
    QTest::newRow("shorter name") << QByteArray("ke=a") << "";
}

void tst_KeyFile::readsValue()
{
    QFETCH(QByteArray, line);

    QTEST(wifi(line).value("wifi", "key"), "value");
}

void tst_KeyFile::readsSsid_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("plain") << QByteArray("ssid=RobotNet") << QByteArray("RobotNet");
    QTest::newRow("bytes") << QByteArray("ssid=82;111;98;") << QByteArray("Rob");
    QTest::newRow("bytes and blanks") << QByteArray("ssid= 82 ; 111;98;  ") << QByteArray("Rob");
    QTest::newRow("zero and 255") << QByteArray("ssid=0;255;") << QByteArray("\0\xff", 2);
    QTest::newRow("256 is no byte") << QByteArray("ssid=256;") << QByteArray("256;");
    QTest::newRow("four digits") << QByteArray("ssid=0082;") << QByteArray("0082;");
    QTest::newRow("no last semicolon") << QByteArray("ssid=82;111") << QByteArray("82;111");
    QTest::newRow("number alone") << QByteArray("ssid=230") << QByteArray("230");
    QTest::newRow("semicolons alone") << QByteArray("ssid=;;") << QByteArray(";;");
    QTest::newRow("semicolon in text") << QByteArray("ssid=a\\\\;b") << QByteArray("a;b");
    QTest::newRow("backslash before a semicolon")
        << QByteArray("ssid=a\\\\\\\\;b") << QByteArray("a\\;b");
    QTest::newRow("semicolons in a row") << QByteArray("ssid=\\\\;\\\\;") << QByteArray(";;");
    QTest::newRow("backslash in text") << QByteArray("ssid=a\\\\b") << QByteArray("a\\b");
    QTest::newRow("empty") << QByteArray("ssid=") << QByteArray();
    QTest::newRow("absent") << QByteArray("mode=ap") << QByteArray();
}

void tst_KeyFile::readsSsid()
{
    QFETCH(QByteArray, line);

    QTEST(wifi(line).ssid("wifi", "ssid"), "bytes");
}

void tst_KeyFile::lastOfTwoKeysCounts()
{
    QCOMPARE(wifi("key=a\nkey=b").value("wifi", "key"), QStringLiteral("b"));
}

void tst_KeyFile::groupsOfOneNameAreOne()
{
    const KeyFile profile("[wifi]\na=1\n[ipv4]\nb=2\n[wifi]\nc=3\n");

    QCOMPARE(profile.value("wifi", "a"), QStringLiteral("1"));
    QCOMPARE(profile.value("wifi", "c"), QStringLiteral("3"));
}

void tst_KeyFile::keyOfAnotherGroupIsNotRead()
{
    const KeyFile profile("key=0\n[wifi2]\nkey=1\n[wif]\nkey=2\n");

    QVERIFY(!profile.holds("wifi", "key", QStringLiteral("1")));
    QCOMPARE(profile.value("wifi", "key"), QString());
}

void tst_KeyFile::absentKeyHoldsNothing()
{
    QVERIFY(!KeyFile("[wifi]\n").holds("wifi", "key", QString()));
    QVERIFY(KeyFile("[wifi]\nkey=\n").holds("wifi", "key", QString()));
}

void tst_KeyFile::missingFileIsAnEmptyOne()
{
    QVERIFY(KeyFile::read(QStringLiteral("/no/such/file")).content().isEmpty());
}

void tst_KeyFile::removalTakesTheLineAlone_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");

    QTest::newRow("between") << QByteArray("[ipv4]\na=1\naddress1=x\nb=2\n")
                             << QByteArray("[ipv4]\na=1\nb=2\n");
    QTest::newRow("at the end, no line feed")
        << QByteArray("[ipv4]\na=1\naddress1=x") << QByteArray("[ipv4]\na=1\n");
    QTest::newRow("twice") << QByteArray("[ipv4]\naddress1=x\naddress1=y\n")
                           << QByteArray("[ipv4]\n");
    QTest::newRow("carriage returns stay elsewhere")
        << QByteArray("[ipv4]\r\na=1\r\n address1 = x\r\n# c\r\n")
        << QByteArray("[ipv4]\r\na=1\r\n# c\r\n");
    QTest::newRow("other group stays")
        << QByteArray("[ipv6]\naddress1=x\n") << QByteArray("[ipv6]\naddress1=x\n");
    QTest::newRow("comment stays")
        << QByteArray("[ipv4]\n#address1=x\n") << QByteArray("[ipv4]\n#address1=x\n");
    QTest::newRow("bytes that are no UTF-8 stay")
        << QByteArray("[ipv4]\na=\xff\xfe\naddress1=x\n") << QByteArray("[ipv4]\na=\xff\xfe\n");
}

void tst_KeyFile::removalTakesTheLineAlone()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    KeyFile profile(before);

    QCOMPARE(profile.remove("ipv4", "address1"), before != after);

    QCOMPARE(profile.content(), after);
}

void tst_KeyFile::removalOnDiskKeepsEveryOtherByteOwnerAndMode()
{
    const QByteArray before =
        captured("qsettings/files-before.c.out").value(QStringLiteral(u"机器人网络.nmconnection"));
    QVERIFY(before.contains("\naddress1=10.77.0.50/24,10.77.0.1\n"));
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral(u"机器人网络.nmconnection"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(before);
    file.close();
    QCOMPARE(chmod(QFile::encodeName(path).constData(), 0600), 0);
    const uid_t owner = geteuid() == 0 ? 1234 : geteuid(); // only root can give a file away
    QCOMPARE(chown(QFile::encodeName(path).constData(), owner, gid_t(-1)), 0);

    QVERIFY(ky::removeFromKeyFile(path, "ipv4", "address1"));

    QByteArray expected = before;
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), expected.replace("address1=10.77.0.50/24,10.77.0.1\n", ""));
    struct stat now = {};
    QCOMPARE(stat(QFile::encodeName(path).constData(), &now), 0);
    QCOMPARE(now.st_mode & 07777, mode_t(0600));
    QCOMPARE(now.st_uid, owner);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files).size(), 1);
}

void tst_KeyFile::removalOfAbsentKeyLeavesTheFileAlone()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.nmconnection"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[ipv4]\nmethod=auto\n");
    file.close();
    struct stat before = {};
    QCOMPARE(stat(QFile::encodeName(path).constData(), &before), 0);

    QVERIFY(ky::removeFromKeyFile(path, "ipv4", "address1"));

    struct stat now = {};
    QCOMPARE(stat(QFile::encodeName(path).constData(), &now), 0);
    QCOMPARE(now.st_ino, before.st_ino);
}

void tst_KeyFile::removalFromMissingFileTellsTheReason()
{
    QString error;

    QVERIFY(!ky::removeFromKeyFile(QStringLiteral("/no/such/file"), "ipv4", "address1", &error));

    QCOMPARE(error, QStringLiteral("open [/no/such/file]: No such file or directory"));
}

void tst_KeyFile::anyCutIsRead()
{
    const QMap<QString, QByteArray> files = captured("qsettings/files-before.c.out");
    QCOMPARE(files.size(), 6);
    for (const QByteArray& whole : files) {
        for (int size = 0; size <= whole.size(); ++size) {
            KeyFile cut(whole.left(size));
            const QString psk = cut.value("wifi-security", "psk");
            QVERIFY(psk.isEmpty() || KeyFile(whole).value("wifi-security", "psk").startsWith(psk) ||
                    psk.endsWith(QLatin1Char('\\')));
            cut.ssid("wifi", "ssid");
            cut.remove("ipv4", "address1");
            QVERIFY(cut.content().size() <= size);
        }
    }
}

void tst_KeyFile::noiseIsRead()
{
    const QByteArray line(1 << 20, 'x');
    QCOMPARE(KeyFile("[wifi]\nkey=" + line).value("wifi", "key").size(), line.size());
    QCOMPARE(KeyFile(line).value("wifi", "key"), QString());
    QCOMPARE(KeyFile("[" + line).value("wifi", "key"), QString());
    QCOMPARE(KeyFile("[wifi]\n" + line + "=1\n").value("wifi", "key"), QString());
    QByteArray noise;
    for (int i = 0; i < 1 << 16; ++i)
        noise += char(i * 7919 >> 3);
    KeyFile profile(noise + "\n[wifi]\nkey=a\n" + noise);
    QVERIFY(profile.remove("wifi", "key"));
    QCOMPARE(profile.content(), noise + "\n[wifi]\n" + noise);
}

QTEST_GUILESS_MAIN(tst_KeyFile)
#include "tst_KeyFile.moc"
