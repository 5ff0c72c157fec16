#pragma once

#include <QObject>
#include <QString>

/// Base of the objects that a daemon calls: keeps the text of the last failure.
///
/// Thread: that of the object; the text has no lock.
class Q_DECL_EXPORT BaseObject : public QObject
{
    Q_OBJECT

public:
    explicit BaseObject(QObject* parent = nullptr);
    ~BaseObject() override;

    /// What went wrong last: the words of a failed command, or a fixed sentence. It stays until
    /// the next failure, so it is read after a false result only.
    QString getLastError() const;
    void setLastError(const QString& text);

private:
    QString _lastError;
};
