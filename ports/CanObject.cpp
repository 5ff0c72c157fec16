#include "ports/CanObject.h"

#include "host/KyFileManager.h"
#include "host/PublicClass.h"
#include "ports/CanDevice.h"
#include "ports/CanSetup.h"
#include "ports/PortRecords.h"
#include "ports/PortsLog.h"
#include "ports/SocketCan.h"
#include "support/HostLimits.h"

#include <QCoreApplication>
#include <QMetaMethod>
#include <QMutex>
#include <QNetworkInterface>
#include <QThread>

#include <atomic>
#include <memory>

namespace {

constexpr char kPortFile[] = "/appInfo/backupFile/canConfig.json";
constexpr char kDefaultBaudrate[] = "250000";
constexpr int kCommandLimitMs = ky::limits::kToolMs;

/// Devices and their threads live as long as the process. Keeping them in reach tells a leak
/// checker that this is meant.
void keepForProcess(CanDevice* device)
{
    static QMutex mutex;
    static auto* const devices = new QList<CanDevice*>;
    const QMutexLocker locker(&mutex);
    devices->append(device);
}

QVector<ky::CanInterface> presentInterfaces()
{
    QVector<ky::CanInterface> present;
    const auto all = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface& card : all) {
        if (card.type() != QNetworkInterface::CanBus)
            continue;
        const auto flags = card.flags();
        present.append({card.name(), flags.testFlag(QNetworkInterface::IsUp) &&
                                         flags.testFlag(QNetworkInterface::IsRunning)});
    }
    return present;
}

/// Each opening of a port asks all the others to read as well, and one whose loop runs cannot
/// take that up: a single call waits for it then, however often it was asked.
void connectReads(const CanObject& can, CanDevice* device)
{
    const auto isWaiting = std::make_shared<std::atomic<bool>>(false);
    const auto ask = [device, isWaiting] {
        if (isWaiting->exchange(true))
            return;
        QMetaObject::invokeMethod(
            device,
            [device, isWaiting] {
                *isWaiting = false; // who asks from now on may have opened behind the call's back
                device->readCan();
            },
            Qt::QueuedConnection);
    };
    QObject::connect(&can, &CanObject::sigRead, device, ask, Qt::DirectConnection);
}

void release(SocketCan* channel)
{
    channel->blockSignals(true);
    channel->setStop(true);
    QThread* const thread = channel->thread();
    if (thread && thread != QThread::currentThread() && thread->isRunning()) {
        thread->quit();
        thread->wait();
        delete thread;
    }
    delete channel;
}

} // namespace

CanObject::CanObject(QObject* parent)
    : QObject(parent)
    , _configFile(QCoreApplication::applicationDirPath() + QLatin1String(kPortFile))
{
    connect(this, &CanObject::sigOpen, this, &CanObject::open);
    connect(this, &CanObject::sigClose, this, &CanObject::close);
    connect(this, &CanObject::sigWrite, this, &CanObject::write);
}

CanObject::~CanObject()
{
    for (SocketCan* channel : qAsConst(_socketCans))
        release(channel);
}

void CanObject::init()
{
    const QString model = PublicClass::init()->tbxName;
    config(QStringLiteral("can1"), QLatin1String(kDefaultBaudrate), model);
    config(QStringLiteral("can0"), QLatin1String(kDefaultBaudrate), model);
}

void CanObject::config(const QString& dev, const QString& baudrate, const QString& tbxName)
{
    KY_DEBUG << "dev:" << dev << "baudrate:" << baudrate << "tbxName:" << tbxName;
    const auto steps = ky::canSetupSteps(dev, baudrate, tbxName);
    for (const ky::CanSetupStep& step : steps) {
        QString output;
        PublicClass::init()->processCmd(step.line, output, kCommandLimitMs, true);
        QThread::msleep(step.pauseMs);
    }
}

void CanObject::openCan(const QVariantMap& map)
{
    const QString name = map.value(QStringLiteral("portName")).toString();
    if (!_canDevices.contains(name))
        _canDevices.insert(name, makeDevice(name));
    emit sigOpen(map);
}

