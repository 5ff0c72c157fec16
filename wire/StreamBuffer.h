#pragma once

#include <QByteArray>

namespace ky {

/// What a stream has brought and a reader has not consumed. Bytes are dropped from the front by
/// moving a cursor; the rest is moved together once for each append, so that noise and many small
/// frames cost no more than they are long.
class StreamBuffer
{
public:
    /// False when the bytes do not fit any more (about 2 GiB, or no memory); the content stays.
    bool append(const QByteArray& bytes);
    void drop(int count);
    void clear();

    bool isEmpty() const { return size() == 0; }
    int size() const { return _bytes.size() - _start; }
    /// Valid until the next call that changes the buffer.
    const char* data() const { return _bytes.constData() + _start; }

private:
    QByteArray _bytes;
    int _start = 0;
};

/// Appends in place. False, and nothing is changed, when `buffer` cannot hold that much: a header
/// may announce 4 GiB and a peer may send them, and only its own connection may suffer for it.
bool appendWithin(QByteArray& buffer, const QByteArray& bytes);

} // namespace ky
