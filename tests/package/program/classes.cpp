// Every class of the interface, used as a program may use it: what an installed header declares and
// the library hides does not link. Nothing of it runs, since some change the host when made.

#include "classes.h"

#include <clients/BlockTcpObject.h>
#include <clients/BlockThreadTcp.h>
#include <clients/KyTcpClient.h>
#include <clients/RelayServerThread.h>
#include <clients/RobotUdp.h>
#include <clients/RobotUdpClient.h>
#include <clients/SCStatusTcp.h>
#include <host/BaseObject.h>
#include <host/BaseThread.h>
#include <host/HttpApi.h>
#include <host/KyFileManager.h>
#include <host/PublicClass.h>
#include <host/SqliteClass.h>
#include <inventory/SystemAudio.h>
#include <inventory/SystemVersionInfo.h>
#include <network/SystemNetwork.h>
#include <network/WifiScanThread.h>
#include <ports/CanDevice.h>
#include <ports/CanFrame.h>
#include <ports/CanObject.h>
#include <ports/SocketCan.h>
#include <ports/SystemSerialPort.h>
#include <service/FernoProClass.h>
#include <service/HCTcpServer.h>
#include <service/KyNetworkObject.h>
#include <service/TcpSocket.h>
#include <service/VantHeader.h>
#include <service/WifiShare.h>
#include <time/NTPPackage.h>
#include <time/SystemNTP.h>

#include <QByteArray>
#include <QObject>

namespace {

/// A class of the program's own that begins with one of the library's.
template <typename Class>
class Own : public Class
{
public:
    using Class::Class;
};

template <typename Class>
void derive()
{
    Own<Class> own(nullptr);
    QObject::connect(&own, &QObject::destroyed, &own, [] {});
    own.setObjectName(QString::fromLatin1(Class::staticMetaObject.className()));
}

template <typename Class>
void reach()
{
    QObject().setProperty("instance", QVariant::fromValue<void*>(Class::init()));
}

void useValues()
{
    VantHeader header;
    CanFrame frame = {};
    frame.can_dlc = header.version;
    WifiShare share;
    WifiShare::_lastError.clear();
    NTPPackage package;
    package.parseByByteArray(package.toByteArray());
    package.checkByOriginTimestamp(millionSecondToByte64(package.calcOffset()));
    byte64ToMillionSecond(QByteArray(8, char(byteToUInt32({}))));
}

using Use = void (*)();
const Use kUses[] = {
    derive<BaseObject>,
    derive<BaseThread>,
    derive<TcpSocket>,
    derive<HCTcpServer>,
    derive<KyNetworkObject>,
    derive<BlockThreadTcp>,
    derive<BlockTcpObject>,
    derive<RelayServerThread>,
    derive<KyTcpClient>,
    derive<SCStatusTcp>,
    derive<RobotUdp>,
    derive<RobotUdpClient>,
    derive<CanDevice>,
    derive<CanObject>,
    derive<SocketCan>,
    derive<SystemSerialPort>,
    derive<SystemNetwork>,
    derive<WifiScanThread>,
    derive<SystemNTP>,
    derive<SystemAudio>,
    derive<SystemVersionInfo>,
    reach<PublicClass>,
    reach<HttpApi>,
    reach<KyFileManager>,
    reach<SqliteClass>,
    reach<FernoProClass>,
    useValues,
};

} // namespace

bool areClassesLinked()
{
    bool areLinked = true;
    for (const Use volatile& use : kUses)
        areLinked &= use != nullptr;
    return areLinked;
}
