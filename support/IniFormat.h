#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

namespace ky {

/// A value as it stands behind the "=" of an INI file: the text that QSettings writes for it
/// (IniFormat, no codec), ASCII alone. Numbers and booleans are stored as their text.
QByteArray iniValue(const QVariant& value);

/// A key as QSettings takes it: without the slashes that stand before, behind or beside another.
QString normalisedIniKey(const QString& key);

/// The part of a key behind its group: "b/c" of "a/b/c".
QByteArray iniKey(const QString& key);

/// The line that starts a group: "[WirelessCard]". An empty name is the group of the keys that have
/// none, "[General]".
QByteArray iniGroupLine(const QString& group);

/// The name that a key or a group in a file stands for: the reverse of iniKey().
QString plainIniName(const QByteArray& name);

} // namespace ky
