#include "commands/ValueForms.h"

#include <QTest>

class tst_ValueForms : public QObject
{
    Q_OBJECT

private slots:
    void textHasItsForm_data();
    void textHasItsForm();
};

using Form = bool (*)(const QString&);
Q_DECLARE_METATYPE(Form)

void tst_ValueForms::textHasItsForm_data()
{
    QTest::addColumn<Form>("form");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("has");

    const auto row = [](const char* name, Form form, const QString& text, bool has) {
        QTest::addRow("%s, %s", name, qPrintable(text.left(20))) << form << text << has;
    };
    const auto rows = [&row](const char* name, Form form, const QStringList& good,
                             const QStringList& bad) {
        for (const QString& text : good)
            row(name, form, text, true);
        for (const QString& text : bad)
            row(name, form, text, false);
    };
    rows("address", ky::isIpv4Address, {"0.0.0.0", "10.77.0.9", "255.255.255.255"},
         {"", "10.0.0", "10.0.0.0.1", "10.0.0.256", "010.0.0.7", "10.0.0.7 ", "-1.0.0.0", "a.b.c.d",
          "10.0.0.7;reboot", "::1", "...", "10.0.0.0007", "+1.0.0.0"});
    rows("mask", ky::isSubnetMask,
         {"0.0.0.0", "255.255.255.0", "255.255.255.000", "255.255.255.255", "128.0.0.0"},
         {"", "255.0.255.0", "255.255.255", "0.0.0.255", "24", "255.255.255.256"});
    rows("host", ky::isHostName,
         {"a", "10.0.0.1", "fe80::1%eth0", "pool.ntp.org", "robot-7", QString(253, 'a')},
         {"", "-f", "a b", "a;b", "$(x)", "a\nb", "ü.de", QString(254, 'a')});
    rows("interface", ky::isInterfaceName, {"eth0", "wlp1s0", "x", "can0.1", QString(15, 'a')},
         {"", ".", "..", "a/b", "a:0", "a b", "a\tb", "-a", QString(16, 'a'),
          QStringLiteral(u"网网网网网网"), QString(QChar(0))});
    rows("zone", ky::isZoneName,
         {"UTC", "Etc/GMT+1", "America/Port-au-Prince", "America/Argentina/Buenos_Aires",
          QString(64, 'a')},
         {"", "/etc", "../../etc/shadow", "Europe//Berlin", "Europe/", "a b", "-f", "a;b",
          QString(65, 'a')});
    rows("time", ky::isLocalTime, {"2026-05-01 12:00:00", "2024-02-29 23:59:59"},
         {"", "2026-05-01", "2026-02-29 12:00:00", "2026-05-01 24:00:00", "tomorrow",
          "2026-05-01T12:00:00", "2026-05-01 12:00:00 "});
    rows("word", ky::isPlainWord, {"0", "PCH", "sgtl5000_a-b"}, {"", "a b", "a/b", "0\n", "ü"});
}

void tst_ValueForms::textHasItsForm()
{
    QFETCH(Form, form);
    QFETCH(QString, text);

    QTEST(form(text), "has");
}

QTEST_GUILESS_MAIN(tst_ValueForms)
#include "tst_ValueForms.moc"
