#include "wire/StreamBuffer.h"

#include "wire/FrameHead.h"

#include <new>

namespace ky {

bool appendWithin(QByteArray& buffer, const QByteArray& bytes)
{
    if (bytes.size() > kMaxFrame - buffer.size())
        return false;
    try {
        buffer.append(bytes);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

bool StreamBuffer::append(const QByteArray& bytes)
{
    if (_start > 0) {
        _bytes.remove(0, _start);
        _start = 0;
    }
    return appendWithin(_bytes, bytes);
}

void StreamBuffer::drop(int count)
{
    _start += count;
    if (_start >= _bytes.size())
        clear();
}

void StreamBuffer::clear()
{
    _bytes.clear();
    _start = 0;
}

} // namespace ky
