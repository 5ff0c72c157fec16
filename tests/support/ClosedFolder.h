#pragma once

#include <QFile>
#include <QString>

#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

/// A folder that takes no new file and lets none go while this lives. Modes do not bind root, so
/// this thread, and those that it starts, lay down the right to pass over them.
class ClosedFolder
{
public:
    explicit ClosedFolder(const QString& folder)
        : _folder(QFile::encodeName(folder))
    {
        if (syscall(SYS_capget, &_header, _before) != 0)
            qFatal("the capabilities of this program cannot be read");
        __user_cap_data_struct less[2] = {_before[0], _before[1]};
        less[0].effective &= ~(1U << CAP_DAC_OVERRIDE);
        if (chmod(_folder.constData(), 0555) != 0 || syscall(SYS_capset, &_header, less) != 0)
            qFatal("the folder cannot be closed");
    }
    ~ClosedFolder()
    {
        if (syscall(SYS_capset, &_header, _before) != 0 || chmod(_folder.constData(), 0755) != 0)
            qFatal("the folder cannot be opened again");
    }
    ClosedFolder(const ClosedFolder&) = delete;
    ClosedFolder& operator=(const ClosedFolder&) = delete;

private:
    QByteArray _folder;
    __user_cap_header_struct _header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct _before[2] = {};
};
