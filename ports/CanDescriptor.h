#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

namespace ky {

/// A file descriptor, closed with the last who holds it.
struct Descriptor
{
    explicit Descriptor(int fd = -1, bool isOurs = true)
        : number(fd)
        , isOurs(isOurs)
    {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    const int number;
    bool isOurs; ///< false: left open at the end
};
using HeldDescriptor = std::shared_ptr<Descriptor>;

/// The descriptor of a port and the flag that tells its read loop to stop: the owner changes both
/// while the loop is in a read, in a thread of its own.
///
/// A number that the loop or a write still uses is not given back to the system when the port is
/// closed: the next file or socket to be opened would get it, and lose its bytes to the port.
class CanDescriptor
{
public:
    CanDescriptor();

    // The owner's side.

    /// -1 when closed.
    int number() const;
    /// Never null. The number stays taken for as long as the result lives.
    HeldDescriptor hold() const;
    /// Replaces the descriptor and clears the stop flag. A loop that is waiting for a frame of the
    /// one before comes out of it.
    void open(HeldDescriptor descriptor);
    /// Does not take the loop out of its wait.
    void close();
    /// Replaces the descriptor by a number from outside. The one before stays open, and a loop that
    /// waits for a frame of it goes on waiting.
    void setNumber(int number);

    bool isStop() const;
    void setStop(bool isStop);
    bool isReading() const;

    // The loop's side: one thread at a time.

    /// The descriptor for the next read, whose number may be -1. Null: stop is set, and the loop
    /// counts as ended from now on. Whoever opens afterwards finds isReading() false, and whoever
    /// did before has cleared the flag, so no port is left without a loop.
    HeldDescriptor nextToRead();

    enum class Wait
    {
        Readable, ///< a read does not block
        Nothing,  ///< within the limit
        Changed   ///< ask nextToRead() again
    };
    /// Waits for something to read, at most `limitMs`; -1: without a limit.
    Wait wait(const Descriptor& descriptor, int limitMs);
    /// Waits until there is a descriptor or stop is set.
    void waitForDescriptor();

private:
    HeldDescriptor replace(HeldDescriptor descriptor);
    int wakeNumber() const;

    mutable std::mutex _mutex; // guards all below
    std::condition_variable _changed;
    HeldDescriptor _current;
    std::unique_ptr<Descriptor> _wake; // readable once open() wants the loop out of its wait
    bool _isStop = false;
    bool _isReading = false;
};

} // namespace ky
