#include "ports/SerialWrite.h"

namespace ky {

QString serialWriteProblem(qint64 written, qint64 size)
{
    if (written == -1)
        return QStringLiteral("Failed to write data to serial port");
    return written == size ? QString() : QStringLiteral("Not all data was written to serial port");
}

} // namespace ky
