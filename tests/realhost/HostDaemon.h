#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

namespace site {

/// What a run of `kyctl --json` said.
struct CtlAnswer
{
    int status = -1;
    QJsonObject json;
    QString error; ///< standard error
};

/// A `kyhostd` with link supervision permitted, in a home of its own, and the `kyctl` that talks
/// to it over the loopback.
class HostDaemon
{
public:
    /// Starts it with lines for the group WirelessCard of the network's settings, and waits until
    /// it answers.
    explicit HostDaemon(const QStringList& settings = {});
    ~HostDaemon();
    Q_DISABLE_COPY(HostDaemon)

    bool isUp() const { return _isUp; }
    CtlAnswer ctl(const QStringList& words, int limitMs = 90000) const;
    /// What it has logged so far.
    QString log() const;

private:
    QTemporaryDir _home;
    QProcess _process;
    bool _isUp = false;
};

/// The link's reports as `kyctl watch` prints them.
class LinkEvents
{
public:
    LinkEvents();
    ~LinkEvents();
    Q_DISABLE_COPY(LinkEvents)

    /// Waits for a report of this state ("good", "lost") that comes from now on; the milliseconds
    /// that it took, -1 at the limit. Reports that came before do not count.
    int waitFor(const QString& state, int limitMs);

private:
    QStringList take();

    QProcess _watch;
    QByteArray _rest;
};

} // namespace site
