#include "ports/PortRecords.h"

#include <QHash>
#include <QVariantMap>
#include <QVector>

#include <algorithm>

namespace ky {

namespace {

QString nameOf(const QVariant& record)
{
    return record.toMap().value(QStringLiteral("portName")).toString();
}

bool isRecord(const QVariant& entry)
{
    return entry.type() == QVariant::Map;
}

int indexOf(const QVariantList& records, const QString& portName)
{
    const auto found = std::find_if(records.begin(), records.end(), [&](const QVariant& entry) {
        return isRecord(entry) && nameOf(entry) == portName;
    });
    return found == records.end() ? -1 : int(found - records.begin());
}

void set(QVariant& record, const QString& key, const QVariant& value)
{
    QVariantMap map = record.toMap();
    map.insert(key, value);
    record = map;
}

void setState(QVariant& record, int state)
{
    set(record, QStringLiteral("state"), state);
}

QVariantMap unsavedPort(const QString& portName)
{
    return {{QStringLiteral("portName"), portName}, {QStringLiteral("state"), 0}};
}

void takeStateOf(QVariant& record, QVector<CanInterface>& present)
{
    const QString name = nameOf(record);
    const auto found = std::find_if(present.begin(), present.end(),
                                    [&](const CanInterface& card) { return card.name == name; });
    if (found == present.end())
        return;
    setState(record, found->isUpAndRunning ? 1 : -1);
    present.erase(found);
}

/// The records of one name.
struct SavedName
{
    int first = 0; ///< place of the first; the state goes there
    int left = 0;  ///< how many no port of the host has been found for
};

QHash<QString, SavedName> namesOf(const QVariantList& records)
{
    QHash<QString, SavedName> names;
    for (int i = 0; i < records.size(); ++i) {
        if (!isRecord(records[i]))
            continue;
        SavedName& name = names[nameOf(records[i])];
        if (name.left++ == 0)
            name.first = i;
    }
    return names;
}

int presentState(const QVariant& record)
{
    return record.toMap().contains(QStringLiteral("baudRate")) ? 1 : 0;
}

} // namespace

QVariantList portRecords(const QVariant& fileContent)
{
    return fileContent.type() == QVariant::List ? fileContent.toList() : QVariantList();
}

bool takePort(QVariantList& records, const QString& portName)
{
    const int index = indexOf(records, portName);
    if (index < 0)
        return false;
    records.removeAt(index);
    return true;
}

QVariantList mergeCanPorts(const QVariantList& saved, const QVector<CanInterface>& present,
                           const std::function<bool(const QString&)>& isOpen)
{
    QVariantList ports = saved;
    QVector<CanInterface> unsaved = present;
    for (QVariant& port : ports) {
        if (isRecord(port))
            takeStateOf(port, unsaved);
    }
    for (const CanInterface& card : unsaved)
        ports.append(unsavedPort(card.name));
    for (QVariant& port : ports) {
        if (isRecord(port) && isOpen(port.toMap().value(QStringLiteral("name")).toString()))
            set(port, QStringLiteral("isOpen"), true);
    }
    return ports;
}

QVariantList mergeSerialPorts(const QVariantList& saved, const QStringList& present)
{
    QVariantList ports = saved;
    QHash<QString, SavedName> names = namesOf(saved);
    for (const QString& name : present) {
        const auto known = names.find(name);
        if (known == names.end() || known->left == 0) {
            ports.append(unsavedPort(name));
            continue;
        }
        --known->left;
        QVariant& port = ports[known->first];
        setState(port, presentState(port));
    }
    // A name that is saved twice has one record left here though its port is present: -1 then.
    for (const SavedName& name : qAsConst(names)) {
        if (name.left > 0)
            setState(ports[name.first], -1);
    }
    return ports;
}

} // namespace ky
