#include "daemon/SerialCommands.h"

#include "commands/HexBytes.h"
#include "daemon/SerialTalk.h"
#include "ports/SystemSerialPort.h"

#include <QDir>

namespace ky {

namespace {

constexpr char kPortFile[] = "appInfo/backupFile/serialPort.json";

/// The bytes to send: "data" of the arguments, else the data area.
QByteArray bytesToSend(const Request& request)
{
    return request.arguments.has("data") ? request.arguments.bytes("data") : request.payload();
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
        const bool isOpen = _port->openSerialPort(request.arguments.values());
        return Answer::of(isOpen, kSerialNotOpened, _port->getLastError());
    });
    addPortCommand("serial_write", [this](const Request& request) {
        const QByteArray bytes = bytesToSend(request);
        if (bytes.isEmpty())
            return Answer::missing("data");
        _port->setLastError(serialText(*_port, "serial port: not all bytes were taken"));
        const bool isSent = _port->writeToSerialPort(bytes);
        return Answer::of(isSent, kSerialNotSent, _port->getLastError());
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
        const bool isSaved = _port->saveSerialPortsToFile(request.arguments.list("ports"));
        return Answer::of(isSaved, kSerialFileFailed, _port->getLastError());
    });
    addThreadCommand(_thread, "serial_ports_remove", [this](const Request& request) {
        const bool isRemoved = _port->removeSerialPortFromFile(request.arguments.text("portName"));
        return Answer::of(isRemoved, kSerialFileFailed, _port->getLastError());
    });
}

void SerialCommands::exchange(const Request& request, const Ticket& ticket)
{
    const QByteArray bytes = bytesToSend(request);
    if (bytes.isEmpty()) {
        ticket.answer(Answer::missing("data"));
        return;
    }
    _thread.post([=] {
        noteRequest(request);
        const QString failure = serialText(*_port, "serial port: no answer");
        _talk->exchange(bytes, [ticket, failure](const QByteArray& answer) {
            ticket.answer(Answer::of(!answer.isEmpty(), kNoSerialAnswer, failure,
                                     {{QStringLiteral("data"), hexOfBytes(answer)}}));
        });
    });
}

} // namespace ky
