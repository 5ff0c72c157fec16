#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/Table.h"

#include <QThread>

#include <unistd.h>

namespace ky {

namespace {

constexpr int kBarWidth = 20;
constexpr int kDefaultSeconds = 2;
constexpr char kClearScreen[] = "\033[H\033[2J";

/// "19%" as a bar; nothing for a file system that has no size.
QString barOf(const QString& share)
{
    bool isNumber = false;
    const int percent = share.section(QLatin1Char('%'), 0, 0).toInt(&isNumber);
    if (!isNumber)
        return {};
    const int full = (qBound(0, percent, 100) * kBarWidth + 99) / 100;
    return QString(full, QLatin1Char('#')) + QString(kBarWidth - full, QLatin1Char('.'));
}

/// The report may keep the head of the host's own table as its first entry.
bool isTableHead(const QString& share)
{
    return share != QLatin1String("-") && barOf(share).isEmpty();
}

QString disksText(const QVariantList& disks)
{
    QVariantList rows;
    for (const QVariant& entry : disks) {
        QVariantMap disk = entry.toMap();
        const QString share = disk.value(QStringLiteral("Use%")).toString();
        if (isTableHead(share))
            continue;
        disk.insert(QStringLiteral("bar"), barOf(share));
        rows << disk;
    }
    return tableText(rows, {{"Filesystem", "DISK"},
                            {"Used", "USED"},
                            {"Size", "SIZE"},
                            {"bar", "FULL"},
                            {"Use%", ""}});
}

QString processorText(const QVariantList& entries)
{
    QStringList models;
    for (const QVariant& entry : entries)
        models << valueText(entry.toMap().value(QStringLiteral("model name")));
    models.removeAll(QString());
    models.removeDuplicates();
    const QVariant count = entries.value(0).toMap().value(QStringLiteral("cpuTotalNumber"));
    return QStringLiteral("processor  %1 × %2\n")
        .arg(valueText(count),
             models.isEmpty() ? QStringLiteral("unknown model") : models.join(QLatin1String(", ")));
}

QString temperaturesText(const QVariantList& zones)
{
    QVariantList rows;
    for (const QVariant& entry : zones) {
        QVariantMap zone = entry.toMap();
        const double celsius = zone.value(QStringLiteral("temp")).toDouble();
        zone.insert(QStringLiteral("celsius"), QStringLiteral("%1 °C").arg(celsius, 0, 'f', 1));
        rows << zone;
    }
    return tableText(rows, {{"name", "SENSOR"}, {"celsius", "TEMPERATURE"}});
}

QString reportText(const QVariantMap& info)
{
    const QVariantMap version = info.value(QStringLiteral("FernoVersion_info")).toMap();
    QString text = QStringLiteral("version    %1 on %2\n")
                       .arg(valueText(version.value(QStringLiteral("version"))),
                            valueText(version.value(QStringLiteral("tbxName"))));
    text += processorText(info.value(QStringLiteral("cpu")).toList()) + QLatin1Char('\n');
    text += disksText(info.value(QStringLiteral("disk")).toList()) + QLatin1Char('\n');
    text += tableText(info.value(QStringLiteral("network_card")).toList(),
                      {{"name", "CARD"}, {"mac", "ADDRESS"}});
    if (info.contains(QStringLiteral("temperature")))
        text += QLatin1Char('\n') +
                temperaturesText(info.value(QStringLiteral("temperature")).toList());
    return text;
}

int showOnce(Invocation& call)
{
    return call.ask("hardware_info", {},
                    [&call](const QVariantMap& info) { call.print(reportText(info)); });
}

/// A positive number, or the default without the option; 0 for anything else.
int numberOf(const Invocation& call, const char* option, int withoutIt)
{
    return call.has(option) ? qMax(0, call.option(option).toInt()) : withoutIt;
}

int runInfo(Invocation& call)
{
    const int seconds = numberOf(call, "--every", kDefaultSeconds);
    const int times = numberOf(call, "--count", call.has("--watch") ? -1 : 1);
    if (seconds == 0 || times == 0)
        return call.wrong(QStringLiteral("--every and --count take a number above 0"));
    const bool clears = call.has("--watch") && !call.global().isJson && ::isatty(STDOUT_FILENO);
    for (int shown = 1;; ++shown) {
        if (clears)
            call.print(QLatin1String(kClearScreen));
        const int status = showOnce(call);
        if (status != kDone || shown == times)
            return status;
        QThread::sleep(ulong(seconds));
    }
}

} // namespace

const Group& infoGroup()
{
    static const Group group = {"info",
                                "disks, processor, cards, version and temperatures",
                                {{"",
                                  "",
                                  "Shows what the controller is made of",
                                  {{"--watch", "", "show it again and again, until Ctrl-C"},
                                   {"--every", "SECONDS", "pause of --watch (default 2)"},
                                   {"--count", "N", "show it N times"}},
                                  "kyctl info --watch",
                                  runInfo}}};
    return group;
}

} // namespace ky
