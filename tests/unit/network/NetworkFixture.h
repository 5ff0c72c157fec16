#pragma once

#include "host/PublicClass.h"
#include "network/NetworkSettings.h"
#include "network/SystemNetwork.h"
#include "recorded/RecordedHost.h"
#include "support/HostPaths.h"
#include "support/HostRoot.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QSettings>
#include <QTemporaryDir>

/// The class with its members in the open.
class OpenNetwork : public SystemNetwork
{
public:
    using SystemNetwork::_aLXB10NetworkCardName;
    using SystemNetwork::_autoConnectSSIDTimer;
    using SystemNetwork::_autoConnectWaitTime;
    using SystemNetwork::_autoSwitchBestAPSignal;
    using SystemNetwork::_disconnectionMethod;
    using SystemNetwork::_hmiIp;
    using SystemNetwork::_isDisableWirelessNetworkCard;
    using SystemNetwork::_isDisconnectionSendError;
    using SystemNetwork::_isEnabledRoaming;
    using SystemNetwork::_isResetWirelessNetworkCard;
    using SystemNetwork::_isSwitchOnlyTo5G;
    using SystemNetwork::_networkCardNames;
    using SystemNetwork::_networkCards;
    using SystemNetwork::_pingIp;
    using SystemNetwork::_pingUrl;
    using SystemNetwork::_reservedTimer;
    using SystemNetwork::_startScanningSignal;
    using SystemNetwork::_switchingSignal;
    using SystemNetwork::_wiredCardName;
    using SystemNetwork::_wiredMacName;
    using SystemNetwork::_wiredNetInfo;
    using SystemNetwork::_wirelessCardName;
    using SystemNetwork::_wirelessUUID;
    using SystemNetwork::SystemNetwork;
};

/// A host of its own for one test: an empty working directory, which also stands in the place of
/// "/", and commands that are recorded. The board is unknown (-2), so that a SystemNetwork made
/// without more ado asks for nothing.
class NetworkFixture
{
public:
    NetworkFixture()
        : _before(QDir::currentPath())
        , _root(_home.path())
    {
        QDir::setCurrent(_home.path());
        QDir().mkpath(profileFolder());
        QLoggingCategory::setFilterRules(QStringLiteral("ky.network=false"));
        RecordedHost::instance().reset();
        PublicClass::init()->hardwareType = -2;
        PublicClass::init()->settingsFile = path(QStringLiteral("main.ini"));
    }
    ~NetworkFixture() { QDir::setCurrent(_before); }

    RecordedHost& host() { return RecordedHost::instance(); }
    QString path(const QString& name) const { return _home.filePath(name); }
    QString profileFolder() const { return ky::hostPath(ky::paths::kNetworkManagerProfiles); }

    void write(const QString& file, const QByteArray& content)
    {
        QDir().mkpath(QFileInfo(file).absolutePath());
        QFile out(file);
        if (!out.open(QIODevice::WriteOnly) || out.write(content) != content.size())
            qFatal("cannot write %s", qUtf8Printable(file));
    }
    QByteArray read(const QString& file) const
    {
        QFile in(file);
        return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
    }
    void writeProfile(const QString& name, const QByteArray& content)
    {
        write(profileFolder() + QLatin1Char('/') + name, content);
    }
    QStringList profiles() const
    {
        return QDir(profileFolder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
    void set(const char* key, const QVariant& value)
    {
        PublicClass::init()->writeIni(QLatin1String(ky::settings::kFile), QLatin1String(key),
                                      value);
    }
    QVariant setting(const char* key) const
    {
        return PublicClass::init()->readIni(QLatin1String(ky::settings::kFile), QLatin1String(key));
    }

    /// Content of a captured output; it must be there.
    static QString capture(const QString& name)
    {
        QFile in(QStringLiteral(KY_TEST_DATA "/") + name);
        if (!in.open(QIODevice::ReadOnly))
            qFatal("no capture %s", qUtf8Printable(name));
        return QString::fromUtf8(in.readAll());
    }

private:
    QTemporaryDir _home;
    QString _before;
    ky::HostRoot _root;
};

/// Texts that no parser may stumble over: nothing, a line of 1 MiB, many short lines, noise.
inline QStringList hostileTexts()
{
    QByteArray noise(64 * 1024, '\0');
    quint32 state = 1;
    for (char& c : noise) {
        state = state * 1664525 + 1013904223;
        c = char(state >> 24);
    }
    return {QString(),
            QString(1 << 20, QLatin1Char('x')),
            QString(1 << 20, QLatin1Char(' ')),
            QStringLiteral("a=b\t: ").repeated(1 << 17),
            QString(1 << 16, QLatin1Char('\n')),
            QString::fromUtf8(noise),
            QString::fromLatin1(noise)};
}
