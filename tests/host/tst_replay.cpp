#include "SimulatedHost.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include <algorithm>

/// Replays captured output of real tools. A session (replay/*.txt) sets up a scene and names
/// captures. The command of each runs on the simulated host, and output, error output and exit
/// status must be the captured ones byte for byte, except for what the real tools print differently
/// each time:
///  - UUIDs: each captured one corresponds to one of ours for the whole session;
///  - numbers of D-Bus active paths, random parts of IPv6 addresses, EAP session numbers;
///  - dates, times and day names, and the process numbers in netplan's warnings;
///  - counters of packets and bytes, and the bit rates of a link.
class tst_Replay : public QObject
{
    Q_OBJECT

private slots:
    void session_data();
    void session();
    void everyListedCaptureIsReplayed();

private:
    struct Capture
    {
        QString command;
        int status = 0;
    };

    bool step(const QString& line);
    bool replay(const QString& name);
    void runUncompared(const QString& name);
    SimulatedHost::Result run(const QString& command) const;
    bool matchesCapture(const QString& name, const QByteArray& actual, const char* suffix);
    QString withOurUuids(QString text) const;

    QMap<QString, Capture> _captures;
    QSet<QString> _replayed;
    std::unique_ptr<SimulatedHost> _host;
    QString _locale;
    QMap<QString, QString> _uuids; ///< ours, by the captured one
};

namespace {

const QRegularExpression kUuid("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");

QString contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Masks what differs between two runs of the real tools.
QString withVariablesMasked(QString text)
{
    const struct
    {
        const char* pattern;
        const char* replacement;
    } rules[] = {
        {"ActiveConnection/\\d+", "ActiveConnection/N"},
        {"(fe80|fec0)::([0-9a-f]+:){3}[0-9a-f]+", "\\1::X"},
        {"eap_session_id=[0-9a-f]+", "eap_session_id=X"},
        {"timestamp=\\d+", "timestamp=N"},
        {"(Sun|Mon|Tue|Wed|Thu|Fri|Sat|日|一|二|三|四|五|六) \\d{4}-\\d\\d-\\d\\d", "DAY"},
        {"\\d{4}-\\d\\d-\\d\\d", "DATE"},
        {"\\d\\d:\\d\\d:\\d\\d(\\.\\d{3})?", "TIME"},
        {"\\((generate|process):\\d+\\)", "(\\1:N)"},
        {"(RX|TX) packets \\d+  bytes \\d+ \\([^)]*\\)", "\\1 packets N"},
        {"\t(RX|TX): \\d+ bytes \\(\\d+ packets\\)", "\t\\1: N"},
        {"\t([rt]x bitrate): .*", "\t\\1: N"},
        {"unspec 12-00-00-00-00-00-00-..-", "unspec 12-00-00-00-00-00-00-XX-"},
        {"/run/wifi-scene", "/run/NetworkManager/wifi-scene"},
    };
    for (const auto& rule : rules)
        text.replace(QRegularExpression(rule.pattern), rule.replacement);
    return text;
}

QStringList uuidsOf(const QString& text)
{
    QStringList uuids;
    for (auto found = kUuid.globalMatch(text); found.hasNext();)
        uuids << found.next().captured();
    return uuids;
}

} // namespace

void tst_Replay::session_data()
{
    for (const QString& line : contentOf(KY_TEST_DATA "/INDEX.tsv").split('\n')) {
        const QStringList fields = line.split('\t');
        if (fields.size() > 4)
            _captures[fields.at(0)] = {fields.at(4), fields.at(1).toInt()};
    }
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("locale");
    const QDir folder(KY_REPLAY_DIR "/replay");
    for (const QString& name : folder.entryList({"*.txt"}, QDir::Files, QDir::Name)) {
        const QStringList lines = contentOf(folder.filePath(name)).split('\n', Qt::SkipEmptyParts);
        for (const QString& locale : lines.value(1).section(' ', 1).split(' '))
            QTest::addRow("%s %s", qPrintable(name.section('.', 0, 0)), qPrintable(locale))
                << lines << locale;
    }
}

