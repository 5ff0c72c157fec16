#include "host/CommandDatabase.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>
#include <QtEndian>

#include <atomic>

namespace ky {

namespace {

/// A connection under a name of its own, gone with its scope.
class Connection
{
public:
    explicit Connection(const QString& path)
        : _name(QStringLiteral("ky-commands-%1").arg(++_count))
    {
        _database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), _name);
        _database.setDatabaseName(path);
        _database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
    }
    ~Connection()
    {
        _database.close();
        _database = QSqlDatabase();
        QSqlDatabase::removeDatabase(_name);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    QSqlDatabase& database() { return _database; }

private:
    static std::atomic<int> _count;
    QString _name;
    QSqlDatabase _database;
};

std::atomic<int> Connection::_count{0};

QStringList statementsOf(const QByteArray& sql)
{
    QStringList statements;
    QString statement;
    const QStringList lines = QString::fromUtf8(sql).split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1String("--")))
            continue;
        statement += line + QLatin1Char('\n');
        if (line.endsWith(QLatin1Char(';'))) {
            statements << statement;
            statement.clear();
        }
    }
    if (!statement.trimmed().isEmpty())
        statements << statement;
    return statements;
}

struct Schema
{
    QStringList statements;
    int version = 0; ///< a digest of all texts, kept in the file as its user_version
};

Schema readSchema(const QString& folder)
{
    Schema schema;
    QCryptographicHash hash(QCryptographicHash::Sha256);
    const QDir texts(folder);
    for (const QString& name :
         texts.entryList({QStringLiteral("*.sql")}, QDir::Files, QDir::Name)) {
        QFile file(texts.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray sql = file.readAll();
        hash.addData(sql);
        schema.statements += statementsOf(sql);
    }
    schema.version = int(qFromBigEndian<quint32>(hash.result().constData()) & 0x7fffffff);
    return schema;
}

bool run(QSqlDatabase& database, const QString& statement, QString* error)
{
    QSqlQuery query(database);
    if (query.exec(statement))
        return true;
    *error = query.lastError().text();
    return false;
}

/// -1 if the file does not answer.
int versionOf(QSqlDatabase& database, QString* error)
{
    QSqlQuery version(database);
    if (version.exec(QStringLiteral("PRAGMA user_version")) && version.next())
        return version.value(0).toInt();
    *error = version.lastError().text();
    return -1;
}

bool applySchema(QSqlDatabase& database, const Schema& schema, QString* error)
{
    if (!database.transaction()) {
        *error = database.lastError().text();
        return false;
    }
    for (const QString& statement : schema.statements) {
        if (!run(database, statement, error)) {
            database.rollback();
            return false;
        }
    }
    return run(database, QStringLiteral("PRAGMA user_version = %1").arg(schema.version), error) &&
           database.commit();
}

bool readTables(QSqlDatabase& database, CommandTables* tables)
{
    QSqlQuery commands(QStringLiteral("SELECT port, name, number FROM commands"), database);
    QSqlQuery errors(QStringLiteral("SELECT code, text FROM errors"), database);
    for (const QSqlQuery* query : {&commands, &errors}) {
        if (!query->isActive()) {
            tables->error = query->lastError().text();
            return false;
        }
    }
    while (commands.next())
        tables->portCommands[commands.value(0).toInt()].insert(commands.value(1).toString(),
                                                               commands.value(2).toInt());
    while (errors.next())
        tables->errorCommands.insert(errors.value(0).toInt(), errors.value(1).toString());
    return true;
}

/// What a file that is made from the texts alone would hold.
CommandTables shippedTables(const Schema& schema)
{
    CommandTables tables;
    Connection connection(QStringLiteral(":memory:"));
    if (connection.database().open() && applySchema(connection.database(), schema, &tables.error))
        readTables(connection.database(), &tables);
    return tables;
}

bool lacksRows(const CommandTables& tables, const CommandTables& shipped)
{
    for (auto port = shipped.portCommands.cbegin(); port != shipped.portCommands.cend(); ++port) {
        const QMap<QString, int> known = tables.portCommands.value(port.key());
        for (auto row = port->cbegin(); row != port->cend(); ++row) {
            if (!known.contains(row.key()))
                return true;
        }
    }
    return false;
}

CommandTables failed(const QString& path, const QString& reason)
{
    CommandTables none;
    none.error = QStringLiteral("command database [%1]: %2").arg(path, reason);
    return none;
}

} // namespace

CommandTables loadCommandTables(const QString& path, const QString& sqlFolder)
{
    const Schema schema = readSchema(sqlFolder);
    // Opening would make an empty file, which the next start could not tell from a broken one.
    if (!QFile::exists(path) && schema.statements.isEmpty())
        return failed(path, QStringLiteral("no such file"));
    QDir().mkpath(QFileInfo(path).absolutePath());

    Connection connection(path);
    if (!connection.database().open())
        return failed(path, connection.database().lastError().text());
    CommandTables tables;
    const int version = versionOf(connection.database(), &tables.error);
    if (version < 0)
        return failed(path, tables.error);
    const bool isShipped = !schema.statements.isEmpty();
    if (isShipped && version != schema.version &&
        !applySchema(connection.database(), schema, &tables.error))
        return failed(path, tables.error);
    if (!readTables(connection.database(), &tables))
        return failed(path, tables.error);
    // A row that somebody took out would leave a command without its number.
    if (isShipped && lacksRows(tables, shippedTables(schema)) &&
        !(applySchema(connection.database(), schema, &tables.error) &&
          readTables(connection.database(), &tables)))
        return failed(path, tables.error);
    return tables;
}

} // namespace ky
