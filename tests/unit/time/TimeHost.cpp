#include "TimeHost.h"

#include "host/PublicClass.h"
#include "recorded/RecordedHost.h"

#include <QDir>
#include <QFile>
#include <QSettings>

namespace {

constexpr char kSettingsFile[] = "appInfo/setting/WirelessCard.ini";

QStringList& lines()
{
    static QStringList lines;
    return lines;
}

QtMessageHandler otherLines = nullptr;

void keepLine(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (QByteArray(context.category) == "ky.time")
        lines() << text;
    else if (otherLines)
        otherLines(type, context, text);
}

} // namespace

TimeHost::TimeHost()
    : _before(QDir::currentPath())
{
    QDir::setCurrent(_folder.path());
    QDir().mkpath(QStringLiteral("appInfo/setting"));
    PublicClass::init()->halShPath = script();
    RecordedHost::instance().reset();
    lines().clear();
    otherLines = qInstallMessageHandler(keepLine);
}

TimeHost::~TimeHost()
{
    qInstallMessageHandler(otherLines);
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
    return lines();
}

QString TimeHost::logLine(const QString& text)
{
    const QStringList found = lines().filter(text);
    return found.isEmpty() ? QString() : found.last();
}
