#include "ports/CanDescriptor.h"

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace ky {

namespace {

// Where no descriptor is left to be woken by, the loop looks for a change this often.
constexpr int kLookMs = 100;

int pollAgain(pollfd* waiting, nfds_t count, int limitMs)
{
    int ready = 0;
    do {
        ready = ::poll(waiting, count, limitMs);
    } while (ready < 0 && errno == EINTR);
    return ready;
}

} // namespace

Descriptor::~Descriptor()
{
    if (isOurs && number >= 0)
        ::close(number);
}

CanDescriptor::CanDescriptor()
    : _current(std::make_shared<Descriptor>())
    , _wake(std::make_unique<Descriptor>())
{}

int CanDescriptor::number() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _current->number;
}

HeldDescriptor CanDescriptor::hold() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _current;
}

/// Returns the one before, so that it is closed, if at all, after the lock is gone.
HeldDescriptor CanDescriptor::replace(HeldDescriptor descriptor)
{
    _changed.notify_all();
    return std::exchange(_current, std::move(descriptor));
}

void CanDescriptor::open(HeldDescriptor descriptor)
{
    HeldDescriptor before;
    const std::lock_guard<std::mutex> lock(_mutex);
    before = replace(std::move(descriptor));
    _isStop = false;
    if (_wake->number >= 0)
        ::eventfd_write(_wake->number, 1);
}

void CanDescriptor::close()
{
    HeldDescriptor before;
    const std::lock_guard<std::mutex> lock(_mutex);
    before = replace(std::make_shared<Descriptor>());
}

void CanDescriptor::setNumber(int number)
{
    HeldDescriptor before;
    const std::lock_guard<std::mutex> lock(_mutex);
    if (number == _current->number)
        return;
    _current->isOurs = false;
    // 0 counts as not open, so nothing that is done to the port closes it.
    before = replace(std::make_shared<Descriptor>(number, number > 0));
}

bool CanDescriptor::isStop() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _isStop;
}

void CanDescriptor::setStop(bool isStop)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _isStop = isStop;
    _changed.notify_all();
}

bool CanDescriptor::isReading() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _isReading;
}

HeldDescriptor CanDescriptor::nextToRead()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _isReading = !_isStop;
    if (!_isReading)
        return nullptr;
    // Made before anybody can open in the loop's back. -1 if the process has no descriptor left.
    if (_wake->number < 0)
        _wake = std::make_unique<Descriptor>(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return _current;
}

int CanDescriptor::wakeNumber() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _wake->number;
}

CanDescriptor::Wait CanDescriptor::wait(const Descriptor& descriptor, int limitMs)
{
    const int wake = wakeNumber();
    pollfd waiting[] = {{descriptor.number, POLLIN, 0}, {wake, POLLIN, 0}};
    const bool isBlind = wake < 0 && limitMs < 0;
    if (pollAgain(waiting, 2, isBlind ? kLookMs : limitMs) == 0)
        return isBlind ? Wait::Changed : Wait::Nothing;
    if (waiting[1].revents == 0)
        return Wait::Readable; // also where the read will tell an error
    eventfd_t count = 0;
    ::eventfd_read(wake, &count);
    return Wait::Changed;
}

void CanDescriptor::waitForDescriptor()
{
    std::unique_lock<std::mutex> lock(_mutex);
    _changed.wait(lock, [this] { return _isStop || _current->number >= 0; });
}

} // namespace ky
