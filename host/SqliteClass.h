#pragma once

#include <QMap>
#include <QString>

/// The tables of command numbers and error texts.
///
/// Ours come from the SQLite file "appInfo/commands.db" of the working directory, read once by
/// the first init(). A host may fill the two tables itself instead: every look-up answers from
/// them.
///
/// Thread: look-ups from any thread, as long as nothing writes the tables.
class Q_DECL_EXPORT SqliteClass
{
public:
    /// The one instance, made on first use. A database that is missing is made first, if the
    /// process carries its SQL as resources (":/kynetwork/sql/NN-name.sql"); one that cannot be
    /// read leaves both tables empty, and getLastError() tells why.
    static SqliteClass* init();

    SqliteClass(const SqliteClass&) = delete;
    SqliteClass& operator=(const SqliteClass&) = delete;

    /// Number of the command of that name on that port; 0 if there is none.
    int commandInt(int port, const QString& name);
    /// Name of a command number on that port, the first one in the order of names; empty if none.
    QString commandString(int port, int command);
    /// Text of an error code; empty if it is not in the table.
    QString getErrorCommandValue(int code);
    /// Why the database could not be read, or what the last look-up did not find.
    QString getLastError() const;

    QMap<int, QMap<QString, int>> portCommands; ///< port → command name → number
    QMap<int, QString> errorCommands;           ///< error code → text

private:
    SqliteClass();
    ~SqliteClass();
};
