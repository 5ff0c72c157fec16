// The readers of what the network's tools print, and of keyfiles. The first byte is an ordinary one
// here: these read whole texts.
#include "FuzzInput.h"
#include "network/tools/HexPairs.h"
#include "network/tools/IfconfigOutput.h"
#include "network/tools/IwOutput.h"
#include "network/tools/LshwOutput.h"
#include "network/tools/NmcliDeviceTable.h"
#include "network/tools/NmcliOutput.h"
#include "network/tools/RouteTable.h"
#include "network/tools/SsidEscapes.h"
#include "network/tools/WpaCliScan.h"
#include "network/tools/WpaCliStatus.h"
#include "support/KeyFile.h"

namespace {

const QString kCard = QStringLiteral("wlan0");

void check(bool isTrue, const char* what)
{
    if (!isTrue)
        qFatal("%s", what);
}

bool isOneWord(const QString& text)
{
    return !text.contains(QLatin1Char(' ')) && !text.contains(QLatin1Char('\n'));
}

void readScanTable(const QString& text)
{
    const ky::ScanTable table = ky::parseScanTable(text);
    check(table.rows.size() <= qMax(1, table.lineCount), "more access points than lines");
    check(!table.isSingleRow || !text.contains(QLatin1Char('\n')), "a single row of many lines");
    for (const ky::AccessPoint& row : table.rows)
        check(text.contains(row.bssid) && text.contains(row.rssi), "a field that is not there");
    ky::isScanBusy(text);
    ky::decodeSsidEscapes(text);
}

void readCards(const QString& text)
{
    if (const auto card = ky::parseIfconfig(text, kCard))
        check(isOneWord(card->ip) && isOneWord(card->mask), "an address of several words");
    const ky::WirelessCardChoice choice = ky::chooseWirelessCard(text);
    check(choice.isFound || choice.name.isEmpty(), "a name of no card");
    check(text.contains(choice.name) && !choice.name.contains(QLatin1Char('\n')),
          "a card that is not in the list");
    check(!ky::wiredDriver(text).contains(QLatin1Char('\n')), "a driver of several lines");
}

void readNmcli(const QString& text)
{
    const ky::DeviceShow show = ky::parseDeviceShow(text);
    const int lines = text.count(QLatin1Char('\n')) + 1;
    check(show.rows.size() + show.unreadable.size() <= lines, "more rows than lines");
    for (const QString& uuid : ky::uuidsIn(text))
        check(uuid.size() >= 36 && isOneWord(uuid), "a UUID that is none");
    const QString row = ky::rowHolding(text, kCard);
    check(row.isNull() || row.contains(kCard), "a row without the card");
    check(isOneWord(ky::uuidInRow(row)), "a UUID of several words");
    check(text.startsWith(ky::firstRow(text)), "a first row from elsewhere");
    ky::holdsConnectedHotspot(ky::parseDeviceTable(text).value_or(QList<QVariantMap>()));
    check(ky::saysSuccess(text + QStringLiteral("successfully")), "success is not heard");
}

void readStatus(const QString& text)
{
    check(!ky::wpaStatusValue(text, QStringLiteral("wpa_state")).contains(QLatin1Char('\n')),
          "a value of several lines");
    check(ky::isWpaCompleted(text + QStringLiteral("\nwpa_state=COMPLETED")), "a state is lost");
    ky::parseWpaStatus(text);
    ky::linkRecord(ky::parseIwLink(text));
    ky::parseIwconfig(text);
    ky::hexPairsAsDecimals(text.left(200));
    QString run;
    ky::decodeHexRun(text.left(200), &run);
}

void readRoutes(const QByteArray& bytes)
{
    for (const QByteArray& line : bytes.split('\n')) {
        if (const auto gateway = ky::gatewayInRoute(line, "wlan0"))
            check(gateway->count('.') == 3, "a gateway that is no address");
    }
}

void readKeyfile(const QByteArray& bytes)
{
    const ky::KeyFile profile(bytes);
    profile.ssid("wifi", "ssid");
    for (const char* key : {"uuid", "id", "type", "interface-name"}) {
        ky::KeyFile shortened = profile;
        const bool hasRemoved = shortened.remove("connection", key);
        check(hasRemoved == (shortened.content().size() < bytes.size()), "bytes lost or kept");
        check(shortened.value("connection", key).isEmpty(), "a key is left");
        check(hasRemoved || profile.value("connection", key).isEmpty(), "a key stays");
        check(hasRemoved == profile.holds("connection", key, profile.value("connection", key)),
              "a key does not hold its value");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzSetUp();
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    const QString text = QString::fromUtf8(bytes);
    readScanTable(text);
    readCards(text);
    readNmcli(text);
    readStatus(text);
    readRoutes(bytes);
    readKeyfile(bytes);
    return 0;
}
