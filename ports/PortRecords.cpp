#include "ports/PortRecords.h"

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
    QVariantList absent = saved;
    for (const QString& name : present) {
        if (!takePort(absent, name)) {
            ports.append(unsavedPort(name));
            continue;
        }
        QVariant& port = ports[indexOf(ports, name)];
        setState(port, presentState(port));
    }
    // A name that is saved twice has one record left here though its port is present: -1 then.
    for (const QVariant& entry : qAsConst(absent)) {
        if (isRecord(entry))
            setState(ports[indexOf(ports, nameOf(entry))], -1);
    }
    return ports;
}

} // namespace ky
