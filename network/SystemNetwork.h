#pragma once

#include "host/BaseObject.h"

#include <QMap>
#include <QNetworkInterface>
#include <QStringList>
#include <QVariantMap>

#include <cstdint>

class QTimer;

/// Administers the network of the host for the daemon: cards, Wi-Fi and roaming, profiles, wired
/// addressing, hotspot, link supervision. The text of the host's own tools is the interface; there
/// is no other channel.
///
/// Thread: everything is called on, and runs on, the thread that owns the object; nothing is
/// locked. Each command blocks that thread for at most the limit that its operation names, so an
/// operation can hold the thread for seconds, the long ones for a minute.
/// Errors: nothing throws. After false, or an empty result, getLastError() has the reason: the
/// words of the tool, or a fixed sentence. Where an operation leaves no reason it says so. Steps
/// that ran before a failure stand; nothing is rolled back.
/// Settings: "appInfo/setting/WirelessCard.ini" below the working directory, each change stored at
/// once and as a whole. An operation whose settings cannot be stored has done the rest of its work
/// and gives its usual result; the log has a warning, and the last error is "settings not stored: "
/// with the reason. Set the last error to an empty text before the call to see the difference.
/// Texts from requests (SSIDs, pass phrases, addresses, file names) may hold anything: a tool gets
/// exactly the value.
class Q_DECL_EXPORT SystemNetwork : public BaseObject
{
    Q_OBJECT

public:
    /// Needs the fields of PublicClass filled. With a `hardwareType` of 0 or more it prepares the
    /// host and reads the settings; -1 takes the card names from the interface table instead. No
    /// failure stops it. Blocks for its commands, each 20 to 30 s at most.
    explicit SystemNetwork(QObject* parent = nullptr);
    /// Ends the timers; a command that is running is not ended.
    ~SystemNetwork() override;

    // --- Request bookkeeping: stored for the daemon, read by nothing here ---

    qint64 getRequstHandle() const;
    void setRequstHandle(const qint64& handle);
    int getRequstNumber() const;
    void setRequstNumber(int number);

    // --- Settings ---

    /// Reads the settings again, writes the defaults of absent ones into the file, and sets IPv6
    /// on or off by them (20 s at most). Supervision sees the new values at its next tick.
    void resetAPSetting();
    /// Stores at once whether supervision roams; the next tick sees it.
    void setEnabledRoaming(bool isEnabled);
    /// Notes that the operator has switched the wireless card off. Nothing is stored or switched.
    void setIsDisableWirelessNetworkCard(bool isDisabled);

    // --- Utilities ---

    /// Finds the wireless card by `ifconfig` (20 s). With several cards only "wlan0" and "wlp1s0"
    /// count; if neither is there the result is true and `name` stays as it was, so begin with the
    /// name that is known (operations of this class begin with that of the settings). False when
    /// there is none, or `ifconfig` fails.
    bool getWirelessCardName(QString& name);
    /// One probe (20 s): true when it came back. A lost one leaves the last error alone.
    bool pingIP(const QString& ip);
    /// Whether the text is an IPv4 address as inet_aton understands it ("10.5" is one, too).
    bool isValidIp(const QString& ip);
    /// The prefix length of a dotted netmask in decimal, or an empty text.
    QString isValidMask(const QString& mask);
    /// "0a1f" gives "10 31"; a pair that is no hexadecimal number gives "?".
    QString hexToQString(const QString& text);
    /// Decodes the escapes with which `wpa_cli` and `iw` print the bytes of an SSID ("\xe4\xb8…").
    QString hexStringToStr(const QString& text);
    /// The older decoder: one run of escapes, and its last two digits stay behind.
    QString hexStringToStr2(const QString& text);

    // --- Reserved: succeed and do nothing ---

    bool getWifiList(QVariantList& list);
    bool setNetworkCardStatus(const QString& name, bool isEnabled);
    /// Sleeps 3 s.
    bool setWLanProfile(const QString& ssid, const QString& password, bool isHidden);

    // --- Profiles: what NetworkManager has stored ---

