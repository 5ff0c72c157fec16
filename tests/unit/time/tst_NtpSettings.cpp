#include "time/NtpSettings.h"

#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <limits>
#include <sys/resource.h>

class tst_NtpSettings : public QObject
{
    Q_OBJECT

private slots:
    void missingFileReadsAsNothing();
    void readsWhatWasStored();
    void storingKeepsTheOtherGroups();
    void storesNothingWhereNothingCanBeWritten();
    void storesAllOfThemOrNone();
    void shortIntervalsBecomeTenMinutes_data();
    void shortIntervalsBecomeTenMinutes();
    void serverIsDefaultedAsAWhole_data();
    void serverIsDefaultedAsAWhole();
    void requestIsTakenAsItIs();
    void absentKeysOfARequestAreEmpty();
    void portOfARequestKeepsSixteenBits_data();
    void portOfARequestKeepsSixteenBits();
    void periodHoldsWhatATimerCan_data();
    void periodHoldsWhatATimerCan();

private:
    QString file() const { return _folder.filePath("setting/WirelessCard.ini"); }
    QTemporaryDir _folder;
};

void tst_NtpSettings::missingFileReadsAsNothing()
{
    const ky::NtpSettings settings = ky::readNtpSettings(_folder.filePath("absent.ini"));

    QCOMPARE(settings.isAutoSync, false);
    QCOMPARE(settings.intervalMinutes, 0u);
    QCOMPARE(settings.url, QString());
    QCOMPARE(settings.port, quint16(0));
    QCOMPARE(settings.gmtHours, 0.0);
}

void tst_NtpSettings::readsWhatWasStored()
{
    QVERIFY(ky::storeNtpSettings(file(), {true, 4000000000u, "时间, a;b", 65535, -3.5}));

    const ky::NtpSettings settings = ky::readNtpSettings(file());

    QCOMPARE(settings.isAutoSync, true);
    QCOMPARE(settings.intervalMinutes, 4000000000u);
    QCOMPARE(settings.url, QStringLiteral("时间, a;b"));
    QCOMPARE(settings.port, quint16(65535));
    QCOMPARE(settings.gmtHours, -3.5);
}

void tst_NtpSettings::storingKeepsTheOtherGroups()
{
    QSettings(file(), QSettings::IniFormat).setValue("WirelessCard/CardName", "wlan0");

    QVERIFY(ky::storeNtpSettings(file(), {true, 5, "127.0.0.1", 5000, 8.0}));

    const QSettings ini(file(), QSettings::IniFormat);
    QCOMPARE(ini.value("WirelessCard/CardName").toString(), QStringLiteral("wlan0"));
    QCOMPARE(ini.value("NTP/isAutoSync").toString(), QStringLiteral("true"));
    QCOMPARE(ini.value("NTP/timeSyncInterval").toString(), QStringLiteral("5"));
    QCOMPARE(ini.value("NTP/ntpTimeServerUrl").toString(), QStringLiteral("127.0.0.1"));
    QCOMPARE(ini.value("NTP/ntpTimePort").toString(), QStringLiteral("5000"));
    QCOMPARE(ini.value("NTP/GMT").toString(), QStringLiteral("8"));
}

void tst_NtpSettings::storesNothingWhereNothingCanBeWritten()
{
    QFile blocker(_folder.filePath("blocker"));
    QVERIFY(blocker.open(QIODevice::WriteOnly));

    QVERIFY(!ky::storeNtpSettings(_folder.filePath("blocker/x.ini"), {}));
}

/// A new server with the port of the old one would be a server that nobody has asked for.
void tst_NtpSettings::storesAllOfThemOrNone()
{
    const QString path = _folder.filePath("small.ini");
    QVERIFY(ky::storeNtpSettings(path, {true, 10, "10.0.0.1", 5000, 8.0}));
    const qint64 size = QFileInfo(path).size();
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit small = before;
    small.rlim_cur = rlim_t(size) + 2; // room for each of the new values, not for all of them
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    QString reason;
    const bool isStored =
        ky::storeNtpSettings(path, {true, 1000, "10.0.0.22", 50000, 8.0}, &reason);
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);

    QVERIFY(!isStored);
    QVERIFY2(reason.endsWith(QLatin1String("File too large")), qUtf8Printable(reason));
    const ky::NtpSettings settings = ky::readNtpSettings(path);
    QCOMPARE(settings.url, QStringLiteral("10.0.0.1"));
    QCOMPARE(settings.port, quint16(5000));
    QCOMPARE(settings.intervalMinutes, 10u);
}

