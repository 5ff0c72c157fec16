#pragma once

#include "host/BaseThread.h"

#include <QMutex>
#include <QString>
#include <QVariantMap>
#include <QWaitCondition>

/// A second, separate watcher of the Wi-Fi link. It asks the host nothing: the link is read from
/// the file "1.txt" of the working directory, in the layout of `iwconfig`, and the scan is a table
/// of its own. All it does to the host is to ask for a roam.
///
/// Thread: init() and switchAP() from any thread; run() is the thread. The parameters are guarded
/// by one mutex and copied when the thread starts, so init() has no effect on a thread that runs.
/// End: the thread ends by itself once the link is good, or after a move within 2.4 GHz, or, while
/// the stop flag is clear, after one cycle. With setNeedStop(true) alone it goes on with its cycle
/// until the link is good. stopThread() and the destructor end it: at once while it pauses, else
/// after the cycle at hand, which takes 20 s at most. The flag stays set, so clear it before the
/// next start if that is to make one cycle.
class Q_DECL_EXPORT WifiScanThread : public BaseThread
{
    Q_OBJECT

public:
    explicit WifiScanThread(QObject* parent = nullptr);
    ~WifiScanThread() override;

    /// Takes "queryTime" (ms), "isSwitchOnlyTo5G", "startScanningSignal" (dBm),
    /// "autoSwitchBestAPSignal" (dBm), "switchingSignal" (dB) and "wirelessCardName". A key that
    /// is missing counts as 0, false or empty, not as the default.
    void init(const QVariantMap& config);

    /// Asks wpa_supplicant to roam (20 s at most). True when the command ran, whatever it said.
    bool switchAP(const QString& bssid);

    /// Decodes the escapes with which `wpa_cli` prints the bytes of an SSID.
    QString hexStringToStr(const QString& text);

    void run() override;

protected:
    // Not the values of SystemNetwork: the two differ on purpose. All under parameterMutex.
    int queryTime = 5000; ///< ms
    bool isSwitchOnlyTo5G = false;
    int startScanningSignal = -65;    ///< dBm
    int switchingSignal = 7;          ///< dB
    int autoSwitchBestAPSignal = -75; ///< dBm
    QString wirelessCardName;
    QMutex parameterMutex;
    QWaitCondition reservedCondition;
};
