#include "daemon/CommandTable.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

namespace ky {

namespace {

constexpr char kConnection[] = "kyhostd-summaries";

QList<CommandRow> readRows(QSqlDatabase database, int port)
{
    QList<CommandRow> rows;
    QSqlQuery query(database);
    query.prepare(QStringLiteral("SELECT number, name, summary FROM commands WHERE port = ? "
                                 "ORDER BY number, name"));
    query.addBindValue(port);
    query.exec();
    while (query.next())
        rows << CommandRow{query.value(0).toInt(), query.value(1).toString(),
                           query.value(2).toString()};
    return rows;
}

} // namespace

QList<CommandRow> readCommandRows(const QString& path, int port)
{
    QList<CommandRow> rows;
    {
        QSqlDatabase database =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QLatin1String(kConnection));
        database.setDatabaseName(path);
        database.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (database.open())
            rows = readRows(database, port);
        database.close();
    }
    QSqlDatabase::removeDatabase(QLatin1String(kConnection));
    return rows;
}

} // namespace ky
