#pragma once

#include <QByteArray>

namespace ky {

/// One whole frame: header, JSON area, binary data area, in one allocation. `jsonSize` keeps the
/// low 16 bits of a JSON area that is too long for the field; `dataSize` stays right. Empty when
/// the body is more than a QByteArray can hold (about 2 GiB).
QByteArray buildFrame(quint16 type, quint16 number, const QByteArray& json, const QByteArray& data);

} // namespace ky
