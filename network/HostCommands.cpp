#include "network/HostCommands.h"

#include "host/BaseObject.h"
#include "host/PublicClass.h"
#include "network/NetworkLog.h"
#include "network/NetworkSettings.h"
#include "network/tools/NmcliOutput.h"

namespace ky {

bool runOnHost(BaseObject& owner, const QString& line, int limitMs, QString& output)
{
    if (PublicClass::init()->processCmd(line, output, limitMs, true))
        return true;
    owner.setLastError(output);
    return false;
}

bool runOnHost(BaseObject& owner, const QString& line, int limitMs)
{
    QString output;
    return runOnHost(owner, line, limitMs, output);
}

bool runForSuccessWords(BaseObject& owner, const QString& line, int limitMs)
{
    QString output;
    if (!runOnHost(owner, line, limitMs, output))
        return false;
    if (saysSuccess(output))
        return true;
    owner.setLastError(output);
    return false;
}

bool storeSettings(BaseObject& owner, const char* operation, const IniValues& values)
{
    QString reason;
    if (writeIniValues(QLatin1String(settings::kFile), values, &reason))
        return true;
    const QString problem = notStored(reason);
    KY_LOG_WARNING_AS(kyNetworkLog, operation) << "[" + problem + "]";
    owner.setLastError(problem);
    return false;
}

} // namespace ky
