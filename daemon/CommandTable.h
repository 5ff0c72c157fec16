#pragma once

#include <QList>
#include <QString>

namespace ky {

/// One row of the command table, as people see it.
struct CommandRow
{
    int number = 0;
    QString name;
    QString summary;
};

/// The rows of one port in the database at `path`, by number. Empty if it cannot be read.
QList<CommandRow> readCommandRows(const QString& path, int port);

} // namespace ky
