// A minimal host of the library's service: its relay object serialises the JSON once and sends the
// answer back. The uploads go below --data-dir.

#include "host/PublicClass.h"
#include "host/SqliteClass.h"
#include "servers/AnswerFrame.h"
#include "service/KyNetworkObject.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QVariant>

#include <cstdio>

class Relay : public QObject
{
    Q_OBJECT

public:
    KyNetworkObject* service() { return &*_service; }

    Q_INVOKABLE void slotRevInterface(QString name, qintptr handle, quint16 answerType,
                                      quint16 number, QByteArray data, QVariant json)
    {
        Q_UNUSED(name)
        QByteArray text;
        if (json.isValid())
            text = PublicClass::init()->qVariantToByteArray(json, QJsonDocument::Compact);
        _service->sendDataToClient(handle, answerFrame(answerType, number, text, data));
    }

private:
    KyNetworkObject* _service = new KyNetworkObject(this);
};

namespace {

constexpr int kFirstPort = 20000;
constexpr int kPorts = 10000;
constexpr int kAttempts = 50;
constexpr int kOtherCommands = 60;

void discardMessage(QtMsgType, const QMessageLogContext&, const QString&) {}

/// As many names as a daemon has.
void fillCommandTable()
{
    auto& commands = SqliteClass::init()->portCommands[19208];
    commands.insert(QStringLiteral("echo"), 2000);
    for (int i = 0; i < kOtherCommands; ++i)
        commands.insert(QStringLiteral("command_%1").arg(i), 2100 + i);
}

/// The service takes no port 0, so a free one is found by trying.
int listenSomewhere(KyNetworkObject* service)
{
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const int port = kFirstPort + int(QRandomGenerator::global()->bounded(kPorts));
        if (service->listenTcp(quint16(port), 1, 1, true))
            return port;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.contains(QStringLiteral("--discard-log")))
        qInstallMessageHandler(discardMessage);
    const int dataDir = arguments.indexOf(QStringLiteral("--data-dir"));
    if (dataDir > 0)
        PublicClass::init()->dataDir = arguments.value(dataDir + 1);
    fillCommandTable();

    Relay relay;
    const int port = listenSomewhere(relay.service());
    if (port == 0) {
        fprintf(stderr, "no free port\n");
        return 1;
    }
    printf("%d\n", port);
    fflush(stdout);
    return QCoreApplication::exec();
}

#include "KyServer.moc"
