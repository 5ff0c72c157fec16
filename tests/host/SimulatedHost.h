#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/// A simulated host for a test: the host's tools are stand-ins, its files are private copies.
///
/// There are two ways to use it. A test that starts a program, such as the daemon, creates a host,
/// starts the program on it and looks at the command lines that arrived:
///
///     SimulatedHost host;
///     host.start(KYHOSTD, {"--home", home});
///     host.set("ap2.level", "-80");
///     QTRY_VERIFY(host.lines().contains("sudo wpa_cli -i wlan0 roam 02:00:00:00:01:00"));
///
/// A test that calls the library directly is registered with ky_host_test(), which runs the whole
/// test program on a simulated host. It uses that one:
///
///     SimulatedHost host{SimulatedHost::OfThisProcess};
///     void init() { host.reset(); }
///
/// Thread: one. Each call starts the program `hostsim` and blocks until it ends, for about 5 ms.
/// Errors: set(), reset() and the like abort the test program with hostsim's own text, since a
/// test with a wrong path would test nothing.
class SimulatedHost
{
public:
    enum Which
    {
        OfThisProcess
    };

    struct Result
    {
        int status = -1;
        QByteArray output;
        QByteArray error;
    };

    /// One call of a stand-in. The status is -1 until it ends.
    struct Line
    {
        QString line; ///< as a shell would read it
        QStringList arguments;
        int status = -1;
        qint64 startMs = 0;
    };

    /// A new host from a scene file, or from the default scene.
    explicit SimulatedHost(const QString& sceneFile = {});
    explicit SimulatedHost(Which);
    ~SimulatedHost();

    /// Starts over with this scene, or the default one, and an empty log.
    void reset(const QString& sceneFile = {});
    /// `hostsim set`: "ap2.level", "-80".
    void set(const QString& path, const QString& value);
    QString get(const QString& path) const;
    /// `hostsim fault add`: "nmcli", "fail", {"--match", "connection up", "--status", "4"}.
    void addFault(const QString& tool, const QString& kind, const QStringList& options = {});
    void clearFaults();

    /// In the order in which they began.
    QList<Line> calls() const;
    QStringList lines() const;
    void clearLines();

    /// Path of the private copy of a host file such as "/etc/asound.conf".
    QString privatePath(const QString& path) const { return _folder + "/root" + path; }
    /// Path of this host's platform script.
    QString platformScript() const { return _folder + "/bin/platform.sh"; }
    const QString& folder() const { return _folder; }

    /// Runs a shell line on the host and waits for its end. `language` is c, en or zh.
    Result run(const QString& shellLine, const QString& language = "en") const;
    /// Starts a program on the host. process() is the run around it, which passes SIGTERM on and
    /// ends with the program's status. Its channels are the program's.
    void start(const QString& program, const QStringList& arguments,
               const QString& language = "en");
    QProcess& process() { return _process; }
    /// Ends the program with SIGTERM. False if it had to be killed after the limit.
    bool stop(int limitMs = 5000);

private:
    QByteArray hostsim(const QStringList& arguments) const;

    std::unique_ptr<QTemporaryDir> _own;
    QString _folder;
    QString _sceneFile;
    QProcess _process;
};