void tst_Replay::session()
{
    QFETCH(QStringList, lines);
    QFETCH(QString, locale);
    const QString scene = lines.takeFirst().section(' ', 1);
    lines.removeFirst();
    _host.reset(new SimulatedHost(KY_REPLAY_DIR "/scenes/" + scene + ".json"));
    _locale = locale;
    _uuids.clear();
    if (QTest::currentDataTag() == QByteArray("not-running " + locale.toLatin1()))
        _host->set("networkManager", "false");

    for (const QString& line : lines)
        QVERIFY2(step(line), qPrintable(line));
}

bool tst_Replay::step(const QString& line)
{
    QString what = line;
    const QRegularExpressionMatch only = QRegularExpression("^([a-zA-Z]+): ").match(line);
    if (only.hasMatch() && only.captured(1) != _locale)
        return true;
    if (only.hasMatch())
        what.remove(0, only.capturedLength());
    const QString verb = what.section(' ', 0, 0);
    const QString rest = what.section(' ', 1);
    if (verb == "run") {
        _host->run(rest, "c");
        return true;
    }
    const QStringList words = rest.split(' ');
    if (verb == "set") {
        for (int i = 0; i + 1 < words.size(); i += 2)
            _host->set(words.at(i), words.at(i + 1));
        return true;
    }
    // A session is run in several locales, and not every capture was taken in all of them.
    return verb == "replay" && std::all_of(words.begin(), words.end(), [&](const QString& name) {
               const bool isTaken = _captures.contains(name + "." + _locale);
               if (!isTaken)
                   runUncompared(name);
               return !isTaken || replay(name + "." + _locale);
           });
}

QString tst_Replay::withOurUuids(QString text) const
{
    for (auto known = _uuids.begin(); known != _uuids.end(); ++known)
        text.replace(known.key(), known.value());
    return text;
}

SimulatedHost::Result tst_Replay::run(const QString& command) const
{
    QString line = withOurUuids(command);
    line.replace("/run/wifi-scene", "/run/NetworkManager/wifi-scene");
    if (_locale == "C")
        return _host->run("export LC_ALL=C; " + line);
    return _host->run(line, _locale);
}

// Without a capture in this locale: the command still has to change the host.
void tst_Replay::runUncompared(const QString& name)
{
    for (const char* locale : {".c", ".zh"})
        if (_captures.contains(name + locale)) {
            run(_captures[name + locale].command);
            return;
        }
    QFAIL(qPrintable("no capture " + name));
}

bool tst_Replay::matchesCapture(const QString& name, const QByteArray& actual, const char* suffix)
{
    const QString captured = contentOf(KY_TEST_DATA "/" + name + suffix);
    const QString text = QString::fromUtf8(actual);
    const QStringList theirs = uuidsOf(captured);
    const QStringList mine = uuidsOf(text);
    for (int i = 0; i < theirs.size() && i < mine.size(); ++i)
        if (!_uuids.contains(theirs.at(i)))
            _uuids[theirs.at(i)] = mine.at(i);
    const QString expected = withVariablesMasked(withOurUuids(captured));
    const QString found = withVariablesMasked(text);
    if (found == expected)
        return true;
    qWarning().noquote() << name + suffix << "captured:\n" + expected + "\nhere:\n" + found;
    return false;
}

bool tst_Replay::replay(const QString& name)
{
    const Capture capture = _captures[name];
    _replayed << name;

    const auto result = run(capture.command);

    const bool isSame =
        matchesCapture(name, result.output, ".out") && matchesCapture(name, result.error, ".err");
    if (result.status != capture.status)
        qWarning() << name << "captured status" << capture.status << "here" << result.status;
    return isSame && result.status == capture.status;
}

void tst_Replay::everyListedCaptureIsReplayed()
{
    QStringList missing;
    for (const QString& name : _captures.keys())
        if (!_replayed.contains(name))
            missing << name;

    QVERIFY(_replayed.size() > 300);
    QCOMPARE(missing, QStringList());
}

QTEST_GUILESS_MAIN(tst_Replay)
#include "tst_replay.moc"
