#pragma once

#include <QObject>
#include <QThread>

#include <atomic>
#include <functional>

namespace ky {

/// A thread with an event loop for objects whose operations block, such as those that run host
/// commands. Objects that are made by call() live there; destroy them by end().
///
/// The destructor waits for the work in progress; what was posted and has not begun is dropped.
class OwnThread
{
public:
    explicit OwnThread(const QString& name);
    ~OwnThread();
    OwnThread(const OwnThread&) = delete;
    OwnThread& operator=(const OwnThread&) = delete;

    /// Runs it there and waits for its end. Not to be called from there.
    void call(const std::function<void()>& work);
    /// Runs it there, in the order of the calls, and returns at once.
    void post(std::function<void()> work);
    /// Drops what was posted and has not begun, then runs `work` there and waits for its end. Work
    /// that is posted later is dropped, too.
    void end(const std::function<void()>& work);

private:
    QThread _thread;
    QObject* _context;
    std::atomic<bool> _isEnding{false}; // set by the owner, read by posted work
};

} // namespace ky