CanDevice* CanObject::makeDevice(const QString& name)
{
    auto* const device = new CanDevice;
    device->setCanName(name);
    auto* const thread = new QThread;
    connect(device, &CanDevice::sigReadyRead, this, &CanObject::slotReadyRead);
    connectReads(*this, device);
    device->moveToThread(thread);
    thread->start(QThread::InheritPriority);
    keepForProcess(device);
    return device;
}

CanDevice* CanObject::requestedDevice(const QVariantMap& map)
{
    CanDevice* const device = _canDevices.value(map.value(QStringLiteral("portName")).toString());
    if (!device)
        emit sigFinished(-1, QStringLiteral("[%1] Not opened")); // the marker is part of the text
    return device;
}

void CanObject::finish(bool isDone, const CanDevice& device)
{
    emit sigFinished(isDone ? 0 : -1, isDone ? QString() : device.lastError());
}

void CanObject::open(const QVariantMap& map)
{
    CanDevice* const device = requestedDevice(map);
    if (!device)
        return;
    const bool isDone = device->openCan(map);
    if (isDone && !device->isReading())
        emit sigRead();
    finish(isDone, *device);
}

void CanObject::close(const QVariantMap& map)
{
    CanDevice* const device = requestedDevice(map);
    if (!device)
        return;
    device->closeCan(map);
    finish(true, *device);
}

void CanObject::write(const QVariantMap& map)
{
    CanDevice* const device = requestedDevice(map);
    if (device)
        finish(device->writeCan(map), *device);
}

void CanObject::slotReadyRead(const QVariantMap& map)
{
    static const QVariantMap kind{{QStringLiteral("type"), QStringLiteral("canRevData")}};
    static const QMetaMethod message = QMetaMethod::fromSignal(&CanObject::sigMsg);
    KY_DEBUG << "canRevData";
    // The text is most of what a frame costs here, and a full bus brings 16000 frames a second.
    if (isSignalConnected(message))
        emit sigMsg(kind, PublicClass::init()->qVariantToByteArray(map, QJsonDocument::Compact));
    emit sigFrame(map);
}

bool CanObject::isOpen(const QString& name) const
{
    const CanDevice* const device = _canDevices.value(name);
    return device && device->socketId() > 0;
}

QVariantList CanObject::getAllCanPorts()
{
    const QVariantList saved = ky::portRecords(KyFileManager::init()->readJsonFile(_configFile));
    return ky::mergeCanPorts(saved, presentInterfaces(),
                             [this](const QString& name) { return isOpen(name); });
}

bool CanObject::saveCanPortsToFile(const QVariantList& list, bool applyConfig)
{
    if (list.isEmpty()) {
        setLastError(QStringLiteral("list is empty"));
        return false;
    }
    if (applyConfig)
        configureAll(list);
    KyFileManager::init()->writeJsonFile(_configFile, list, QJsonDocument::Indented);
    return true;
}

void CanObject::configureAll(const QVariantList& list)
{
    for (const QVariant& entry : list) {
        const QVariantMap record = entry.toMap();
        const QString name = record.value(QStringLiteral("portName")).toString();
        bool isNumber = false;
        const int baudRate = record.value(QStringLiteral("baudRate")).toInt(&isNumber);
        if (!isNumber) // goes on with 0, like every unknown rate
            KY_WARNING_AS("saveCanPortsToFile")
                << QStringLiteral("baud rate of CAN port [%1]: not a number").arg(name);
        config(name, QString::number(baudRate), PublicClass::init()->tbxName);
    }
}

bool CanObject::removeCanPortFromFile(const QString& name)
{
    QVariantList list = ky::portRecords(PublicClass::init()->getJsonVariant(_configFile));
    if (!ky::takePort(list, name)) {
        setLastError(QStringLiteral("Not found:%1").arg(name));
        return false;
    }
    KyFileManager::init()->writeJsonFile(_configFile, list, QJsonDocument::Indented);
    return true;
}
