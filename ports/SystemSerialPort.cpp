#include "ports/SystemSerialPort.h"

#include "host/KyFileManager.h"
#include "host/PublicClass.h"
#include "ports/PortRecords.h"
#include "ports/PortsLog.h"
#include "ports/SerialMessage.h"
#include "ports/SerialWrite.h"
#include "support/HostLimits.h"

#include <QCoreApplication>
#include <QSerialPort>
#include <QSerialPortInfo>

namespace {

constexpr char kPortFile[] = "/appInfo/backupFile/serialPort.json";
constexpr int kSendLimitMs = ky::limits::kSerialSendMs;
constexpr int kAnswerLimitMs = ky::limits::kSerialAnswerMs;
constexpr int kGapMs = ky::limits::kSerialGapMs;

constexpr char kWriteSerial[] = "writeSerial"; // as the log names it

int intOf(const QVariantMap& map, const QString& key)
{
    return map.value(key).toInt();
}

QStringList presentPorts()
{
    QStringList names;
    const auto ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& port : ports)
        names << port.portName();
    return names;
}

} // namespace

SystemSerialPort::SystemSerialPort(QObject* parent)
    : BaseObject(parent)
    , _configFile(QCoreApplication::applicationDirPath() + QLatin1String(kPortFile))
{}

SystemSerialPort::~SystemSerialPort()
{
    closeSerialPort();
    delete _serialPort;
}

void SystemSerialPort::makePort()
{
    _serialPort = new QSerialPort;
    connect(_serialPort, &QSerialPort::readyRead, this, &SystemSerialPort::receive);
    connect(_serialPort, &QSerialPort::errorOccurred, this, &SystemSerialPort::reportError);
}

bool SystemSerialPort::openSerialPort(const QVariantMap& map)
{
    if (map.isEmpty()) {
        setLastError(QStringLiteral("Map is empty"));
        return false;
    }
    const QString portName = map.value(QStringLiteral("portName")).toString();
    if (!_serialPort)
        makePort();
    else if (_serialPort->portName() != portName)
        closeSerialPort();
    // The numbers go to the port unchecked: it knows which ones it takes.
    _serialPort->setPortName(portName);
    _serialPort->setBaudRate(intOf(map, QStringLiteral("baudRate")), QSerialPort::AllDirections);
    _serialPort->setStopBits(QSerialPort::StopBits(intOf(map, QStringLiteral("stopBits"))));
    _serialPort->setDataBits(QSerialPort::DataBits(intOf(map, QStringLiteral("dataBits"))));
    _serialPort->setParity(QSerialPort::Parity(intOf(map, QStringLiteral("parity"))));
    if (_serialPort->open(QIODevice::ReadWrite))
        return true;
    setLastError(QStringLiteral("Failed to open serial port:%1").arg(_serialPort->errorString()));
    return false;
}

void SystemSerialPort::receive()
{
    emit sigMsg({{QStringLiteral("type"), QStringLiteral("serialPortRevData")}},
                _serialPort->readAll());
}

void SystemSerialPort::reportError()
{
    emit sigMsg({{QStringLiteral("type"), QStringLiteral("serialPortError")}},
                _serialPort->errorString().toLocal8Bit());
}

bool SystemSerialPort::isPortOpen() const
{
    return _serialPort && _serialPort->isOpen();
}

int SystemSerialPort::portError() const
{
    return _serialPort ? _serialPort->error() : QSerialPort::NoError;
}

void SystemSerialPort::closeSerialPort()
{
    if (isPortOpen())
        _serialPort->close();
}

bool SystemSerialPort::writeToSerialPort(const QByteArray& data)
{
    if (!_serialPort) {
        setLastError(QStringLiteral("Serialport not open"));
        return false;
    }
    return _serialPort->isOpen() && _serialPort->write(data) == data.size();
}

QByteArray SystemSerialPort::writeSerial(QByteArray data)
{
    if (!isPortOpen()) {
        KY_DEBUG << "Serial port is not open";
        return {};
    }
    _serialPort->clear(QSerialPort::AllDirections);
    KY_DEBUG << "Sending data to serial port:" << data.toHex();
    if (!sendWhole(data))
        return {};
    KY_DEBUG << "Waiting for response...";
    if (!_serialPort->waitForReadyRead(kAnswerLimitMs)) {
        KY_DEBUG << "Timeout occurred while waiting for serial port response";
        return {};
    }
    const QByteArray answer = collectAnswer();
    KY_DEBUG << "Received data from serial port:" << answer.toHex();
    return answer;
}

bool SystemSerialPort::sendWhole(const QByteArray& data)
{
    const QString problem = ky::serialWriteProblem(_serialPort->write(data), data.size());
    if (!problem.isEmpty()) {
        KY_DEBUG_AS(kWriteSerial) << problem;
        return false;
    }
    if (!_serialPort->waitForBytesWritten(kSendLimitMs)) {
        KY_DEBUG_AS(kWriteSerial) << "Timeout occurred while writing data to serial port";
        return false;
    }
    return true;
}

/// The receiver stays connected and is served first: it leaves nothing to collect unless this runs
/// inside a notification of the port.
QByteArray SystemSerialPort::collectAnswer()
{
    QByteArray answer;
    do {
        answer += _serialPort->readAll();
    } while (_serialPort->waitForReadyRead(kGapMs) && _serialPort->bytesAvailable() > 0);
    return answer;
}

QByteArray SystemSerialPort::serialPortDebugging(QByteArray& data)
{
    if (data.isEmpty())
        return {};
    return data.toHex(' ').toUpper() + ' ';
}

QByteArray SystemSerialPort::createMessage(short value)
{
    return ky::composeSerialMessage(value);
}

void SystemSerialPort::parseMessage(const QByteArray& message)
{
    const ky::SerialMessage read = ky::readSerialMessage(message);
    switch (read.verdict) {
    case ky::MessageVerdict::BadFrame:
        KY_DEBUG << "Invalid header or footer";
        return;
    case ky::MessageVerdict::BadChecksum:
        KY_DEBUG << "Invalid checksum";
        return;
    case ky::MessageVerdict::Good:
        KY_DEBUG << "Temperature:" << read.value;
        return;
    }
}

bool SystemSerialPort::saveSerialPortsToFile(const QVariantList& list)
{
    if (list.isEmpty()) {
        setLastError(QStringLiteral("list is empty"));
        return false;
    }
    KyFileManager::init()->writeJsonFile(_configFile, list, QJsonDocument::Indented);
    return true;
}

bool SystemSerialPort::removeSerialPortFromFile(const QString& name)
{
    QVariantList list = ky::portRecords(PublicClass::init()->getJsonVariant(_configFile));
    if (!ky::takePort(list, name)) {
        setLastError(QStringLiteral("Not found:%1").arg(name));
        return false;
    }
    KyFileManager::init()->writeJsonFile(_configFile, list, QJsonDocument::Indented);
    return true;
}

QVariantList SystemSerialPort::getAllSerialPorts()
{
    return ky::mergeSerialPorts(ky::portRecords(KyFileManager::init()->readJsonFile(_configFile)),
                                presentPorts());
}
