#include "HostDaemon.h"

#include "Site.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTest>

namespace site {

namespace {

constexpr char kSettings[] = "[Server1]\nport=19208\nthreadCount=16\npayload=1024\n"
                             "[Server2]\nport=19207\nthreadCount=4\npayload=1024\n"
                             "[Server3]\nport=19210\nthreadCount=4\npayload=1024\n"
                             "[Host]\nhardwareType=3\ntbxName=TBX\ndataDir=data\nversion=4.5.6\n"
                             "autoConnectEnabled=true\n";

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s cannot be written", qPrintable(path));
}

} // namespace

HostDaemon::HostDaemon(const QStringList& settings)
{
    QDir(_home.path()).mkpath(QStringLiteral("appInfo/setting"));
    writeFile(_home.filePath(QStringLiteral("appInfo/setting/kyhostd.ini")), kSettings);
    writeFile(_home.filePath(QStringLiteral("appInfo/setting/WirelessCard.ini")),
              "[WirelessCard]\nCardName=wlan0\n" + settings.join(QLatin1Char('\n')).toUtf8() +
                  "\n[AlxWirelessCard]\nCardName=eth0\n");
    _process.setProcessChannelMode(QProcess::MergedChannels);
    _process.setStandardOutputFile(_home.filePath(QStringLiteral("log")));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("QT_LOGGING_RULES"));
    _process.setProcessEnvironment(environment);
    _process.start(QStringLiteral("kyhostd"), {QStringLiteral("--home"), _home.path()});
    _isUp =
        waitUntil([this] { return ctl({QStringLiteral("version")}, 10000).status == 0; }, 60000);
}

HostDaemon::~HostDaemon()
{
    _process.terminate();
    if (!_process.waitForFinished(70000))
        _process.kill();
    _process.waitForFinished(5000);
}

CtlAnswer HostDaemon::ctl(const QStringList& words, int limitMs) const
{
    QProcess kyctl;
    kyctl.start(QStringLiteral("kyctl"),
                QStringList{QStringLiteral("--json"), QStringLiteral("--timeout"),
                            QString::number(limitMs)} +
                    words);
    kyctl.closeWriteChannel();
    CtlAnswer answer;
    if (!kyctl.waitForFinished(limitMs + 10000))
        kyctl.kill();
    else if (kyctl.exitStatus() == QProcess::NormalExit)
        answer.status = kyctl.exitCode();
    answer.json = QJsonDocument::fromJson(kyctl.readAllStandardOutput()).object();
    answer.error = QString::fromUtf8(kyctl.readAllStandardError());
    return answer;
}

QString HostDaemon::log() const
{
    QFile file(_home.filePath(QStringLiteral("log")));
    file.open(QIODevice::ReadOnly);
    return QString::fromUtf8(file.readAll());
}

LinkEvents::LinkEvents()
{
    _watch.start(QStringLiteral("kyctl"),
                 {QStringLiteral("--json"), QStringLiteral("watch"), QStringLiteral("event_link")});
    _watch.waitForStarted();
}

LinkEvents::~LinkEvents()
{
    _watch.terminate();
    _watch.waitForFinished();
}

QStringList LinkEvents::take()
{
    QStringList states;
    _rest += _watch.readAllStandardOutput();
    for (int end = _rest.indexOf('\n'); end >= 0; end = _rest.indexOf('\n')) {
        states << QJsonDocument::fromJson(_rest.left(end))
                      .object()
                      .value(QStringLiteral("state"))
                      .toString();
        _rest.remove(0, end + 1);
    }
    return states;
}

int LinkEvents::waitFor(const QString& state, int limitMs)
{
    QElapsedTimer time;
    time.start();
    QTest::qWait(0);
    take();
    while (!take().contains(state)) {
        if (time.hasExpired(limitMs))
            return -1;
        QTest::qWait(20);
    }
    return int(time.elapsed());
}

} // namespace site
