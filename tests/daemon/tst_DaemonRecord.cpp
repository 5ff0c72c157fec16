#include "DaemonFixture.h"
#include "FrameClient.h"
#include "RecordMask.h"
#include "RecordedRequests.h"
#include "SimulatedHost.h"
#include "commands/Catalogue.h"

#include <QCoreApplication>
#include <QFile>
#include <QMap>
#include <QSet>
#include <QTest>

#include <algorithm>
#include <iterator>
#include <memory>

namespace {

constexpr int kCommands = 2001;
constexpr int kScanThreadStatus = 2362;
constexpr int kMostLooks = 100000;
constexpr int kUnknown = 4999;
constexpr int kAnswerLimitMs = 60000;
const QString kJoin = QStringLiteral("nmcli device wifi connect RobotNet password robotpass");

} // namespace

/// A round of all commands on a simulated host, frame by frame, compared with the file of the round
/// before. What a change does to the wire, and to the lines that the host's tools get, shows as a
/// difference of that file: KY_RECORD=1 writes it anew.
class tst_DaemonRecord : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void roundHoldsEveryCommand();
    void roundIsTheRecordedOne();

private:
    void compare(const QByteArray& round) const;
    QByteArray record(const RecordedRequest& request);
    QByteArray answerTo(const RecordedRequest& request, const QByteArray& json);
    void waitForScanThread() const;
    void noteCode(const RecordedRequest& request, const WireFrame& answer);
    QByteArray toolLines();
    QByteArray masked(QByteArray text) const;
    int numberOf(const QByteArray& command) const;
    quint16 portOf(const RecordedRequest& request) const;

    std::unique_ptr<SimulatedHost> _host;
    DaemonFixture _daemon;
    QMap<QByteArray, int> _numbers{{"link_lost", 4802}, {"link_good", 4803}, {"host_report", 6950}};
    QStringList _strangeCodes;
    bool _isHostTouched = true;
};

void tst_DaemonRecord::initTestCase()
{
    _host = std::make_unique<SimulatedHost>();
    _daemon.runUnder(
        {programPath("hostsim"), "run", "--state", _host->folder(), "--lang", "en", "--"});
    QVERIFY2(_daemon.start(), qPrintable(_daemon.errorText()));
    const QVariantMap table = FrameClient(_daemon.port()).ask(kCommands).map();
    for (const QVariant& row : table.value("commands").toList())
        _numbers.insert(row.toMap().value("name").toByteArray(),
                        row.toMap().value("number").toInt());
    QVERIFY(_numbers.size() > 80);
}

int tst_DaemonRecord::numberOf(const QByteArray& command) const
{
    return _numbers.value(command, kUnknown);
}

quint16 tst_DaemonRecord::portOf(const RecordedRequest& request) const
{
    const quint16 ports[] = {_daemon.port(), _daemon.linkPort(), _daemon.reportPort()};
    return ports[request.onPort];
}

QByteArray tst_DaemonRecord::masked(QByteArray text) const
{
    text.replace(_daemon.home().toUtf8(), "<home>");
    text.replace(_host->folder().toUtf8(), "<host>");
    text.replace(':' + QByteArray::number(_daemon.port()), ":PORT");
    text.replace('"' + QByteArray::number(_daemon.port()) + '"', "\"PORT\"");
    return withoutVolatile(text);
}

QByteArray tst_DaemonRecord::answerTo(const RecordedRequest& request, const QByteArray& json)
{
    FrameClient client(portOf(request));
    client.send(numberOf(request.command), 7, json, request.data);
    const WireFrame answer = client.receive(kAnswerLimitMs);
    if (!answer.isValid)
        return "< none";
    noteCode(request, answer);
    return "< " + QByteArray::number(answer.type) + ' ' + QByteArray::number(answer.number) + ' ' +
           QByteArray::number(answer.revCommand) + (answer.json.isEmpty() ? "" : " json ") +
           answer.json + ' ' + answer.data;
}

