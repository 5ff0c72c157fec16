#include "host/KyFileManager.h"

#include "host/PublicClass.h"

#include <QFileInfo>

KyFileManager* KyFileManager::init()
{
    static KyFileManager instance;
    return &instance;
}

bool KyFileManager::hasExecutePermission(const QString& path)
{
    const QFileInfo file(path);
    return file.isFile() && file.isExecutable();
}

QVariant KyFileManager::readJsonFile(const QString& path)
{
    return PublicClass::init()->getJsonVariant(path);
}

bool KyFileManager::writeJsonFile(const QString& path, const QVariant& value,
                                  QJsonDocument::JsonFormat format)
{
    return PublicClass::init()->writeJsonFile(path, value, format);
}
