#include "network/tools/WpaCliScan.h"

#include "network/tools/SsidEscapes.h"

#include <QStringList>

namespace ky {

namespace {

constexpr int kFieldCount = 5;
const QLatin1Char kLineFeed('\n');
const QLatin1Char kBlank(' ');
const QLatin1Char kTab('\t');

// In this order, by substring: it keeps "bssid=" apart from "ssid=" and "ip_address=" from
// "address=". A longer line that holds "id=", such as "eap_session_id=…", is taken for it.
constexpr const char* kStatusNames[] = {
    "bssid",        "uuid",     "freq",      "mode",       "pairwise_cipher",
    "group_cipher", "key_mgmt", "wpa_state", "ip_address", "p2p_device_address",
    "address",      "ssid",     "id",
};

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

void readStatusLine(const QString& line, QVariantMap& status)
{
    for (const char* name : kStatusNames) {
        const QString word = QLatin1String(name) + QLatin1Char('=');
        if (!line.contains(word))
            continue;
        QString value = QString(line).remove(word);
        if (word == QLatin1String("ssid=")) {
            value = decodeSsidEscapes(value);
            if (!value.isEmpty())
                status.insert(QStringLiteral("current_wifi"), value);
        }
        status.insert(QLatin1String(name), value);
        return;
    }
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

QVariantMap parseWpaStatus(const QString& text)
{
    QVariantMap status;
    if (!text.contains(kLineFeed))
        return status;
    for (const QString& line : text.split(kLineFeed))
        readStatusLine(line, status);
    return status;
}

} // namespace ky
