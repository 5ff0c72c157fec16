#pragma once

#include <QStringList>
#include <QVariantMap>

namespace ky {

/// Columns that a text takes on a terminal: 2 for a wide (East Asian) character, 0 for a combining
/// or control one.
int displayWidth(const QString& text);

/// Pads every cell but the last of its row to the widest of its column, two blanks between.
QStringList alignColumns(const QList<QStringList>& rows);

/// One column of a table for people: which entry of the record, under which title.
struct Column
{
    const char* key;
    const char* title;
};

/// A table with titles, one line for each record (a list of maps). Without records: a line that
/// says so.
QString tableText(const QVariantList& records, const QList<Column>& columns);

/// One "key  value" line for each entry, without the keys of every answer.
QString mapText(const QVariantMap& map);

/// A text of several lines as a terminal may get it: "?" for every control character but the line
/// feed.
QString printableText(QString text);

/// A value as a person reads it: yes/no, a list with commas, nested maps as JSON; control
/// characters of a hostile text shown as "?".
QString valueText(const QVariant& value);

} // namespace ky
