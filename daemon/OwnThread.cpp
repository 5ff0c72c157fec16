#include "daemon/OwnThread.h"

namespace ky {

OwnThread::OwnThread(const QString& name)
    : _context(new QObject)
{
    _thread.setObjectName(name);
    _context->moveToThread(&_thread);
    _thread.start();
}

OwnThread::~OwnThread()
{
    end([] {});
    _thread.quit();
    _thread.wait();
    delete _context;
}

void OwnThread::call(const std::function<void()>& work)
{
    QMetaObject::invokeMethod(_context, work, Qt::BlockingQueuedConnection);
}

void OwnThread::post(std::function<void()> work)
{
    QMetaObject::invokeMethod(
        _context,
        [this, work = std::move(work)] {
            if (!_isEnding)
                work();
        },
        Qt::QueuedConnection);
}

void OwnThread::end(const std::function<void()>& work)
{
    _isEnding = true;
    call(work);
}

} // namespace ky
