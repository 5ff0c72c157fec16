#pragma once

#include <QMap>
#include <QObject>
#include <QVariantMap>

class CanDevice;
class SocketCan;

/// The daemon's entry to the CAN ports: sets interfaces up, opens, writes and closes ports by
/// request, hands received frames on, and keeps the file of known ports.
///
/// A port is opened by openCan(), written and closed by emitting sigWrite and sigClose; each of
/// the three is answered by one sigFinished, before the call or the emission returns.
///
/// Thread: that of the object. Each port that was ever opened has a thread of its own, blocked in
/// the read of its CanDevice; both stay until the process ends, also when this object goes, since
/// nothing wakes that read. config() blocks for 1.1 s and up to 20 s more for each of its four
/// commands.
class Q_DECL_EXPORT CanObject : public QObject
{
    Q_OBJECT

public:
    explicit CanObject(QObject* parent = nullptr);
    ~CanObject() override;

    /// Sets up can1 and then can0 with 250000 baud.
    void init();

    /// Sets up one interface through the shell: down, bit timing, queue length, up. What the
    /// commands answer is not looked at; a failure shows when the port is opened.
    void config(const QString& dev, const QString& baudrate, const QString& tbxName);

    /// Opens the port "portName". A port that is open is opened afresh.
    void openCan(const QVariantMap& map);

    /// The saved ports and the CAN interfaces of the host, with "state" and "isOpen".
    QVariantList getAllCanPorts();

    /// Replaces the port file. With `applyConfig` each port is set up first, in order, with its
    /// "baudRate"; one that is no number counts as 0, with a warning. False for an empty list only.
    bool saveCanPortsToFile(const QVariantList& list, bool applyConfig);

    /// Takes the first port of that name out of the port file.
    bool removeCanPortFromFile(const QString& name);

    QString lastError() const { return _lastError; }
    void setLastError(const QString& text) { _lastError = text; }

    /// "appInfo/backupFile/canConfig.json" below the folder of the program, unless set.
    QString configFile() const { return _configFile; }
    void setConfigFile(const QString& path) { _configFile = path; }

    // The request in progress. Only kept here, for the daemon.
    qint64 getRequstHandle() const { return _requstHandle; }
    void setRequstHandle(qint64 handle) { _requstHandle = handle; }
    qint32 getRequstNumber() const { return _requstNumber; }
    void setRequstNumber(qint32 number) { _requstNumber = number; }
    QVariantMap getRequstMap() const { return _requstMap; }
    void setRequstMap(const QVariantMap& map) { _requstMap = map; }

public slots:
    /// Hands a frame on: sigMsg and sigFrame.
    void slotReadyRead(const QVariantMap& map);

signals:
    void sigClose(const QVariantMap& map);
    void sigOpen(const QVariantMap& map);
    void sigWrite(const QVariantMap& map);
    void sigRead();
    /// Ends a request: 0 and no text, or -1 and what went wrong.
    void sigFinished(int ret, const QString& errorStr);
    /// A received frame: { "type": "canRevData" } and the frame as JSON text. JSON holds text, so
    /// "data" is read as UTF-8 there: bytes that are none come out as U+FFFD.
    void sigMsg(const QVariantMap& jsonMap, const QByteArray& bytes);
    /// The same frame as it left CanDevice, every byte of its data intact.
    void sigFrame(const QVariantMap& map);

protected:
    QMap<QString, CanDevice*> _canDevices; ///< one for each port ever opened; never shrinks
    QMap<QString, SocketCan*> _socketCans; ///< released by the destructor; nothing adds to it

private:
    CanDevice* makeDevice(const QString& name);
    CanDevice* requestedDevice(const QVariantMap& map);
    bool isOpen(const QString& name) const;
    void open(const QVariantMap& map);
    void close(const QVariantMap& map);
    void write(const QVariantMap& map);
    void finish(bool isDone, const CanDevice& device);
    void configureAll(const QVariantList& list);

    QString _configFile;
    QString _lastError;
    qint64 _requstHandle = 0;
    qint32 _requstNumber = 0;
    QVariantMap _requstMap;
};
