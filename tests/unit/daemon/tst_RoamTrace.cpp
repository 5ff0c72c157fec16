#include "daemon/RoamTrace.h"

#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTest>

Q_LOGGING_CATEGORY(networkLog, "ky.network")
Q_LOGGING_CATEGORY(otherLog, "ky.other")

namespace {

int passedOn = 0;

void count(QtMsgType, const QMessageLogContext&, const QString&)
{
    ++passedOn;
}

} // namespace

class tst_RoamTrace : public QObject
{
    Q_OBJECT

private slots:
    void linesArePartedIntoKindAndText_data();
    void linesArePartedIntoKindAndText();
    void onlyTheNetworksLinesAreHeardAndAllGoOn();
};

void tst_RoamTrace::linesArePartedIntoKindAndText_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("text");

    QTest::newRow("link") << "[info][CurrentAP][02:00|-61]"
                          << "CurrentAP"
                          << "02:00|-61";
    QTest::newRow("list") << "[info][ApList][02:00|-61|02:01|-70|]"
                          << "ApList"
                          << "02:00|-61|02:01|-70|";
    QTest::newRow("decision") << "[info][text][Switch AP(5G):-80->-60(7)]"
                              << "text"
                              << "Switch AP(5G):-80->-60(7)";
    QTest::newRow("empty text") << "[info][text][]"
                                << "text"
                                << "";
    QTest::newRow("brackets within") << "[info][text][a][b]"
                                     << "text"
                                     << "a][b";
    QTest::newRow("another kind") << "[info][SystemNetwork][name:lo]"
                                  << ""
                                  << "";
    QTest::newRow("another level") << "[debug][text][x]"
                                   << ""
                                   << "";
    QTest::newRow("cut") << "[info][text][x"
                         << ""
                         << "";
    QTest::newRow("nothing") << ""
                             << ""
                             << "";
}

void tst_RoamTrace::linesArePartedIntoKindAndText()
{
    QFETCH(QString, line);
    QFETCH(QString, kind);
    QString readKind;
    QString readText;

    QCOMPARE(ky::readRoamLine(line, &readKind, &readText), !kind.isEmpty());

    QCOMPARE(readKind, kind);
    QTEST(readText, "text");
}

void tst_RoamTrace::onlyTheNetworksLinesAreHeardAndAllGoOn()
{
    const QtMessageHandler before = qInstallMessageHandler(count);
    {
        ky::RoamTrace trace;
        QSignalSpy told(&trace, &ky::RoamTrace::sigTold);
        qCInfo(networkLog).noquote().nospace() << "[info][text][a]";
        qCInfo(otherLog).noquote().nospace() << "[info][text][b]";
        qCInfo(networkLog) << "something else";

        QCOMPARE(told.count(), 1);
        QCOMPARE(told.at(0).at(1).toString(), QStringLiteral("a"));
    }
    qCInfo(networkLog).noquote().nospace() << "[info][text][after]";
    qInstallMessageHandler(before);

    QCOMPARE(passedOn, 4);
}

QTEST_GUILESS_MAIN(tst_RoamTrace)
#include "tst_RoamTrace.moc"
