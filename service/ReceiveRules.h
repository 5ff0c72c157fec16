#pragma once

#include "service/VantHeader.h"

#include <QByteArray>

#include <atomic>
#include <optional>
#include <string_view>

namespace ky {

/// One complete frame. The areas point into the receive buffer: copy what outlives the call.
struct ReceivedRequest
{
    quint16 type = 0;
    quint16 number = 0;
    std::optional<std::string_view> json; ///< missing when the frame has no JSON area
    std::string_view data;
};

/// What the receive rules tell, in the order in which it happens. Called once for each event,
/// never for each byte. std::bad_alloc may leave any of these but outOfMemory().
class ReceiveListener
{
public:
    virtual void deliver(const ReceivedRequest& request) = 0;

    /// Bytes that belong to no frame are skipped: `count` of them, with `left` bytes unread before
    /// the first is gone. Returns how many to skip now, at least one: fewer than `count` when the
    /// caller has to look at the stop flag before the next.
    virtual int skip(int count, int left) = 0;

    virtual bool isUploadOpen() const = 0;
    /// If it does not open, the upload is delivered like any other frame.
    virtual void openUpload() = 0;
    virtual void writeUpload(std::string_view bytes) = 0;
    /// The last bytes of the file, which is then closed. deliverUpload() follows.
    virtual void finishUpload(std::string_view bytes) = 0;
    virtual void deliverUpload(quint16 type, quint16 number, const QByteArray& json) = 0;

    /// A frame with `bodySize` bytes announced did not fit. What had been received is gone.
    virtual void outOfMemory(quint64 bodySize) = 0;

protected:
    ~ReceiveListener() = default;
};

/// What a connection remembers from one read to the next. It refers to the members of the owner.
struct ReceiveState
{
    QByteArray& buffer;    ///< between two reads it starts with what has not been consumed
    int& consumed;         ///< bytes at its front that are done with; 0 between two reads
    VantHeader& header;    ///< of the frame in progress, else of the last one
    quint64& dataSize;     ///< of the frame in progress; 0 while no header has been taken
    quint64& receivedSize; ///< bytes counted for the frame in progress, header included
    const std::atomic<bool>& isNeedStop;
};

/// The receive rules of a server connection, without the connection: bytes go in, and requests,
/// file writes and losses are told. It keeps nothing itself, so one is made for each read.
class ReceiveRules
{
public:
    ReceiveRules(const ReceiveState& state, ReceiveListener& listener);

    /// Takes in one read; tells everything that it completes.
    void take(const QByteArray& bytes);
    /// Delivers the frame at the start of the buffer, whose header has been taken.
    void deliverFrame();
    /// Header and JSON area of an upload are in the buffer: all that follows is the file's.
    bool isStreaming() const;

private:
    bool takeIn(const QByteArray& bytes);
    void deliverFrames(quint64 incoming);
    void dropToSync();
    void takeHeader();
    void streamUpload();
    void finishUpload();
    ReceivedRequest requestAtFront() const;
    const char* unread() const { return _state.buffer.constData() + _state.consumed; }
    int unreadSize() const { return _state.buffer.size() - _state.consumed; }
    int bufferedBodySize() const;
    bool isFrameComplete() const;
    void startNextFrame();
    void compactBuffer();
    void giveUp();

    ReceiveState _state;
    ReceiveListener& _listener;
};

} // namespace ky
