#include "TimeHost.h"

#include "host/PublicClass.h"
#include "recorded/RecordedHost.h"

#include <QDir>
#include <QFile>
#include <QSettings>

namespace {

constexpr char kSettingsFile[] = "appInfo/setting/WirelessCard.ini";

} // namespace

TimeHost::TimeHost()
    : _before(QDir::currentPath())
{
    QDir::setCurrent(_folder.path());
    QDir().mkpath(QStringLiteral("appInfo/setting"));
    PublicClass::init()->halShPath = script();
    RecordedHost::instance().reset();
}

TimeHost::~TimeHost()
{
    PublicClass::init()->halShPath.clear();
    QDir::setCurrent(_before);
}

void TimeHost::writeSettings(const QStringList& settings)
{
    QFile file(QString::fromLatin1(kSettingsFile));
    if (file.open(QIODevice::WriteOnly))
        file.write("[NTP]\n" + settings.join(QLatin1Char('\n')).toUtf8() + '\n');
}

QString TimeHost::stored(const QString& key) const
{
    const QSettings ini(QString::fromLatin1(kSettingsFile), QSettings::IniFormat);
    return ini.value(QStringLiteral("NTP/") + key, QStringLiteral("(absent)")).toString();
}

void TimeHost::makeScript(bool isExecutable)
{
    QFile file(script());
    if (file.open(QIODevice::WriteOnly))
        file.write("#!/bin/sh\n");
    file.setPermissions(isExecutable ? QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
                                     : QFile::ReadOwner | QFile::WriteOwner);
}

void TimeHost::removeScript()
{
    QFile::remove(script());
}

QStringList TimeHost::logLines()
{
    return LogCapture::of("ky.time");
}

QString TimeHost::logLine(const QString& text)
{
    const QStringList found = logLines().filter(text);
    return found.isEmpty() ? QString() : found.last();
}