    /// UUID of the profile that is active on the device (6 s). False if there is none.
    bool getActiveUUID(const QString& device, QString& uuid);
    /// UUID of a profile by its SSID, or by the first line that holds it (6 s).
    bool getUuidBySsid(const QString& ssid, QString& uuid);
    /// As getActiveUUID(), but only while wpa_supplicant says that the device is connected
    /// (20 s + 6 s).
    bool getConnectionActiveiUUID(const QString& device, QString& uuid);
    /// UUID of the first Wi-Fi profile by file name, whatever the case, or an empty text.
    QString getCurrentWifiUUid();
    /// Pass phrase and SSID stored in a keyfile, named without its folder.
    QString getWifiPassword(const QString& fileName);
    QString getWifiSSID(const QString& fileName);
    /// "fileName", "id" and "uuid" of the first profile with this id; empty if there is none.
    QVariantMap getNetworkManagerFileInfo(const QString& id);
    /// File name, without folder, of the first profile with this UUID; empty if there is none.
    QString getNetworkManagerSSIDFileNameBy(const QString& uuid);
    /// SSID of the profile in use on the wireless card (46 s at most).
    bool getConnectedWifiSSID(QString& ssid);

    // --- Inventory: which cards there are, and what they carry ---

    /// Every interface, unfiltered: "name", "index", "maximumTransmissionUnit",
    /// "humanReadableName", "flags", "type", "hardwareAddress".
    QVariantList getAllInterfaces();
    /// Rebuilds the table of cards by hardware address: "name", and "ip" and "mask" of the first
    /// IPv4 address. 192.168.192.5 yields to any address listed behind it.
    void getAllNetworkCards();
    /// Hardware address to human-readable name of every interface.
    QMap<QString, QString> getNetworkWifiMap();
    /// Whether the interface of that name has any bit of `flag`. False if there is none such.
    bool isNetworkInterfaceFlag(const QString& name, QNetworkInterface::InterfaceFlag flag);
    /// One card: "name", "ip", "mask" by `ifconfig` (6 s), "gateway", "Mac" and each row of
    /// `nmcli device show` under its label (10 s), and "dhcp" of its active profile (26 s): a bool,
    /// or the text "Not Found". Always true; what could not be read is left out.
    bool getNetworkCardInfo(const QString& name, QVariantMap& info);
    /// The same without asking wpa_supplicant, so for wired cards; no "dhcp" without a profile.
    bool getNetInfo(const QString& name, QVariantMap& info);
    /// The same for the wireless card (20 s more to find it). False if there is none, or if it is
    /// not connected; in that case the map is filled all the same.
    bool getWifiCardInfo(QVariantMap& info);
    /// The wired card of the settings, whose name is stored once more. Always true.
    bool getAlxCardInfo(QVariantMap& info);
    /// Stored status of that card; false while no name is stored.
    bool getAlxCardStatus();
    /// The internal wired card, which is known by its address 192.168.192.5. Always true; a map
    /// without "ip" means that no card has it.
    bool getWiredNetworkCard(QVariantMap& info);
    /// One card by ioctl, `name` of at most 15 bytes; prints what it sees on standard output, and
    /// fills `info` only for the internal card.
    void dispLocalWiredNetInfo(const char* name, QVariantMap& info);
    /// Driver of the first "Wired interface" of `lshw` (20 s); empty if there is none.
    QString getWiredNetworkDriver();
    /// Default gateway of a device by the kernel's routes, also left in `buffer` of `size` bytes
    /// (16 hold any). Empty, with the buffer untouched, if the routes cannot be read. The first
    /// route line that holds the name anywhere counts.
    QString getIPV4Gateway(const char* name, char* buffer, unsigned long size);
    /// "Mac" of the last getWiredNetworkCard(); empty before the first.
    QString getMACName();
    /// Stores getMACName() in "appInfo/setting/macName.txt" beside the program. False if it is
    /// empty or the file cannot be written; no last error.
    bool writeMACNameInTxt();
    /// Stores it and reads it back. False, with nothing read, if there was nothing to store.
    bool readMACNameForTxt();
    /// Content of that file; empty if it is absent.
    QString isTxtExist();

    // --- Wi-Fi connections ---
    // One Wi-Fi profile at a time: connecting removes every profile of type "wifi" first.