/// Notes a code that the command's row does not name.
void tst_DaemonRecord::noteCode(const RecordedRequest& request, const WireFrame& answer)
{
    const ky::Command* row = ky::findCommand(QString::fromUtf8(request.command));
    const int code = answer.map().value("ret_code").toInt();
    const bool isOfAny = code == 0 || code == 40001 || code == 40002;
    if (!isOfAny && (!row || std::find(std::begin(row->errors), std::end(row->errors), code) ==
                                 std::end(row->errors)))
        _strangeCodes << QStringLiteral("%1 answers %2").arg(QString(request.command)).arg(code);
}

/// What arrived at the host's tools.
QByteArray tst_DaemonRecord::toolLines()
{
    // No file: no call. It saves a process for each request that is refused.
    _isHostTouched = QFile::exists(_host->folder() + "/log");
    QByteArray text;
    if (!_isHostTouched)
        return text;
    for (const SimulatedHost::Line& call : _host->calls())
        text += "$ " + call.line.toUtf8() + '\n';
    return text;
}

/// Its one cycle takes a moment; the next request is not to find it running.
void tst_DaemonRecord::waitForScanThread() const
{
    FrameClient client(_daemon.port());
    for (int i = 0; i < kMostLooks; ++i) {
        if (!client.ask(kScanThreadStatus).map().value("is_running").toBool())
            return;
    }
}

QByteArray tst_DaemonRecord::record(const RecordedRequest& request)
{
    if (request.isFresh && _isHostTouched) {
        _host->reset();
        _host->run(kJoin);
    }
    _host->clearLines();
    QByteArray json = request.json;
    json.replace("PORT", QByteArray::number(_daemon.port()));
    const QByteArray answer = answerTo(request, json);
    if (request.command == "scan_thread_start")
        waitForScanThread();
    return "> " + request.command + ' ' + masked(json) +
           (request.data.isEmpty() ? "" : " data " + request.data) + '\n' + masked(answer) + '\n' +
           masked(toolLines());
}

void tst_DaemonRecord::roundHoldsEveryCommand()
{
    QSet<QByteArray> asked;
    for (const RecordedRequest& request : recordedRequests())
        asked.insert(request.command);
    for (const ky::CommandGroup* group : ky::commandGroups()) {
        for (const ky::Command& row : group->rows)
            QVERIFY2(row.isEvent || asked.contains(row.name), row.name);
    }
}

void tst_DaemonRecord::roundIsTheRecordedOne()
{
    QByteArray round;
    for (const RecordedRequest& request : recordedRequests())
        round += record(request);
    QVERIFY(!QFile::exists(_daemon.home() + "/hacked"));
    QVERIFY(!QFile::exists("hacked"));
    QCOMPARE(_strangeCodes, QStringList());

    compare(round);
}

/// A round that differs is left beside the program, for a look at all of its differences.
void tst_DaemonRecord::compare(const QByteArray& round) const
{
    const bool isNew = qEnvironmentVariableIsSet("KY_RECORD");
    QFile written(isNew ? QStringLiteral(KY_TEST_DATA "/round.txt")
                        : QCoreApplication::applicationDirPath() + "/round.txt");
    QVERIFY(written.open(QIODevice::WriteOnly) && written.write(round) == round.size());
    written.close();
    QFile recorded(KY_TEST_DATA "/round.txt");
    QVERIFY(recorded.open(QIODevice::ReadOnly));
    const QList<QByteArray> before = recorded.readAll().split('\n');
    const QList<QByteArray> now = round.split('\n');
    for (int i = 0; i < qMin(before.size(), now.size()); ++i)
        QVERIFY2(before[i] == now[i],
                 qPrintable(QStringLiteral("line %1, see %2:\n- %3\n+ %4")
                                .arg(i + 1)
                                .arg(written.fileName(), QString::fromUtf8(before[i]),
                                     QString::fromUtf8(now[i]))));
    QCOMPARE(now.size(), before.size());
}

QTEST_GUILESS_MAIN(tst_DaemonRecord)
#include "tst_DaemonRecord.moc"
