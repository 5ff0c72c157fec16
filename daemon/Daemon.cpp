#include "daemon/Daemon.h"

#include "daemon/CommandTable.h"
#include "daemon/DaemonHome.h"
#include "daemon/DaemonLog.h"
#include "daemon/PeerExchange.h"
#include "daemon/ServiceSink.h"
#include "daemon/Subsystems.h"
#include "host/PublicClass.h"
#include "host/SqliteClass.h"
#include "service/KyNetworkObject.h"
#include "support/AtomicFile.h"
#include "support/HostPaths.h"
#include "support/HostRoot.h"

#include <QDir>
#include <QFileInfo>
#include <QTcpServer>

namespace ky {

namespace {

constexpr int kTablePorts[] = {kServicePort, kLinkPort, kReportPort};
constexpr char kCommandDatabase[] = "appInfo/commands.db"; // where SqliteClass looks for it
constexpr int kDeliveryLimitMs = 3000;

QString deliver(const Parcel& parcel, const DaemonSettings& settings)
{
    PeerRequest request;
    request.ip = parcel.ip;
    request.port = settings.deliveryPort(parcel.ip, parcel.port);
    request.command = parcel.command;
    request.number = parcel.number;
    request.data = parcel.data;
    request.limitMs = kDeliveryLimitMs;
    return exchangeWithPeer(request).error;
}

/// What a daemon that was killed has left beside the files that this one replaces. SystemNetwork
/// looks after its own.
void clearAllLeftovers(const QString& home, const QString& settingsFile)
{
    for (const QString& folder :
         {home + QStringLiteral("/appInfo"), home + QStringLiteral("/appInfo/setting"),
          home + QStringLiteral("/appInfo/backupFile"), QFileInfo(settingsFile).path(),
          QFileInfo(hostPath(paths::kAsoundConf)).path()})
        clearLeftovers(folder);
}

void fillHostFields(const QString& home, const DaemonSettings& settings)
{
    PublicClass* host = PublicClass::init();
    host->applicationDir = home;
    host->settingsFile = settings.file;
    host->dataDir = QDir(home).absoluteFilePath(settings.dataDir);
    host->version = settings.version;
    host->halShPath = settings.halShPath;
    host->hardwareType = settings.hardwareType;
    host->tbxName = settings.tbxName;
    host->autoConnectEnabled = settings.autoConnectEnabled;
}

} // namespace

Daemon::Daemon() = default;

Daemon::~Daemon() = default;

QString Daemon::start(const DaemonOptions& options)
{
    QString problem = loadHost(options);
    if (!problem.isEmpty())
        return problem;
    for (int id = 1; id <= int(_listeners.size()); ++id) {
        problem = openListener(id);
        if (!problem.isEmpty())
            return problem;
    }
    // Requests wait in the event queue until all of these are there.
    _events = std::make_unique<EventHub>(_listeners[0].relay->numbers());
    _events->setSink(_listeners[0].sink.get());
    _courier = std::make_unique<FrameCourier>(
        [this](const Parcel& parcel) { return deliver(parcel, _settings); });
    _subsystems = makeSubsystems(context());
    return checkRows();
}

QString Daemon::loadHost(const DaemonOptions& options)
{
    const QString home = QDir(options.home).absolutePath();
    // Before the working directory changes: a relative path is the caller's.
    const QString settingsFile = options.settingsFile.isEmpty()
                                     ? defaultSettingsFile(home)
                                     : QDir::current().absoluteFilePath(options.settingsFile);
    QString problem = prepareHome(home);
    clearAllLeftovers(home, settingsFile);
    if (problem.isEmpty())
        problem = readSettings(settingsFile, &_settings);
    if (!problem.isEmpty())
        return problem;
    if (options.port != 0)
        _settings.servers[0].port = _portOverride = options.port;
    if (!QDir::setCurrent(home))
        return QStringLiteral("home [%1]: cannot be entered").arg(home);
    // A settings file that cannot be written stops nothing but certificates.
    problem = addBackupFolder(settingsFile, home);
    if (!problem.isEmpty())
        KY_WARNING << problem;
    fillHostFields(home, _settings);
    problem = provideCommandTable(QLatin1String(kCommandDatabase));
    if (!problem.isEmpty())
        return problem;
    SqliteClass* tables = SqliteClass::init();
    return tables->portCommands.isEmpty() ? tables->getLastError() : QString();
}

QString Daemon::openListener(int serverId)
{
    const size_t index = size_t(serverId - 1);
    const ListenerSettings& server = _settings.servers[index];
    Listener& listener = _listeners[index];
    listener.relay =
        std::make_unique<Relay>(SqliteClass::init()->portCommands.value(kTablePorts[index]));
    auto* service = new KyNetworkObject(listener.relay.get());
    listener.sink = std::make_unique<ServiceSink>(*service);
    listener.relay->setSink(listener.sink.get());
    service->setServerId(quint8(serverId));

    const bool isListening =
        serverId == 1 && _portOverride != 0
            ? service->listenTcp(server.port, server.threadCount, server.payload, true)
            : service->startTcpListenning();
    if (isListening)
        return {};
    // The service keeps no reason; its server has one.
    const auto* tcpServer = service->findChild<QTcpServer*>();
    return QStringLiteral("port [%1] of Server%2: %3")
        .arg(server.port)
        .arg(serverId)
        .arg(tcpServer ? tcpServer->errorString() : QString());
}

QString Daemon::checkRows() const
{
    for (const Listener& listener : _listeners) {
        if (!listener.relay->firstProblem().isEmpty())
            return QStringLiteral("command database [%1]: %2")
                .arg(QLatin1String(kCommandDatabase), listener.relay->firstProblem());
    }
    return {};
}

DaemonContext Daemon::context()
{
    return {*_listeners[0].relay,
            *_listeners[1].relay,
            *_listeners[2].relay,
            *_events,
            *_courier,
            _settings};
}

} // namespace ky