    /// Brings the stored Wi-Fi profile up; `limit` in ms. If the command fails (not: if the
    /// network refuses) and `restart` is set, NetworkManager is restarted (20 s + 5 s); the result
    /// is false in that case, too.
    bool connectWifi(int limit, bool restart);
    /// Joins a network by name (40 s and the removal of the old profiles). An empty `ssid` gives
    /// false without a reason. An empty or blank `password` means none.
    bool connectWindowWifi(QString ssid, QString password, bool hidden);
    /// Joins a network whose profile or openness needs no password (20 s); only the name is used.
    bool connectWindowWifi2(QString ssid, QString password, bool hidden);
    /// Makes a profile from a full description and brings it up (60 s and more). `request` has the
    /// name of the operation, "connectWifi", under "interface" and its parameters in a map under
    /// that name: "ssid", "password", "ipv4.gateway", "ipv4.addresses", "nonBroadcast",
    /// "verification" (802.1X), "dhcp", and the "802-1x.…" and "wifi-sec.key-mgmt" options, where
    /// a certificate or key is a map of "fileName" and "base64". A file name with a folder part is
    /// refused before anything is changed. Another "interface" gives true: nothing to do.
    bool runIwconfig(const QVariantMap& request);
    /// `nmcli device connect` (20 s).
    bool connectDeviceCard(const QString& card);
    /// Removes the profiles of a card, first as keyfiles, then those that `nmcli` still lists in a
    /// row with that name. "." or "e" would find nearly every row: a name that no interface of the
    /// host has, no keyfile and no setting of this object removes nothing and leaves a last error.
    void deleteConnections(const QString& card);
    /// Removes the profiles of a type ("wifi", "802-3-ethernet") in the same way. It has to be one
    /// of NetworkManager's or of a keyfile.
    void deleteByConnectionType(const QString& type);
    /// Puts the driver of the wired card on the kernel's blacklist (`kind` 1); `disable` is only
    /// stored. `kind` 0 is refused, any other does nothing and gives true.
    bool setPermanentlyDisabled(int kind, bool disable);

    // --- Roaming ---

    /// The access point in use (4 s): "ssid", "bssid", "signalLevel" (dBm), "frequenc" (MHz),
    /// "qualityValue" and "qualityMax" (0). False while the card is not associated.
    bool getIwconfig(const QString& card, QVariantMap& map);
    /// The access points of the SSID in use (30 s): "status" (1 the one in use, else -1), "ssid",
    /// "mac", "frequency", "signal". Empty while not associated or not readable.
    QVariantList getApList();
    /// Asks wpa_supplicant to roam (20 s). True when the command ran, whatever it answered.
    bool switchAP(const QString& card, const QString& bssid);
    /// `wpa_cli status` of the card as a map (20 s); empty if it cannot be read.
    QVariantMap getCurrentWifiStatus(const QString& card);
    /// For a display (80 s at most): "current_wifi", "wifi_list" and "wifiStatus".
    bool getWinApiWifiList(QVariantMap& result);

    // --- Link supervision ---

    /// Starts supervision, or switches a banned card off; called once the daemon is up.
    void initAutoConnect();
    /// Starts (while PublicClass allows it) or stops the cycle.
    void setAutoConnect(bool on);
    /// Arms the timer for the next cycle. The timer must exist: called within a cycle.
    void startWaitTimer();
    /// Switches a wireless card off (`disable`) or on, through the platform script if that can
    /// (40 s), else by `nmcli` and `ifconfig` (100 s). Off removes the Wi-Fi profiles.
    bool setWirelessCardStatus(bool disable, const QString& card);
    /// The same for the wired (`kind` 0) or wireless (1) card of the settings, and stored. Always
    /// true, also when the switching failed.
    bool changedNetworkCardStatus(int kind, bool disable);
    /// Makes sure that a wired card has the internal address 192.168.192.5.
    bool activateNetworkCard();
    /// Appends one map for each line of `nmcli device status` (20 s); all four keys "device",
    /// "type", "state" and "connection" hold the last part of the line.
    bool getConnectedStatus(QList<QVariantMap>& list);

    // --- Hotspot ---

    /// Opens an access point (60 s); `request` has "ssid" and "passwd".
    bool startHotspot(const QVariantMap& request);
    /// Closes it (20 s). On board 6 the result is false in every case.
    bool stopHotspot();
    /// Opens it again with what is stored.
    bool fixHotspot();
    bool isHostspot();

    // --- Addressing ---
    // No request may place a card in 192.168.192.x, the internal link, but
    // setWiredNetworkIPconfig().

