#include "LogCapture.h"

#include "support/Log.h"

#include <QTest>

#include <memory>

Q_LOGGING_CATEGORY(testLog, "ky.test")

class tst_Log : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void lineBeginsWithLevelAndFunction();
    void levelsGoToTheirOwnMessageType();
    void piecesArePartedBySingleBlanks();
    void textsStandWithoutQuotes();
    void nothingIsEvaluatedWhileTheLevelIsOff_data();
    void nothingIsEvaluatedWhileTheLevelIsOff();
    void isOneStatementBehindAnIf();

private:
    static QList<LogCapture::Line> lines() { return LogCapture::entries(); }

    std::unique_ptr<LogCapture> _log;
};

void tst_Log::init()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.test=true"));
    _log = std::make_unique<LogCapture>();
}

void tst_Log::cleanup()
{
    _log.reset();
}

void tst_Log::lineBeginsWithLevelAndFunction()
{
    KY_LOG_DEBUG(testLog) << "hello";

    QCOMPARE(lines().size(), 1);
    QCOMPARE(lines().first().text, QStringLiteral("[debug][lineBeginsWithLevelAndFunction]hello"));
    QCOMPARE(lines().first().category, QByteArray("ky.test"));
}

void tst_Log::levelsGoToTheirOwnMessageType()
{
    KY_LOG_DEBUG(testLog) << 1;
    KY_LOG_INFO(testLog) << 2;
    KY_LOG_WARNING(testLog) << 3;

    QCOMPARE(lines().size(), 3);
    QCOMPARE(lines().at(0).type, QtDebugMsg);
    QCOMPARE(lines().at(1).type, QtInfoMsg);
    QVERIFY(lines().at(1).text.startsWith(QLatin1String("[info][")));
    QCOMPARE(lines().at(2).type, QtWarningMsg);
    QVERIFY(lines().at(2).text.startsWith(QLatin1String("[warning][")));
}

void tst_Log::piecesArePartedBySingleBlanks()
{
    KY_LOG_DEBUG(testLog) << "[handle:" << 7 << "count:" << 0 << "]";

    QCOMPARE(lines().first().text,
             QStringLiteral("[debug][piecesArePartedBySingleBlanks][handle: 7 count: 0 ]"));
}

void tst_Log::textsStandWithoutQuotes()
{
    KY_LOG_DEBUG(testLog) << QStringLiteral("车间 [%1]").arg(5) << QByteArray("raw");

    QCOMPARE(lines().first().text, QStringLiteral("[debug][textsStandWithoutQuotes]车间 [5] raw"));
}

void tst_Log::nothingIsEvaluatedWhileTheLevelIsOff_data()
{
    QTest::addColumn<QString>("rule");
    QTest::addColumn<int>("evaluated");
    QTest::newRow("all on") << "ky.test=true" << 3;
    QTest::newRow("debug off") << "ky.test.debug=false" << 2;
    QTest::newRow("info off") << "ky.test.info=false" << 2;
    QTest::newRow("warning off") << "ky.test.warning=false" << 2;
    QTest::newRow("all off") << "ky.test=false" << 0;
}

void tst_Log::nothingIsEvaluatedWhileTheLevelIsOff()
{
    QFETCH(QString, rule);
    QFETCH(int, evaluated);
    QLoggingCategory::setFilterRules(QStringLiteral("ky.test=true\n") + rule);
    int count = 0;

    KY_LOG_DEBUG(testLog) << ++count;
    KY_LOG_INFO(testLog) << ++count;
    KY_LOG_WARNING(testLog) << ++count;

    QCOMPARE(count, evaluated);
    QCOMPARE(lines().size(), evaluated);
}

void tst_Log::isOneStatementBehindAnIf()
{
    const bool isOff = lines().size() > 100;

    if (isOff)
        KY_LOG_DEBUG(testLog) << "not this";
    else
        KY_LOG_DEBUG(testLog) << "this";

    QCOMPARE(lines().size(), 1);
    QVERIFY(lines().first().text.endsWith(QLatin1String("]this")));
}

QTEST_APPLESS_MAIN(tst_Log)
#include "tst_Log.moc"
