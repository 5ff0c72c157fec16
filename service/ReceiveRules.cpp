#include "service/ReceiveRules.h"

#include "wire/FrameHead.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace ky {

namespace {

static_assert(sizeof(VantHeader) == kHeaderSize, "one header, whoever names it");

/// A header may announce 4 GiB that never come: no more than this is reserved beforehand.
constexpr quint64 kMaxReserve = 1024 * 1024;

FrameHead headOf(const VantHeader& header)
{
    return readFrameHead(reinterpret_cast<const char*>(&header));
}

} // namespace

ReceiveRules::ReceiveRules(const ReceiveState& state, ReceiveListener& listener)
    : _state(state)
    , _listener(listener)
{}

/// Where memory runs out for what the peer sends, only its own connection may suffer.
void ReceiveRules::take(const QByteArray& bytes)
{
    try {
        if (takeIn(bytes))
            deliverFrames(quint64(bytes.size()));
        else
            giveUp();
    } catch (const std::bad_alloc&) {
        giveUp();
    }
}

/// False when it is more than a buffer can hold: announced sizes are trusted to the end.
bool ReceiveRules::takeIn(const QByteArray& bytes)
{
    if (isStreaming()) {
        _listener.writeUpload({bytes.constData(), size_t(bytes.size())});
        return true;
    }
    if (_state.buffer.size() > kMaxFrame - bytes.size())
        return false;
    _state.buffer.append(bytes);
    return true;
}

bool ReceiveRules::isStreaming() const
{
    return _listener.isUploadOpen() && _state.dataSize != 0 && !_state.isNeedStop &&
           unreadSize() == headOf(_state.header).jsonSize + kHeaderSize;
}

void ReceiveRules::deliverFrames(quint64 incoming)
{
    while (unreadSize() > 0 && !_state.isNeedStop) {
        // The zero behind the last byte reads as byte 1: a lone sync byte at the end is dropped.
        if (unread()[0] != kSync || unread()[1] != kVersion) {
            dropToSync();
            continue;
        }
        if (_state.dataSize == 0 && unreadSize() >= kHeaderSize) {
            takeHeader();
        } else {
            // Fewer than 16 bytes behind a delivered frame come here too, and count this read a
            // second time: the last header is then delivered again, and the rest is lost.
            if (_listener.isUploadOpen())
                streamUpload();
            _state.receivedSize += incoming;
        }
        if (!isFrameComplete())
            break;
        deliverFrame();
    }
    compactBuffer();
}

/// Skips bytes until one can be a sync byte, at least one: noise costs one search.
void ReceiveRules::dropToSync()
{
    _state.dataSize = 0;
    const char* start = unread();
    const void* sync = std::memchr(start + 1, kSync, size_t(unreadSize() - 1));
    const int count = sync ? int(static_cast<const char*>(sync) - start) : unreadSize();
    _state.consumed += _listener.skip(count, unreadSize());
}

void ReceiveRules::takeHeader()
{
    _state.receivedSize = quint64(unreadSize());
    std::memcpy(&_state.header, unread(), sizeof _state.header);
    const FrameHead head = headOf(_state.header);
    _state.dataSize = head.dataSize;
    if (head.type == kUploadType && !_listener.isUploadOpen())
        _listener.openUpload();
    else if (!isFrameComplete())
        _state.buffer.reserve(_state.consumed +
                              int(std::min(_state.dataSize + kHeaderSize, kMaxReserve)));
}

bool ReceiveRules::isFrameComplete() const
{
    return _state.receivedSize >= _state.dataSize + kHeaderSize;
}

/// Everything behind the JSON area goes to the file, so the buffer holds one read at most. If the
/// same read brought the start of the next frame, that ends up in the file as well.
void ReceiveRules::streamUpload()
{
    const int keep = headOf(_state.header).jsonSize + kHeaderSize;
    if (keep >= unreadSize())
        return;
    _listener.writeUpload({unread() + keep, size_t(unreadSize() - keep)});
    _state.buffer.truncate(_state.consumed + keep);
}

void ReceiveRules::deliverFrame()
{
    if (_listener.isUploadOpen()) {
        finishUpload();
        return;
    }
    _listener.deliver(requestAtFront());
    const quint64 frameSize = _state.dataSize + kHeaderSize;
    _state.consumed += int(std::min(frameSize, quint64(unreadSize())));
    startNextFrame();
}

/// Sizes are cut to what is there: `jsonSize` may be more than `dataSize`, and a header that is
/// delivered again has no body at all.
ReceivedRequest ReceiveRules::requestAtFront() const
{
    const FrameHead head = headOf(_state.header);
    ReceivedRequest request;
    request.type = head.type;
    request.number = head.number;
    if (unreadSize() == kHeaderSize)
        return request;
    const int bodySize = int(std::min(_state.dataSize, quint64(bufferedBodySize())));
    const int jsonSize = std::min<int>(head.jsonSize, bodySize);
    const char* body = unread() + std::min(kHeaderSize, unreadSize());
    if (head.jsonSize != 0)
        request.json.emplace(body, size_t(jsonSize));
    request.data = {body + jsonSize, size_t(bodySize - jsonSize)};
    return request;
}

void ReceiveRules::finishUpload()
{
    const FrameHead head = headOf(_state.header);
    const int jsonSize = std::min<int>(head.jsonSize, bufferedBodySize());
    const int keep = std::min(jsonSize + kHeaderSize, unreadSize());
    const QByteArray json(unread() + keep - jsonSize, jsonSize);
    _listener.finishUpload({unread() + keep, size_t(unreadSize() - keep)});
    _state.buffer.truncate(_state.consumed + keep);
    _state.consumed += keep;
    startNextFrame();
    _listener.deliverUpload(head.type, head.number, json);
}

/// What the buffer holds behind the 16 bytes of a header, be it of this frame or of later ones.
int ReceiveRules::bufferedBodySize() const
{
    return std::max(unreadSize() - kHeaderSize, 0);
}

void ReceiveRules::startNextFrame()
{
    _state.dataSize = 0;
    _state.receivedSize = 0;
}

/// Once for each read, instead of once for each frame or each byte of noise.
void ReceiveRules::compactBuffer()
{
    if (_state.consumed >= _state.buffer.size())
        _state.buffer.clear();
    else if (_state.consumed > 0)
        _state.buffer.remove(0, _state.consumed);
    _state.consumed = 0;
}

void ReceiveRules::giveUp()
{
    _state.buffer = QByteArray();
    _state.consumed = 0;
    _listener.outOfMemory(_state.dataSize);
}

} // namespace ky
