#include "network/tools/WpaCliStatus.h"

#include "network/tools/SsidEscapes.h"

#include <QStringList>

namespace ky {

namespace {

// In this order, by substring: it keeps "bssid=" apart from "ssid=" and "ip_address=" from
// "address=". A longer line that holds "id=", such as "eap_session_id=…", is taken for it.
constexpr const char* kStatusNames[] = {
    "bssid",        "uuid",     "freq",      "mode",       "pairwise_cipher",
    "group_cipher", "key_mgmt", "wpa_state", "ip_address", "p2p_device_address",
    "address",      "ssid",     "id",
};

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

QString wpaStatusValue(const QString& output, const QString& key)
{
    QString value;
    const QStringList lines = output.split(QLatin1Char('\n'));
    for (const QString& rawLine : lines) {
        const QString line = rawLine.simplified();
        const int sign = line.indexOf(QLatin1Char('='));
        if (sign >= 0 && line.leftRef(sign) == key)
            value = line.mid(sign + 1);
    }
    return value;
}

bool isWpaCompleted(const QString& output)
{
    return wpaStatusValue(output, QStringLiteral("wpa_state")) == QLatin1String("COMPLETED");
}

QVariantMap parseWpaStatus(const QString& text)
{
    QVariantMap status;
    if (!text.contains(QLatin1Char('\n')))
        return status;
    for (const QString& line : text.split(QLatin1Char('\n')))
        readStatusLine(line, status);
    return status;
}

} // namespace ky
