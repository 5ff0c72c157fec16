#include "inventory/SystemAudio.h"

#include "host/KyFileManager.h"
#include "host/PublicClass.h"
#include "inventory/AsoundConf.h"
#include "inventory/AudioBoard.h"
#include "inventory/InventoryLog.h"
#include "inventory/SoundCards.h"
#include "inventory/ToolProcess.h"
#include "inventory/Volume.h"
#include "support/AtomicFile.h"
#include "support/HostLimits.h"
#include "support/HostPaths.h"
#include "support/HostRoot.h"
#include "support/ShellLine.h"

#include <QFile>
#include <QTextStream>

#include <memory>

namespace {

// Exact, blanks included.
constexpr char kScriptSet[] = "%1 volume set %2%";
constexpr char kScriptGet[] = "%1 volume get";
constexpr int kLimitMs = ky::limits::kToolMs;
constexpr int kCatLimitMs = ky::limits::kSoundCardsMs;

QString scriptPath()
{
    return PublicClass::init()->halShPath;
}

bool hasScript()
{
    return KyFileManager::init()->hasExecutePermission(scriptPath());
}

const ky::AudioBoard& board()
{
    return ky::audioBoard(PublicClass::init()->hardwareType);
}

} // namespace

SystemAudio::SystemAudio(QObject* parent)
    : BaseObject(parent)
{}

bool SystemAudio::setAudioOutputDevice(const QVariantMap& request)
{
    const QVariant asked = request.value(QStringLiteral("volume"));
    const std::optional<int> volume = ky::requestedVolume(asked);
    if (!volume) {
        setLastError(QStringLiteral("Volume setting failed: [%1] is not in the range [0~100].")
                         .arg(asked.toString()));
        return false;
    }
    PublicClass* host = PublicClass::init();
    QString output;
    if (hasScript()) {
        const bool isSet =
            host->cmdHalSh(ky::shellLine(kScriptSet, scriptPath(), *volume), output, kLimitMs);
        if (!isSet)
            setLastError(QStringLiteral("Set volume failed:%1").arg(output));
        return isSet;
    }
    // Neither failure is worded; the last error stays whatever it was.
    return host->processCmd(ky::shellLine(board().setVolume, *volume), output, kLimitMs, true) &&
           host->processCmd(QLatin1String(board().store), output, kLimitMs, true);
}

QVariantMap SystemAudio::getAudioOutputDeviceInfo()
{
    const QString kVolume = QStringLiteral("volume");
    PublicClass* host = PublicClass::init();
    QVariantMap info;
    QString output;
    if (hasScript()) {
        const bool isRead =
            host->cmdHalSh(ky::shellLine(kScriptGet, scriptPath()), output, kLimitMs);
        info.insert(kVolume, isRead ? ky::volumeOfScript(output) : 0);
    } else if (host->processCmd(QLatin1String(board().readVolume), output, kLimitMs, true)) {
        info.insert(kVolume, ky::volumeOfMixer(output));
    }
    QVariantList cards;
    QFile file(ky::hostPath(ky::paths::kSoundCards));
    if (file.open(QIODevice::ReadOnly | QIODevice::Text))
        cards = ky::parseSoundCards(file.readAll());
    else
        setLastError(tr("Open failed:%1").arg(file.errorString()));
    info.insert(QStringLiteral("list"), cards);
    return info;
}

bool SystemAudio::setAudioCard(const QString& cardIndex)
{
    if (!ky::isCardIndex(cardIndex)) {
        setLastError(QStringLiteral("sound card [%1]: not an index").arg(cardIndex));
        return false;
    }
    QString error;
    if (!ky::replaceFile(ky::hostPath(ky::paths::kAsoundConf), ky::asoundConf(cardIndex), &error)) {
        setLastError(ky::reasonIn(error));
        return false;
    }
    KY_DEBUG << "/etc/asound.conf cardIndex:" << cardIndex;
    return true;
}

bool SystemAudio::resetAsoundConf()
{
    QFile cards(ky::hostPath(ky::paths::kSoundCards));
    if (!cards.open(QIODevice::ReadOnly | QIODevice::Text)) {
        setLastError(tr("Open failed:%1").arg(cards.errorString()));
        return false;
    }
    const std::optional<QString> index = ky::findPchCard(cards.readAll());
    if (!index) {
        setLastError(tr("Not found PCH"));
        return false;
    }
    QFile conf(ky::hostPath(ky::paths::kAsoundConf));
    if (!conf.open(QIODevice::ReadOnly | QIODevice::Text)) {
        setLastError(tr("Open failed:%1").arg(conf.errorString()));
        return false;
    }
    // One word, not the file: it never holds three lines, so the file is written at every call.
    QString word;
    QTextStream(&conf) >> word;
    conf.close();
    if (!ky::namesDefaultCard(word.split(QLatin1Char('\n'), Qt::SkipEmptyParts), *index))
        setAudioCard(*index);
    return true;
}

QVariantList SystemAudio::getAllAudioDevice()
{
    auto cat = std::make_unique<ky::ToolProcess>();
    cat->start(QStringLiteral("cat"), {ky::hostPath(ky::paths::kSoundCards)}, QIODevice::ReadWrite);
    cat->waitForStarted(kCatLimitMs);
    cat->waitForFinished(kCatLimitMs);
    const QVariantList cards = ky::parseHdaCards(cat->readAllStandardOutput());
    ky::closeTool(std::move(cat));
    return cards;
}
