#include "support/Log.h"

namespace ky {

QDebug logLine(QDebug stream, const char* level, const char* function)
{
    stream.noquote().nospace() << '[' << level << "][" << function << ']';
    stream.setAutoInsertSpaces(true);
    return stream;
}

} // namespace ky
