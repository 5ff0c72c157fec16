#pragma once

#include <QMap>
#include <QString>

namespace ky {

/// The content of a command database, or why there is none.
struct CommandTables
{
    QMap<int, QMap<QString, int>> portCommands;
    QMap<int, QString> errorCommands;
    QString error; ///< empty on success; both tables are empty otherwise
};

/// Reads the database at `path`. A missing one is made from the SQL texts of the resource folder
/// `sqlFolder`, in the order of their names; one that was made from other texts takes the rows
/// that are new and keeps the rows that it has. Without any text in the process an existing file
/// is only read.
CommandTables loadCommandTables(const QString& path, const QString& sqlFolder);

} // namespace ky
