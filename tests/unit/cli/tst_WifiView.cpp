#include "cli/WifiView.h"

#include <QTest>

class tst_WifiView : public QObject
{
    Q_OBJECT

private slots:
    void nothingToldYet();
    void decisionAndRoamAreLinesOfTheirOwn();
    void stayingShowsBothLines();
};

void tst_WifiView::nothingToldYet()
{
    QCOMPARE(ky::wifiViewText({}, {}, {}),
             QStringLiteral("link: no access point\n5 GHz: no candidates\n2.4 GHz: no candidates\n"
                            "last decision: none yet\nlast roam: none yet\n"));
}

void tst_WifiView::decisionAndRoamAreLinesOfTheirOwn()
{
    const QString text = ky::wifiViewText({}, {},
                                          {{"decision", QVariantList{"Switch AP(5G):-80->-65(7)"}},
                                           {"decision_time", "12:00"},
                                           {"move", "Switch AP:02:05"},
                                           {"move_time", "12:01"}});

    QVERIFY2(text.endsWith(QStringLiteral("last decision: Switch AP(5G):-80->-65(7) (12:00)\n"
                                          "last roam: Switch AP:02:05 (12:01)\n")),
             qPrintable(text));
}

void tst_WifiView::stayingShowsBothLines()
{
    const QString text = ky::wifiViewText(
        {}, {}, {{"decision", QVariantList{"Not a", "Not b"}}, {"decision_time", "12:00"}});

    QVERIFY2(text.contains(QStringLiteral("last decision: Not a; Not b (12:00)\nlast roam: none")),
             qPrintable(text));
}

QTEST_APPLESS_MAIN(tst_WifiView)
#include "tst_WifiView.moc"
