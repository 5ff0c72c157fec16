#pragma once

#include <QByteArray>

/// A line of a record without what no two runs have in common (times, UUIDs), what depends on the
/// machine (processors, versions, CAN in the kernel), and without long runs of one letter.
QByteArray withoutVolatile(const QByteArray& line);
