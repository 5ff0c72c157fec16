#pragma once

#include <QStringList>
#include <QVariantList>

#include <functional>

/// The records of the two port files, as values: maps with at least "portName". What is no map
/// stays in a list as it is.
namespace ky {

/// The records that a port file holds; empty for anything but a list.
QVariantList portRecords(const QVariant& fileContent);

/// Takes the first record of that "portName" out of the list; false if there is none.
bool takePort(QVariantList& records, const QString& portName);

struct CanInterface
{
    QString name;
    bool isUpAndRunning = false;
};

/// The saved ports with the state of their interface (1 up and running, -1 present; untouched
/// without an interface), then the interfaces that are not saved, with state 0 whatever theirs.
/// "isOpen" becomes true where `isOpen` says so for the record's "name", which is not "portName".
QVariantList mergeCanPorts(const QVariantList& saved, const QVector<CanInterface>& present,
                           const std::function<bool(const QString&)>& isOpen);

/// The saved ports with "state" (1 known and present, 0 present but without "baudRate", -1 absent),
/// then the present ones that are not saved, with state 0.
QVariantList mergeSerialPorts(const QVariantList& saved, const QStringList& present);

} // namespace ky
