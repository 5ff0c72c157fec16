// A host of the library as an integrator writes it: an object of each subsystem that changes
// nothing when it is made, host services, and the service answering on loopback.

#include "classes.h"

#include <host/PublicClass.h>
#include <host/SqliteClass.h>
#include <inventory/SystemAudio.h>
#include <inventory/SystemVersionInfo.h>
#include <ports/CanObject.h>
#include <service/FernoProClass.h>
#include <service/KyNetworkObject.h>
#include <service/VantHeader.h>

#include <QCoreApplication>

#include <cstdio>

namespace {

bool check(bool isTrue, const char* what)
{
    if (!isTrue)
        fprintf(stderr, "integrator: %s\n", what);
    return isTrue;
}

bool listens()
{
    QObject relay;
    KyNetworkObject service(&relay);
    for (quint16 port = 21000; port < 21200; ++port) {
        if (service.listenTcp(port, 1, 1, true))
            return service.isTcpListening();
    }
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QString output;
    const bool hasRun =
        PublicClass::init()->processCmd(QStringLiteral("echo hi"), output, 5000, true);
    SqliteClass::init()->portCommands[19208].insert(QStringLiteral("echo"), 2000);
    CanObject can;
    SystemAudio audio;
    SystemVersionInfo inventory;

    bool isGood = check(hasRun && output == QLatin1String("hi\n"), "processCmd");
    isGood &= check(SqliteClass::init()->commandString(19208, 2000) == QLatin1String("echo"),
                    "command table");
    isGood &= check(FernoProClass::init() != nullptr, "load-time instance");
    isGood &= check(sizeof(VantHeader) == 16, "header");
    isGood &= check(areClassesLinked(), "classes");
    isGood &= check(listens(), "listening");
    return isGood ? 0 : 1;
}
