#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/RunLimits.h"
#include "cli/Table.h"
#include "clients/RobotUdp.h"
#include "clients/RobotUdpClient.h"
#include "support/JsonText.h"

#include <QEventLoop>
#include <QTimer>
#include <QUdpSocket>

namespace ky {

namespace {

QByteArray datagramLine(const QByteArray& data, bool isJson)
{
    if (isJson)
        return jsonText(QVariantMap{{QStringLiteral("size"), data.size()},
                                    {QStringLiteral("text"), QString::fromUtf8(data)},
                                    {QStringLiteral("hex"), QString::fromLatin1(data.toHex())}},
                        QJsonDocument::Compact) +
               '\n';
    return valueText(QString::fromUtf8(data)).toUtf8() + '\n';
}

bool readPort(const QString& text, quint64* port)
{
    bool isNumber = false;
    *port = text.toULongLong(&isNumber);
    return isNumber && *port >= 1 && *port <= 0xffff;
}

int runListen(Invocation& call)
{
    quint64 port = 0;
    if (!readPort(call.argument(0), &port))
        return call.wrong(QStringLiteral("PORT is 1 to 65535"));
    const std::optional<RunLimits> limits =
        readRunLimits(call.option("--count"), call.option("--for"));
    if (!limits)
        return call.wrong(QLatin1String(kRunLimitsRule));
    int left = limits->count;
    RobotUdp udp;
    QEventLoop loop;
    QTimer limit;
    QObject::connect(&udp, &RobotUdp::sigReceiveData, &loop, [&](int, QByteArray& data) {
        if (left != 0)
            printReceived(datagramLine(data, call.global().isJson));
        if (left > 0 && --left == 0)
            loop.quit();
    });
    udp.connectUdpSocket(QString(), 0, port);
    // The endpoint keeps a failed bind to its log, but its socket knows.
    const auto* socket = udp.findChild<QUdpSocket*>();
    if (!socket || socket->state() != QAbstractSocket::BoundState) {
        call.complain(QStringLiteral("port %1: %2")
                          .arg(port)
                          .arg(socket ? socket->errorString() : QString()));
        return kNoAnswer;
    }
    if (limits->forMs >= 0) {
        QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
        limit.start(limits->forMs);
    }
    loop.exec();
    return left > 0 ? kNoAnswer : kDone;
}

int runSend(Invocation& call)
{
    quint64 port = 0;
    QHostAddress host;
    if (!readPort(call.argument(1), &port) || !host.setAddress(call.argument(0)))
        return call.wrong(QStringLiteral("HOST is an address, PORT is 1 to 65535"));
    RobotUdpClient udp;
    udp.connectUdpSocket(host.toString(), port, 0);
    udp.sendData(call.argument(2).toUtf8(), host, port);
    // The endpoint keeps a failed write to its log, but its socket knows.
    const auto* socket = udp.findChild<QUdpSocket*>();
    if (socket && socket->error() == QAbstractSocket::UnknownSocketError)
        return kDone;
    call.complain(QStringLiteral("nothing was sent to %1 port %2: %3")
                      .arg(host.toString())
                      .arg(port)
                      .arg(socket ? socket->errorString() : QString()));
    return kNoAnswer;
}

} // namespace

const Group& udpGroup()
{
    static const Group group = {
        "udp",
        "datagrams, without any daemon",
        {{"listen",
          "PORT",
          "Prints what arrives on a UDP port, one line each, until Ctrl-C",
          {{"--count", "N", "end after so many datagrams"},
           {"--for", "SECONDS", "end after so long; status 3 if --count were not reached"}},
          "kyctl udp listen 30000 --count 1",
          runListen},
         {"send",
          "HOST PORT TEXT",
          "Sends one datagram",
          {},
          "kyctl udp send 127.0.0.1 30000 hello",
          runSend}}};
    return group;
}

} // namespace ky
