#include "host/SqliteClass.h"

#include "host/CommandDatabase.h"

#include <QMutex>

namespace {

QMutex& errorMutex()
{
    static QMutex mutex;
    return mutex;
}

QString& lastErrorText()
{
    static QString text;
    return text;
}

void setLastLookupError(const QString& text)
{
    const QMutexLocker locker(&errorMutex());
    lastErrorText() = text;
}

} // namespace

SqliteClass::SqliteClass()
{
    const ky::CommandTables tables = ky::loadCommandTables(QStringLiteral("appInfo/commands.db"),
                                                           QStringLiteral(":/kynetwork/sql"));
    portCommands = tables.portCommands;
    errorCommands = tables.errorCommands;
    setLastLookupError(tables.error);
}

SqliteClass::~SqliteClass() = default;

SqliteClass* SqliteClass::init()
{
    static SqliteClass instance;
    return &instance;
}

int SqliteClass::commandInt(int port, const QString& name)
{
    const auto commands = portCommands.constFind(port);
    const int number = commands == portCommands.constEnd() ? 0 : commands->value(name);
    if (number == 0)
        setLastLookupError(
            QStringLiteral("command [%1]: not in the table of port %2").arg(name).arg(port));
    return number;
}

QString SqliteClass::commandString(int port, int command)
{
    const auto commands = portCommands.constFind(port);
    const QString name = commands == portCommands.constEnd() ? QString() : commands->key(command);
    if (name.isEmpty())
        setLastLookupError(
            QStringLiteral("command [%1]: not in the table of port %2").arg(command).arg(port));
    return name;
}

QString SqliteClass::getErrorCommandValue(int code)
{
    const auto text = errorCommands.constFind(code);
    if (text != errorCommands.constEnd())
        return *text;
    setLastLookupError(QStringLiteral("error code [%1]: not in the table").arg(code));
    return {};
}

QString SqliteClass::getLastError() const
{
    const QMutexLocker locker(&errorMutex());
    return lastErrorText();
}
