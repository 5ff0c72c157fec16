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
    call([] {});
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
    QMetaObject::invokeMethod(_context, std::move(work), Qt::QueuedConnection);
}

} // namespace ky
