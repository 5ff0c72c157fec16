#include "RecordMask.h"

#include <QRegularExpression>
#include <QString>

namespace {

struct Mask
{
    const char* pattern;
    const char* instead;
};
constexpr Mask kMasks[] = {
    {R"re("(create_on|since|last_heard|report_time|[a-zA-Z]+_time|time)":"[^"]+")re",
     R"re("\1":"*")re"},
    {R"re("(Localtime|RTCtime|Universaltime|Timezone)":"[^"]+")re", R"re("\1":"*")re"},
    {R"re("(daemon|qt)":"[^"]+")re", R"re("\1":"*")re"},
    {R"re([0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12})re", "<uuid>"},
    {R"re(fe80::[0-9a-f:]*[1-9a-f][0-9a-f:]*)re", "<link-local>"},
    {R"re(\.nmconnection\.[0-9]+)re", ".nmconnection.*"},
    {R"re("zones":\["Africa/Abidjan"[^\]]*\])re", R"re("zones":["*"])re"},
    {R"re("cpu":\[[^\]]*\])re", R"re("cpu":["*"])re"},
    // With or without CAN in the kernel.
    {R"re((IOCTL error: No such device|Socket error: [A-Za-z ]+))re", "<no such CAN port>"},
    // Whichever word of a refused connect comes first.
    {R"re((TcpSocket.waitForConnected error:Connection refused|socketError:0 .Connection refused.|Tcp requst timeout))re",
     "<no answer>"},
    {R"re(x{20,})re", "x...x"},
};

} // namespace

QByteArray withoutVolatile(const QByteArray& line)
{
    QString text = QString::fromUtf8(line);
    for (const Mask& mask : kMasks)
        text.replace(QRegularExpression(mask.pattern), mask.instead);
    return text.toUtf8();
}
