#pragma once

#include <QObject>
#include <QThread>

#include <functional>

namespace ky {

/// A thread with an event loop for objects whose operations block, such as those that run host
/// commands. Objects that are made by call() live there; destroy them by call(), too.
///
/// The destructor waits until what was posted has run, so it blocks as long as that takes.
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

private:
    QThread _thread;
    QObject* _context;
};

} // namespace ky
