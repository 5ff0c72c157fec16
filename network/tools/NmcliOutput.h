#pragma once

#include <QPair>
#include <QString>
#include <QStringList>
#include <QVector>

namespace ky {

/// Whether `nmcli` reports success in words, English or Chinese; it does for everything but
/// `modify` and `reload`, which are silent.
bool saysSuccess(const QString& nmcliOutput);

/// The UUID in a row of `nmcli connection show`: the first part of at least 36 characters. Empty if
/// there is none.
QString uuidInRow(const QString& row);

/// The first row that holds the text; nothing (a null text) in an output without a line feed.
QString rowHolding(const QString& output, const QString& text);

/// The first row; nothing (a null text) in an output without a line feed.
QString firstRow(const QString& output);

/// Every part of more than 35 characters, in order: the UUIDs of the rows.
QStringList uuidsIn(const QString& output);

/// What `nmcli device show` prints: labels, colon included, and values.
struct DeviceShow
{
    QVector<QPair<QString, QString>> rows;
    QStringList unreadable; ///< lines without the gap between label and value
};

/// Reads the rows whose label and value are 15 to 29 blanks apart; the tool aligns values in one
/// column, so a wider gap, of a short label, makes a row that is left out. Nothing at all in an
/// output without a line feed.
DeviceShow parseDeviceShow(const QString& output);

} // namespace ky
