#include "daemon/CommandTable.h"

#include "commands/Catalogue.h"

#include <QFile>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace ky {

namespace {

constexpr char kConnection[] = "kyhostd-commands";

constexpr char kMakeCommands[] =
    "CREATE TABLE IF NOT EXISTS commands (port INTEGER NOT NULL, name TEXT NOT NULL, "
    "number INTEGER NOT NULL, summary TEXT NOT NULL DEFAULT '', PRIMARY KEY (port, name))";
constexpr char kMakeErrors[] =
    "CREATE TABLE IF NOT EXISTS errors (code INTEGER PRIMARY KEY, text TEXT NOT NULL)";
constexpr char kAddCommand[] =
    "INSERT OR IGNORE INTO commands (port, name, number, summary) VALUES (?, ?, ?, ?)";
constexpr char kAddError[] = "INSERT OR IGNORE INTO errors (code, text) VALUES (?, ?)";

QList<QVariantList> commandRows()
{
    QList<QVariantList> rows;
    for (const CommandGroup* group : commandGroups()) {
        for (const Command& row : group->rows)
            rows << QVariantList{row.port, QLatin1String(row.name), row.number,
                                 QString::fromUtf8(row.summary)};
    }
    return rows;
}

QList<QVariantList> errorRows()
{
    QList<QVariantList> rows;
    for (const CommandGroup* group : commandGroups()) {
        for (const ErrorText& error : group->errors)
            rows << QVariantList{error.code, QString::fromUtf8(error.text)};
    }
    return rows;
}

/// The first column of a query, with the second one behind a colon if there is one.
QSet<QString> keysOf(QSqlQuery query)
{
    QSet<QString> keys;
    while (query.next())
        keys.insert(query.value(0).toString() + QLatin1Char(':') + query.value(1).toString());
    return keys;
}

bool lacksRows(const QSqlDatabase& database)
{
    const QSet<QString> commands =
        keysOf(QSqlQuery(QStringLiteral("SELECT port, name FROM commands"), database));
    const QSet<QString> errors =
        keysOf(QSqlQuery(QStringLiteral("SELECT code, '' FROM errors"), database));
    for (const CommandGroup* group : commandGroups()) {
        for (const Command& row : group->rows) {
            if (!commands.contains(
                    QStringLiteral("%1:%2").arg(row.port).arg(QLatin1String(row.name))))
                return true;
        }
        for (const ErrorText& error : group->errors) {
            if (!errors.contains(QStringLiteral("%1:").arg(error.code)))
                return true;
        }
    }
    return false;
}

bool isReadable(const QSqlDatabase& database)
{
    QSqlQuery query(database);
    return query.exec(QStringLiteral("PRAGMA schema_version")) && query.next();
}

bool add(QSqlQuery& query, const char* statement, const QList<QVariantList>& rows)
{
    if (!query.prepare(QLatin1String(statement)))
        return false;
    for (const QVariantList& row : rows) {
        for (int i = 0; i < row.size(); ++i)
            query.bindValue(i, row[i]);
        if (!query.exec())
            return false;
    }
    return true;
}

/// Empty on success, else the database's words.
QString addRows(QSqlDatabase& database)
{
    if (!database.transaction())
        return database.lastError().text();
    QSqlQuery query(database);
    const bool isDone =
        query.exec(QLatin1String(kMakeCommands)) && query.exec(QLatin1String(kMakeErrors)) &&
        add(query, kAddCommand, commandRows()) && add(query, kAddError, errorRows());
    const QString reason = query.lastError().text();
    query.finish();
    if (isDone && database.commit())
        return {};
    const QString commitReason = database.lastError().text();
    database.rollback();
    return isDone ? commitReason : reason;
}

QString provideRows(const QString& path)
{
    QSqlDatabase database =
        QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QLatin1String(kConnection));
    database.setDatabaseName(path);
    database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
    if (!database.open())
        return database.lastError().text();
    return isReadable(database) && lacksRows(database) ? addRows(database) : QString();
}

} // namespace

QString provideCommandTable(const QString& path)
{
    const QString reason = provideRows(path);
    QSqlDatabase::removeDatabase(QLatin1String(kConnection));
    return reason.isEmpty() ? QString()
                            : QStringLiteral("command database [%1]: %2").arg(path, reason);
}

} // namespace ky
