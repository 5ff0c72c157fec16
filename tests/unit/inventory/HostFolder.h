#pragma once

#include "host/PublicClass.h"
#include "recorded/RecordedHost.h"
#include "support/HostRoot.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

/// A folder in the place of "/", with recorded commands and no board, no script.
class HostFolder
{
public:
    HostFolder()
    {
        RecordedHost::instance().reset();
        PublicClass::init()->hardwareType = -1;
        PublicClass::init()->halShPath = path(QStringLiteral("/hal.sh"));
    }
    ~HostFolder() { PublicClass::init()->halShPath.clear(); }
    HostFolder(const HostFolder&) = delete;
    HostFolder& operator=(const HostFolder&) = delete;

    QString path(const QString& absolute) const { return _folder.path() + absolute; }

    void write(const QString& absolute, const QByteArray& content) const
    {
        QDir().mkpath(path(absolute.section(QLatin1Char('/'), 0, -2)));
        QFile file(path(absolute));
        if (file.open(QIODevice::WriteOnly))
            file.write(content);
    }
    /// The content, or "(absent)".
    QByteArray read(const QString& absolute) const
    {
        QFile file(path(absolute));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(absent)");
    }
    void makeScript(bool isExecutable = true) const
    {
        write(QStringLiteral("/hal.sh"), "#!/bin/sh\n");
        QFile::Permissions mode = QFile::ReadOwner | QFile::WriteOwner;
        QFile::setPermissions(path(QStringLiteral("/hal.sh")),
                              isExecutable ? mode | QFile::ExeOwner : mode);
    }

private:
    QTemporaryDir _folder;
    ky::HostRoot _root{_folder.path()};
};

inline QByteArray capture(const char* name)
{
    QFile file(QStringLiteral(KY_TEST_DATA "/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no capture)");
}
