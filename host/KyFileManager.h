#pragma once

#include <QJsonDocument>
#include <QString>
#include <QVariant>

/// Files, as the host sees them. Thread: any.
class Q_DECL_EXPORT KyFileManager
{
public:
    /// The one instance, made on first use.
    static KyFileManager* init();

    KyFileManager(const KyFileManager&) = delete;
    KyFileManager& operator=(const KyFileManager&) = delete;

    /// Whether `path` is a file that exists and that this process may execute.
    bool hasExecutePermission(const QString& path);
    /// The value of a JSON file, invalid if it is missing or does not parse.
    QVariant readJsonFile(const QString& path);
    /// Writes the value as JSON, replacing the file as a whole; owner and mode are kept, a missing
    /// folder is made.
    bool writeJsonFile(const QString& path, const QVariant& value,
                       QJsonDocument::JsonFormat format);

private:
    KyFileManager() = default;
    ~KyFileManager() = default;
};
