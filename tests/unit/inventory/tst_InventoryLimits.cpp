#include "HostFolder.h"

#include "inventory/SystemAudio.h"
#include "inventory/SystemVersionInfo.h"

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QtTest>

#include <sys/stat.h>
#include <thread>

/// What takes its 30 seconds by rule, both at the same time.
class tst_InventoryLimits : public QObject
{
    Q_OBJECT

private slots:
    void toolsThatTakeTooLongAreGivenUpAfterHalfAMinute();

private:
    static constexpr qint64 kRuleMs = 30000;
    static constexpr qint64 kMarginMs = 5000; // on a machine that is busy with other tests
};

namespace {

/// A tool that prints a line, starts a child, notes it and waits for it.
void makeEndlessTool(const HostFolder& host, const QString& name, const QByteArray& line)
{
    host.write(name, "#!/bin/sh\necho '" + line + "'\nsleep 300 &\necho $! >'" +
                         host.path("/child").toUtf8() + "'\nwait\n");
    QFile::setPermissions(host.path(name), QFile::ReadOwner | QFile::ExeOwner);
}

bool isAlive(int pid)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    return file.open(QIODevice::ReadOnly) && !file.readAll().contains(") Z ");
}

} // namespace

void tst_InventoryLimits::toolsThatTakeTooLongAreGivenUpAfterHalfAMinute()
{
    QLoggingCategory::setFilterRules("ky.inventory.debug=false");
    const HostFolder host;
    PublicClass::init()->hardwareType = 2; // its disks come through a pipe
    makeEndlessTool(host, "/tools/df", "/dev/sda1 ext4 9 1024 1024 50% /");
    qputenv("PATH", host.path("/tools").toUtf8() + ':' + qgetenv("PATH"));
    QVERIFY(QDir().mkpath(host.path("/proc/asound")));
    QCOMPARE(mkfifo(QFile::encodeName(host.path("/proc/asound/cards")).constData(), 0600), 0);
    qint64 audioMs = -1;
    QElapsedTimer timer;
    timer.start();

    std::thread audio([&] {
        SystemAudio(nullptr).getAllAudioDevice(); // of a pipe into which nobody writes
        audioMs = timer.elapsed();
    });
    const QVariantMap info = SystemVersionInfo(nullptr).getHardwareInfo();
    const qint64 infoMs = timer.elapsed();
    audio.join();

    QVERIFY2(infoMs >= kRuleMs && infoMs < kRuleMs + kMarginMs,
             qPrintable(QString::number(infoMs)));
    QVERIFY2(audioMs >= kRuleMs && audioMs < kRuleMs + kMarginMs,
             qPrintable(QString::number(audioMs)));
    QVERIFY(!info.value("cpu").toList().isEmpty()); // the tools behind it ran
    const int child = host.read("/child").trimmed().toInt();
    QVERIFY(child > 1);
    QTRY_VERIFY(!isAlive(child));
}

QTEST_GUILESS_MAIN(tst_InventoryLimits)
#include "tst_InventoryLimits.moc"
