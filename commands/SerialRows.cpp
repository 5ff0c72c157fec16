#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

constexpr int kMostPorts = 32; // far more than a controller has lines
constexpr int kMostBaud = 2147483647;

constexpr Argument portName()
{
    return text("portName", "the port, such as ttyS1, or the path of its device", 1, 255)
        .required();
}

// What is missing reads as 0, and the port has the last word on all of it.
constexpr Argument kLine[] = {
    portName(),
    whole("baudRate", "bit rate, both ways", 0, kMostBaud).unit("bit/s").orElse("0"),
    whole("stopBits", "1, 2, or 3 for one and a half", 0, 3).orElse("0"),
    whole("dataBits", "5 to 8", 0, 8).unit("bits").orElse("0"),
    whole("parity", "0 none, 2 even, 3 odd, 4 space, 5 mark", 0, 5).orElse("0"),
};
constexpr Argument kBytes[] = {
    argument(ValueKind::Hex, "data", "the bytes; without it they are those of the data area"),
};
constexpr Argument kSavedPort[] = {
    portName(),
};
constexpr Argument kSave[] = {
    list("ports", "the ports, stored as they stand, with whatever other keys they have", kMostPorts,
         kSavedPort)
        .required(),
};
constexpr Argument kRemove[] = {
    portName(),
};

constexpr Field kPorts[] = {
    {"ports", "saved ports, then those of the host that are not saved: `portName`, `state` (1 "
              "present, -1 absent, 0 not configured) and what was saved with them"},
};
constexpr Field kAnswer[] = {
    {"data", "the bytes that came back, in hexadecimal"},
};
constexpr Field kData[] = {
    {"data", "the bytes, in hexadecimal"},
};
constexpr Field kError[] = {
    {"text", "what is wrong"},
    {"isClosed", "whether the port was closed because of it"},
};

constexpr Command kRows[] = {
    command("serial_list", 2210, "saved serial ports and those of the host").answers(kPorts),
    command("serial_open", 2211, "opens a serial port")
        .takes(kLine)
        .fails(kSerialNotOpened)
        .needs(Right::Operate)
        .changesHost()
        .like(R"({"portName":"ttyS1","baudRate":9600,"stopBits":1,"dataBits":8,"parity":0})"),
    command("serial_write", 2212, "sends bytes to the serial port")
        .takes(kBytes)
        .takesData("the bytes, if no argument has them")
        .fails(kSerialNotSent)
        .needs(Right::Operate)
        .like(R"({"data":"aabb009b00cc"})"),
    command("serial_exchange", 2213, "sends bytes to the serial port and waits for the answer")
        .takes(kBytes)
        .takesData("the bytes, if no argument has them")
        .answers(kAnswer)
        .fails(kNoSerialAnswer)
        .within(takes::kSerialExchange)
        .needs(Right::Operate)
        .like(R"({"data":"aabb009b00cc"})"),
    command("serial_close", 2214, "closes the serial port").needs(Right::Operate).changesHost(),
    command("serial_ports_save", 2215, "replaces the file of serial ports")
        .takes(kSave)
        .fails(kSerialFileFailed)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"ports":[{"portName":"ttyS1","baudRate":9600}]})"),
    command("serial_ports_remove", 2216, "takes one port out of the file of serial ports")
        .takes(kRemove)
        .fails(kSerialFileFailed)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"portName":"ttyS1"})"),
    event("event_serial_data", 2911, "bytes arrived on the serial port")
        .answers(kData)
        .needs(Right::Operate),
    event("event_serial_error", 2912, "the serial port reports an error")
        .answers(kError)
        .needs(Right::Operate),
};

constexpr ErrorText kErrors[] = {
    {kSerialNotOpened, "the serial port was not opened"},
    {kSerialNotSent, "the bytes were not sent"},
    {kNoSerialAnswer, "no answer on the serial port"},
    {kSerialFileFailed, "the file of serial ports was not changed"},
};

} // namespace

constexpr CommandGroup kSerialCommands = {"Serial port",  {2210, 2299}, {2911, 2919},
                                          {40210, 40299}, kRows,        kErrors};
static_assert(isSound(kSerialCommands));

} // namespace ky
