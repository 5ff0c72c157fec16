#include "daemon/CanCommands.h"

#include "commands/Catalogue.h"
#include "commands/HexBytes.h"
#include "host/PublicClass.h"
#include "ports/CanObject.h"

#include <QDir>
#include <QTimer>

#include <linux/can.h>
#include <net/if.h>

namespace ky {

namespace {

constexpr char kPortFile[] = "appInfo/backupFile/canConfig.json";

// Every name that is opened gets a thread that stays. No controller has this many channels; a
// client that tries names out would take all threads of the process.
constexpr int kMostCanPorts = 32;

// A full bus brings a frame every 60 microseconds; an event for each would cost more than the
// frames do. Nobody who watches over the network sees a delay of this length.
constexpr int kGatherMs = 4;

QString portFile()
{
    return QDir::current().filePath(QLatin1String(kPortFile));
}

/// A frame as the event carries it: JSON holds text, so the bytes are in hexadecimal.
QVariantMap publicFrame(QVariantMap frame)
{
    QVariant& data = frame[QStringLiteral("data")];
    data = hexOfBytes(data.toByteArray());
    return frame;
}

/// What is wrong with a saved port that is to be set up: it has to be one that "can_config" takes.
QString setupProblem(const QVariant& port)
{
    Arguments ignored;
    return readArguments(findCommand(QStringLiteral("can_config"))->arguments, port.toMap(),
                         &ignored);
}

/// The identifier of a standard frame is the shorter one.
QString identifierProblem(const Arguments& frame)
{
    const bool fits = frame.whole("frameType") == 1 || uint(frame.whole("frameId")) <= CAN_SFF_MASK;
    return fits ? QString()
                : QStringLiteral("argument [frameId]: not a whole number from 0 to %1")
                      .arg(CAN_SFF_MASK);
}

} // namespace

CanCommands::CanCommands(const DaemonContext& context)
    : Subsystem(context)
{
    _thread.call([this] { connectManager(); });
    _setupThread.call([this] {
        _setup = std::make_unique<CanObject>();
        _setup->setConfigFile(portFile());
    });
    registerRequests();
    registerPortFile();
}

CanCommands::~CanCommands()
{
    // The threads of the ports outlive everything. Told to stop, none of them can be in the middle
    // of a frame or of a warning while the process ends: at most it stays blocked in its read.
    _thread.end([this] {
        _ticket = {};
        for (const QString& name : qAsConst(_openedNames))
            emit _can->sigClose({{QStringLiteral("portName"), name}});
        _can.reset();
    });
    _setupThread.end([this] { _setup.reset(); });
}

void CanCommands::connectManager()
{
    _can = std::make_unique<CanObject>();
    _can->setConfigFile(portFile());
    connect(_can.get(), &CanObject::sigFinished, _can.get(), [this](int ret, const QString& text) {
        _ticket.answer(Answer::of(ret == 0, kCanFailed, text));
    });
    connect(_can.get(), &CanObject::sigFrame, _can.get(),
            [this](const QVariantMap& frame) { take(frame); });
}

void CanCommands::registerRequests()
{
    addLateCommand("can_open",
                   [this](const Request& request, const Ticket& ticket) { open(request, ticket); });
    addLateCommand("can_send",
                   [this](const Request& request, const Ticket& ticket) { send(request, ticket); });
    addLateCommand("can_close", [this](const Request& request, const Ticket& ticket) {
        start(request, ticket,
              [](CanObject& can, const QVariantMap& map) { emit can.sigClose(map); });
    });
    addThreadCommand(_setupThread, "can_config",
                     [this](const Request& request) { return config(request); });
}

void CanCommands::registerPortFile()
{
    addThreadCommand(_thread, "can_list", [this](const Request&) {
        return Answer::ok({{QStringLiteral("ports"), _can->getAllCanPorts()}});
    });
    // All that change the file are in one thread, so none loses what another has written.
    addThreadCommand(_setupThread, "can_ports_save",
                     [this](const Request& request) { return savePorts(request); });
    addThreadCommand(_setupThread, "can_ports_remove", [this](const Request& request) {
        const QString name = request.arguments.text("portName");
        const bool isRemoved = _setup->removeCanPortFromFile(name); // before lastError() is read
        return Answer::of(isRemoved, kCanFileFailed, _setup->lastError());
    });
}

/// Runs a request in the manager's thread; the manager ends it by sigFinished before the action
/// returns, so one request is in progress at a time.
void CanCommands::start(const Request& request, const Ticket& ticket, const Action& action)
{
    _thread.post([=] {
        const QVariantMap& map = request.arguments.values();
        _ticket = ticket;
        _can->setRequstHandle(request.handle);
        _can->setRequstNumber(request.number);
        _can->setRequstMap(map);
        action(*_can, map);
    });
}

/// The interfaces of the host are few: names that are none must not lock them out. The kernel finds
/// an interface also by its name with more behind a zero byte or a colon.
bool CanCommands::isAdmitted(const QString& name) const
{
    if (_openedNames.size() < kMostCanPorts || _openedNames.contains(name))
        return true;
    char known[IF_NAMESIZE] = {};
    const unsigned index = ::if_nametoindex(name.toUtf8().constData());
    return index != 0 && ::if_indextoname(index, known) && name == QString::fromUtf8(known);
}

void CanCommands::open(const Request& request, const Ticket& ticket)
{
    const QString name = request.arguments.text("portName");
    if (!isAdmitted(name)) {
        ticket.answer(Answer::error(
            kTooManyCanPorts, QStringLiteral("CAN port [%1]: no such interface, and %2 other names "
                                             "have been tried")
                                  .arg(name, QString::number(kMostCanPorts))));
        return;
    }
    _openedNames.insert(name);
    start(request, ticket, [](CanObject& can, const QVariantMap& map) { can.openCan(map); });
}

void CanCommands::send(const Request& request, const Ticket& ticket)
{
    const QString problem = identifierProblem(request.arguments);
    if (problem.isEmpty())
        start(request, ticket,
              [](CanObject& can, const QVariantMap& map) { emit can.sigWrite(map); });
    else
        ticket.answer(Answer::badArgument(problem));
}

Answer CanCommands::config(const Request& request)
{
    _setup->config(request.arguments.text("portName"),
                   QString::number(request.arguments.whole("baudRate")),
                   PublicClass::init()->tbxName);
    return Answer::ok();
}

Answer CanCommands::savePorts(const Request& request)
{
    const QVariantList ports = request.arguments.list("ports");
    const bool isApplied = request.arguments.flag("applyConfig");
    for (const QVariant& port : ports) {
        const QString problem = isApplied ? setupProblem(port) : QString();
        if (!problem.isEmpty())
            return Answer::badArgument(problem);
    }
    const bool isSaved = _setup->saveCanPortsToFile(ports, isApplied);
    return Answer::of(isSaved, kCanFileFailed, _setup->lastError());
}

void CanCommands::take(const QVariantMap& frame)
{
    const QMutexLocker locker(&_takenMutex);
    _taken.append(frame);
    if (_taken.size() > 1)
        return;
    QMetaObject::invokeMethod(
        this, [this] { QTimer::singleShot(kGatherMs, this, &CanCommands::publishTaken); },
        Qt::QueuedConnection);
}

void CanCommands::publishTaken()
{
    QVariantList frames;
    {
        const QMutexLocker locker(&_takenMutex);
        frames.swap(_taken);
    }
    for (QVariant& frame : frames)
        frame = publicFrame(frame.toMap());
    publish("event_can_frames", {{QStringLiteral("frames"), frames}});
}

} // namespace ky
