#include "host/PublicClass.h"

#include "host/ShellProcess.h"

#include <QThread>

#include <algorithm>

bool PublicClass::processCmd(const QString& command, QString& output, int timeoutMs, bool wait)
{
    Q_UNUSED(wait)
    const ky::ShellResult result = ky::runShell(command, timeoutMs);
    output = result.text;
    return result.hasRun;
}

bool PublicClass::cmdHalSh(const QString& command, QString& output, int timeoutMs)
{
    return processCmd(command, output, timeoutMs, true);
}

void PublicClass::waitSTime(int seconds)
{
    QThread::sleep(ulong(std::max(seconds, 0)));
}