    /// Address of the Wi-Fi connection in use (63 s): "ip", "dhcp", "gateway", "mask".
    bool setIPconfig(const QVariantMap& request);
    /// Address of the wired card, whose profile is rebuilt: "ip", "mask", "gateway", "dhcp".
    bool setAlxIPconfig(const QVariantMap& request);
    /// Joins a Wi-Fi and gives it a fixed address: "ssid", "ip", "passwd", "nonBroadcast", "mask",
    /// "gateway", "dhcp".
    bool setSSIDIPConfig(const QVariantMap& request);
    /// Address of the internal wired card: "ip", "mask", "gateway", "name".
    bool setWiredNetworkIPconfig(const QVariantMap& request);
    /// Removes the fixed address that a profile on DHCP still holds (30 s when there was one).
    void checkDHCP();
    /// Whether the profile in this keyfile, named without its folder, is on DHCP.
    bool getLinuxDhcpStatus(const QString& fileName);
    /// Keeps the netplan file in step with the wireless card: a gateway on the wired card exactly
    /// while the wireless one is banned (20 s).
    bool copyNetplanYaml();
    /// Puts the internal card, known by its stored hardware address, back on its address.
    bool initFactorySettingsIP();
    /// Reports addresses and Wi-Fi to the robot software by sigWriteTcpClient().
    void updateHalyard6950Data();
    /// Stores the address of the operator panel ("hmiIP") and reports.
    void setHMIInfo(const QVariantMap& request);
    /// The stored address of the operator panel under "hmiIP".
    QVariantMap getHmiInfo() const;
    /// Writes "wifiConfig.yaml" beside the program over the first netplan file, if there is one.
    bool writeWifiConfig();
    /// Path of the first netplan file, or an empty text.
    QString getFileNames();

signals:
    /// A traffic record for a display. Nothing here emits it.
    void sigChangedText(bool isRecv, uint16_t command, const QByteArray& data,
                        const QString& dataHex, uint16_t number, int msTime);
    /// A reply to a client. Nothing here emits it.
    void sigMsg(const QVariantMap& jsonMap, const QByteArray& bytes);
    /// Asks the daemon to deliver a frame to a peer: link reports go to port 19207 of this host,
    /// the report for the robot software to port 19210.
    void sigWriteTcpClient(const QString& requestIP, int requestPort, int requestType,
                           int requestNumber, const QByteArray& bytes);

public slots:
    /// One cycle of link supervision, at whose end the timer is armed again. Blocks for its
    /// commands: half a minute, or more while it roams.
    void slotAutoConnectEth1Ethernet();

protected:
    /// Called with each report on roaming, right after its log line `[info][kind][text]`, whether
    /// or not that line is logged. `kind` is "CurrentAP" (`text` is "BSSID|dBm" of the access point
    /// in use, or "No-AP|0"), "ApList" ("BSSID|dBm|" of the one in use and of each candidate) or
    /// "text" (a decision, or a roam that is asked for). Does nothing here: for classes derived
    /// from this one. Runs within the operation that reports, on its thread, so keep it short.
    virtual void roamingReported(const QString& kind, const QString& text);

    qint64 requstHandle = 0; ///< request in progress
    int requstNumber = 0;
    QStringList _networkCardNames;            ///< in the order of their hardware addresses
    QMap<QString, QVariantMap> _networkCards; ///< by hardware address
    QString _reservedText1;
    QString _wiredCardName; ///< last examined by dispLocalWiredNetInfo()
    QString _reservedText2;
    QString _aLXB10NetworkCardName; ///< wired card
    QString _reservedText3;
    QVariantMap _wiredNetInfo; ///< last result of getWiredNetworkCard()
    QString _wiredMacName;     ///< as stored in macName.txt
    QString _wirelessCardName;
    QString _wirelessUUID; ///< profile of the Wi-Fi connection; empty until looked up
    QString _reservedText4;
    QTimer* _autoConnectSSIDTimer = nullptr; ///< single shot, child of this object, made on use
    QTimer* _reservedTimer = nullptr;
    void* _reservedPointer = nullptr;
    // Not the values of WifiScanThread: the two differ on purpose.
    int _autoConnectWaitTime = 10000; ///< ms between two cycles
    QString _pingIp;
    int _disconnectionMethod = 0; ///< 0 no check, 1 ping _pingIp, 2 fetch _pingUrl
    bool _isDisconnectionSendError = false;
    QString _pingUrl;
    bool _isSwitchOnlyTo5G = false;
    int _startScanningSignal = -66;    ///< dBm
    int _switchingSignal = 7;          ///< dB
    int _autoSwitchBestAPSignal = -85; ///< dBm
    bool _isResetWirelessNetworkCard = true;
    bool _isEnabledRoaming = false;
    bool _isDisableWirelessNetworkCard = false; ///< the operator has banned the card
    QString _hmiIp;                             ///< address of the operator panel
};
