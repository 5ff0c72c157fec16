#pragma once

#include "host/BaseObject.h"

#include <QAbstractSocket>
#include <QDateTime>
#include <QMutex>
#include <QStringList>
#include <QVariantMap>

class QTimer;
class QUdpSocket;

/// Keeps the host's clock and time zone: by its own NTP client, or through the platform script
/// where there is one. Which of the two is decided afresh at each operation, by whether the script
/// may be executed.
///
/// The own client makes one exchange per interval and sets the clock by every valid reply, however
/// far off; it has no time limit for a reply, the next exchange replaces a lost one.
///
/// Thread: that of the object, which needs an event loop. Every command blocks it for up to 20 s,
/// ntpTime() as long as the host's resolver takes for the server's name: the limit of 5 s counts
/// from there. setTimeConfig() may run the event loop itself.
/// Errors: nothing throws. After false or an empty result getLastError() has the words of the
/// command that failed. A script command that fails only sets the last error.
/// Settings: group NTP of "appInfo/setting/WirelessCard.ini" in the working directory.
class Q_DECL_EXPORT SystemNTP : public BaseObject
{
    Q_OBJECT

public:
    /// Loads the settings, switches the host's own synchronisation off (or tells the script to
    /// take over, or not to) and makes the first exchange if the settings ask for it. Blocks as
    /// long as its commands (20 s each) and the resolving of the server's name take.
    explicit SystemNTP(QObject* parent = nullptr);
    /// Ends a running exchange without a signal.
    ~SystemNTP() override;

    /// Sends one request and starts the timer for the next ones, every `interval` minutes
    /// (0: none). False if the server's name cannot be resolved: the timer is then left as it was.
    /// An address takes no time, a name as long as the resolver's own limits allow. The reply
    /// arrives later: sigSetTimeFinished().
    bool ntpTime(const QString& url, unsigned short port, unsigned int interval);

    /// Whether the exchange that was begun last has set the clock by now.
    bool isClockSet() const;

    /// Sets the system clock, to the millisecond, and tells the host that its hardware clock runs
    /// in UTC. An invalid time is passed on as an empty text, which the tool refuses. The flag
    /// plays no part.
    bool setSystemTime(const QDateTime& dateTime, bool flag);

    /// Links /etc/localtime to the zone of that name, which is not checked. The old link is gone
    /// even if the new one cannot be made.
    bool setSystemTimezone(const QString& name);

    /// The zones that the host knows, with an empty text at the end.
    QStringList getTimezoneList();

    /// What `timedatectl status` reports, under its own labels without blanks ("Timezone"), and
    /// "timeSyncInterval", "udpErrorString", "ntpTimeServerUrl", "ntpTimePort", "isAutoSync".
    /// "isAutoSync" tells whether the timer runs, not what is stored.
    QVariantMap getTimedatectlStatus();

    /// Applies and stores the operator's settings: "timezone", then by "isAuto" either "url",
    /// "port" and "timeSyncInterval" (minutes, taken as they are) or "localDateTime"
    /// ("yyyy-MM-dd hh:mm:ss"); "GMT" (hours) is stored only. With the own client and "isAuto" it
    /// runs the event loop until the exchange is over, without a time limit, and returns true
    /// however it ended. After false nothing is stored, but what was done before stands. Settings
    /// that cannot be stored are a warning, and the last error "settings not stored: " with the
    /// reason; the result is true.
    bool setTimeConfig(const QVariantMap& request);

    /// The operator's offset from UTC in hours: stored, nothing computes with it.
    double difHour() const;
    void setDifHour(double hours);

signals:
    /// One exchange is over, in any way: clock set, reply invalid, or socket error.
    void sigSetTimeFinished();
    /// The interval has passed: the next exchange begins.
    void sigNtpTimeout();

public slots:
    // What the client's socket reports. Without effect before the first ntpTime().
    void readingDataGrams();
    void connectsucess();
    void slotNtpError(QAbstractSocket::SocketError error);

private:
    void startOwnClient(bool isAutoSync);
    void createSocket();
    QTimer* syncTimer();
    void restartTimer();
    bool synchronise(const QString& url, unsigned short port, unsigned int interval);
    bool setRequestedTime(const QVariantMap& request);
    bool runCommand(const QString& line, QString& output);
    void runScript(const QString& line);
    void openScript(const QString& url);
    void closeScript();

    QUdpSocket* _ntpUdpSocket = nullptr;
    QDateTime _setDateTime;
    double _difHour = 0.0;
    QTimer* _ntpSyncTimer = nullptr;
    QString _ntpTimeServerUrl;
    quint16 _ntpTimePort = 123;
    quint32 _timeSyncInterval = 10;
    QString _udpErrorString;
    QMutex _ntpMutex;
    QByteArray _originBytes;
    qint64 _offsetMs = 0;
    bool _isClockSet = false;
};
