#include "daemon/SerialCommands.h"

#include "daemon/HexText.h"
#include "daemon/SerialTalk.h"
#include "ports/SystemSerialPort.h"

#include <QDir>

namespace ky {

namespace {

enum SerialError
{
    kNotOpened = 40211,
    kNotSent = 40212,
    kNoSerialAnswer = 40213,
    kSerialFileFailed = 40214,
};

// Far more than a controller has lines. The file is read, merged and sent at each listing.
constexpr int kMostSerialPorts = 32;

constexpr char kPortFile[] = "appInfo/backupFile/serialPort.json";

/// The bytes to send: the data area, or "data" of the arguments in hexadecimal.
std::optional<QByteArray> bytesToSend(const Request& request)
{
    const QVariantMap arguments = request.arguments();
    if (arguments.contains(QStringLiteral("data")))
        return bytesOfHex(arguments.value(QStringLiteral("data")).toString());
    return request.payload();
}

/// Answers for bytes that cannot be sent.
Answer notToSend(const std::optional<QByteArray>& bytes)
{
    return bytes ? Answer::missing(QStringLiteral("data"))
                 : Answer::error(kBadArgument, QStringLiteral("argument [data]: not hexadecimal"));
}

/// Why an open or a closed port did not do its work, where it has no text of its own.
QString serialText(const SystemSerialPort& port, const char* openText)
{
    return port.isPortOpen() ? QLatin1String(openText) : QLatin1String("serial port: closed");
}

} // namespace

SerialCommands::SerialCommands(const DaemonContext& context)
    : Subsystem(context)
{
    _thread.call([this] { makePort(); });
    registerPort();
    registerPortFile();
}

SerialCommands::~SerialCommands()
{
    _thread.end([this] {
        _talk.reset();
        _port.reset();
    });
}

void SerialCommands::makePort()
{
    _port = std::make_unique<SystemSerialPort>();
    _port->setConfigFile(QDir::current().filePath(QLatin1String(kPortFile)));
    _talk = std::make_unique<SerialTalk>(*_port);
    connect(_talk.get(), &SerialTalk::sigData, this, [this](const QByteArray& bytes) {
        publish("event_serial_data", {{QStringLiteral("data"), hexOfBytes(bytes)}});
    });
    connect(_talk.get(), &SerialTalk::sigError, this, [this](const QString& text, bool isClosed) {
        publish("event_serial_error",
                {{QStringLiteral("text"), text}, {QStringLiteral("isClosed"), isClosed}});
    });
}

/// The port knows the request in progress, whatever it is.
void SerialCommands::noteRequest(const Request& request)
{
    _port->setRequstHandle(request.handle);
    _port->setRequstNumber(request.number);
}

void SerialCommands::addPortCommand(const char* name, const Relay::Handler& handler)
{
    addThreadCommand(_thread, name, [this, handler](const Request& request) {
        noteRequest(request);
        return handler(request);
    });
}

void SerialCommands::registerPort()
{
    addPortCommand("serial_open", [this](const Request& request) {
        const QString missing = request.firstMissing({"portName"});
        if (!missing.isEmpty())
            return Answer::missing(missing);
        const bool isOpen = _port->openSerialPort(request.arguments());
        return Answer::of(isOpen, kNotOpened, _port->getLastError());
    });
    addPortCommand("serial_write", [this](const Request& request) {
        const auto bytes = bytesToSend(request);
        if (!bytes || bytes->isEmpty())
            return notToSend(bytes);
        _port->setLastError(serialText(*_port, "serial port: not all bytes were taken"));
        const bool isSent = _port->writeToSerialPort(*bytes);
        return Answer::of(isSent, kNotSent, _port->getLastError());
    });
    addPortCommand("serial_close", [this](const Request&) {
        _port->closeSerialPort();
        return Answer::ok();
    });
    addLateCommand("serial_exchange", [this](const Request& request, const Ticket& ticket) {
        exchange(request, ticket);
    });
}

void SerialCommands::registerPortFile()
{
    addThreadCommand(_thread, "serial_list", [this](const Request&) {
        return Answer::ok({{QStringLiteral("ports"), _port->getAllSerialPorts()}});
    });
    addThreadCommand(_thread, "serial_ports_save", [this](const Request& request) {
        const QVariantList ports = request.arguments().value(QStringLiteral("ports")).toList();
        if (ports.size() > kMostSerialPorts)
            return Answer::error(
                kBadArgument,
                QStringLiteral("argument [ports]: more than %1").arg(kMostSerialPorts));
        const bool isSaved = _port->saveSerialPortsToFile(ports);
        return Answer::of(isSaved, kSerialFileFailed, _port->getLastError());
    });
    addThreadCommand(_thread, "serial_ports_remove", [this](const Request& request) {
        const QString name = request.arguments().value(QStringLiteral("portName")).toString();
        const bool isRemoved = _port->removeSerialPortFromFile(name);
        return Answer::of(isRemoved, kSerialFileFailed, _port->getLastError());
    });
}

void SerialCommands::exchange(const Request& request, const Ticket& ticket)
{
    const auto bytes = bytesToSend(request);
    if (!bytes || bytes->isEmpty()) {
        ticket.answer(notToSend(bytes));
        return;
    }
    _thread.post([=] {
        noteRequest(request);
        const QString failure = serialText(*_port, "serial port: no answer");
        _talk->exchange(*bytes, [ticket, failure](const QByteArray& answer) {
            ticket.answer(Answer::of(!answer.isEmpty(), kNoSerialAnswer, failure,
                                     {{QStringLiteral("data"), hexOfBytes(answer)}}));
        });
    });
}

} // namespace ky
