#include "network/tools/WpaCliScan.h"

#include "network/tools/SsidEscapes.h"

#include <QStringList>

namespace ky {

namespace {

constexpr int kFieldCount = 5;
const QLatin1Char kLineFeed('\n');
const QLatin1Char kBlank(' ');
const QLatin1Char kTab('\t');

AccessPoint accessPointOf(const QStringList& fields)
{
    AccessPoint accessPoint;
    accessPoint.bssid = fields.at(0);
    accessPoint.frequency = fields.at(1);
    accessPoint.rssi = fields.at(2);
    accessPoint.ssid = decodeSsidEscapes(fields.at(4));
    return accessPoint;
}

ScanTable parseSingleRow(const QString& text)
{
    ScanTable table;
    table.isSingleRow = true;
    table.lineCount = 1;
    const QStringList fields = text.split(kBlank);
    if (fields.size() < kFieldCount)
        return table;
    table.rows.append(accessPointOf(fields));
    table.rows.last().isEncrypted = fields.at(3) != QLatin1String("[ESS]");
    return table;
}

} // namespace

ScanTable parseScanTable(const QString& text)
{
    if (text.isEmpty())
        return {};
    if (!text.contains(kLineFeed))
        return parseSingleRow(text);

    ScanTable table;
    const QStringList lines = text.split(kLineFeed);
    table.lineCount = lines.size();
    for (int i = 1; i < lines.size(); ++i) { // line 0 is the head
        const QStringList fields = lines.at(i).split(kTab);
        if (fields.size() < kFieldCount)
            continue;
        table.rows.append(accessPointOf(fields));
        table.rows.last().isEncrypted = fields.at(3).contains(QLatin1String("WPA"));
    }
    return table;
}

bool isScanBusy(const QString& text)
{
    return text.contains(QLatin1String("FAIL-BUSY"));
}

} // namespace ky