void tst_NtpSettings::shortIntervalsBecomeTenMinutes_data()
{
    QTest::addColumn<quint32>("stored");
    QTest::addColumn<quint32>("used");

    QTest::newRow("0") << 0u << 10u;
    QTest::newRow("5") << 5u << 10u;
    QTest::newRow("9") << 9u << 10u;
    QTest::newRow("10") << 10u << 10u;
    QTest::newRow("11") << 11u << 11u;
    QTest::newRow("largest") << 4294967295u << 4294967295u;
}

void tst_NtpSettings::shortIntervalsBecomeTenMinutes()
{
    QFETCH(quint32, stored);
    ky::NtpSettings settings;
    settings.intervalMinutes = stored;

    QTEST(ky::startSettings(settings).intervalMinutes, "used");
}

void tst_NtpSettings::serverIsDefaultedAsAWhole_data()
{
    QTest::addColumn<QString>("storedUrl");
    QTest::addColumn<int>("storedPort");
    QTest::addColumn<QString>("url");
    QTest::addColumn<int>("port");

    QTest::newRow("nothing") << "" << 0 << "pool.ntp.org" << 123;
    QTest::newRow("port alone") << "" << 5000 << "pool.ntp.org" << 123;
    QTest::newRow("server alone") << "10.0.0.1" << 0 << "10.0.0.1" << 0;
    QTest::newRow("both") << "10.0.0.1" << 5000 << "10.0.0.1" << 5000;
}

void tst_NtpSettings::serverIsDefaultedAsAWhole()
{
    QFETCH(QString, storedUrl);
    QFETCH(int, storedPort);
    ky::NtpSettings settings;
    settings.url = storedUrl;
    settings.port = quint16(storedPort);

    settings = ky::startSettings(settings);

    QTEST(settings.url, "url");
    QTEST(int(settings.port), "port");
}

void tst_NtpSettings::requestIsTakenAsItIs()
{
    const ky::NtpSettings settings = ky::requestedSettings({{"isAuto", true},
                                                            {"timeSyncInterval", 5},
                                                            {"url", "10.0.0.1"},
                                                            {"port", 5000},
                                                            {"GMT", -3.5}});

    QCOMPARE(settings.isAutoSync, true);
    QCOMPARE(settings.intervalMinutes, 5u);
    QCOMPARE(settings.url, QStringLiteral("10.0.0.1"));
    QCOMPARE(settings.port, quint16(5000));
    QCOMPARE(settings.gmtHours, -3.5);
}

void tst_NtpSettings::absentKeysOfARequestAreEmpty()
{
    const ky::NtpSettings settings = ky::requestedSettings({});

    QCOMPARE(settings.isAutoSync, false);
    QCOMPARE(settings.intervalMinutes, 0u);
    QCOMPARE(settings.url, QString());
    QCOMPARE(settings.port, quint16(0));
    QCOMPARE(settings.gmtHours, 0.0);
}

void tst_NtpSettings::portOfARequestKeepsSixteenBits_data()
{
    QTest::addColumn<QVariant>("asked");
    QTest::addColumn<int>("port");

    QTest::newRow("0") << QVariant(0) << 0;
    QTest::newRow("65535") << QVariant(65535) << 65535;
    QTest::newRow("65536") << QVariant(65536) << 0;
    QTest::newRow("as JSON numbers come") << QVariant(123.0) << 123;
    QTest::newRow("as a text") << QVariant("123") << 123;
    QTest::newRow("no number") << QVariant("ntp") << 0;
}

void tst_NtpSettings::portOfARequestKeepsSixteenBits()
{
    QFETCH(QVariant, asked);

    QTEST(int(ky::requestedSettings({{"port", asked}}).port), "port");
}

void tst_NtpSettings::periodHoldsWhatATimerCan_data()
{
    QTest::addColumn<quint32>("minutes");
    QTest::addColumn<int>("periodMs");

    const int longest = std::numeric_limits<int>::max();
    QTest::newRow("1") << 1u << 60000;
    QTest::newRow("10") << 10u << 600000;
    QTest::newRow("last that fits") << 35791u << 2147460000;
    QTest::newRow("first that does not") << 35792u << longest;
    QTest::newRow("4 000 000 000") << 4000000000u << longest;
    QTest::newRow("largest") << 4294967295u << longest;
}

void tst_NtpSettings::periodHoldsWhatATimerCan()
{
    QFETCH(quint32, minutes);

    QTEST(ky::syncPeriodMs(minutes), "periodMs");
}

QTEST_GUILESS_MAIN(tst_NtpSettings)
#include "tst_NtpSettings.moc"
