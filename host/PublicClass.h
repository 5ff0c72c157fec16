#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QString>
#include <QVariant>

/// What the host gives to every part of the library: commands, JSON and INI files, and the facts
/// that the daemon knows of its controller.
///
/// Thread: every operation may be called from any thread, several at once. The fields are plain
/// data: the daemon fills them before it makes the first object of the library, which itself
/// writes the three `wifi…` fields only.
class Q_DECL_EXPORT PublicClass
{
public:
    /// The one instance, made on first use.
    static PublicClass* init();

    PublicClass(const PublicClass&) = delete;
    PublicClass& operator=(const PublicClass&) = delete;

    /// Runs one shell command line (`/bin/sh -c`) in a process group of its own and blocks until
    /// the shell ends or `timeoutMs` milliseconds have passed; then the whole group is killed.
    /// Standard input is empty. A job that the line leaves in the background lives on.
    /// True: the shell ended with status 0, or the line ends in a `grep` that found nothing;
    /// `output` holds its standard output, read as UTF-8 and untouched (at most 64 MiB of it).
    /// False: `output` holds the failure: standard error, else standard output, else a sentence
    /// with the exit status, the signal or the time limit.
    /// `wait` changes nothing: the call blocks in either case.
    bool processCmd(const QString& command, QString& output, int timeoutMs, bool wait);

    /// The same for a command of the platform script, whose path is the first word of `command`.
    bool cmdHalSh(const QString& command, QString& output, int timeoutMs);

    /// Sleeps that many whole seconds in the calling thread.
    void waitSTime(int seconds);

    /// The value of a JSON text, invalid if it does not parse.
    QVariant getJsonVariant(const QByteArray& text);
    /// The value of a JSON file, invalid if it is missing or does not parse.
    QVariant getJsonVariant(const QString& path);
    /// JSON text of a map, a list or a single value (number, text, boolean, null); the format
    /// matters for maps and lists only. Empty for an invalid variant and for a type JSON does not
    /// have.
    QByteArray qVariantToByteArray(const QVariant& value,
                                   const QJsonDocument::JsonFormat& format) const;
    /// Whether the text is a JSON document (an object or a list).
    bool isJson(const QByteArray& text);
    /// Writes the value as JSON, replacing the file as a whole; owner and mode are kept, a missing
    /// folder is made. False if the value is no document or the file cannot be written.
    bool writeJsonFile(const QString& path, const QVariant& value,
                       QJsonDocument::JsonFormat format);

    /// One value of an INI file, invalid if it is not there. A relative path counts from the
    /// working directory.
    QVariant readIni(const QString& file, const QString& key);
    /// Stores one value at once, replacing the file as a whole; everything else in it, the owner
    /// and the mode stay, and a new file gets the mode 0600, since settings hold pass phrases. What
    /// it writes lies in the folder of the file alone. False, and the file as it was, if the value
    /// cannot be stored or would not be read back, or if another process keeps the file locked, as
    /// QSettings does while it saves, for more than 10 s.
    bool writeIni(const QString& file, const QString& key, const QVariant& value);

    /// Makes sure that the folder exists and can be written to.
    bool remakePath(const QString& path);

    /// Counts the one bits of a dotted netmask ("255.255.255.0" gives 24). False for a text that
    /// is no netmask: not four numbers, or ones behind a zero. `bits` is then left alone.
    bool getMask1Bits(const QString& mask, int& bits);

    QString applicationDir;          ///< application directory, above "appInfo"
    QString dataDir;                 ///< root of the daemon's work files; uploads go below it
    QString settingsFile;            ///< path of the daemon's main settings file (INI)
    QString version;                 ///< software version, as reported
    QString halShPath;               ///< platform script; in use while the file may be executed
    qint32 hardwareType = -1;        ///< board family; negative when none is known
    QString tbxName;                 ///< controller model
    bool autoConnectEnabled = false; ///< whether link supervision may start
    bool autoConnectPaused = false;  ///< while true, link supervision only waits
    QString wifiSsid;                ///< SSID of the current or configured Wi-Fi
    QString wifiPassword;            ///< its pass phrase
    bool wifiNonBroadcast = false;   ///< whether it is a hidden network

private:
    PublicClass();
    ~PublicClass();
};
