#include "host/BaseThread.h"

BaseThread::BaseThread(QObject* parent)
    : QThread(parent)
{}

BaseThread::~BaseThread() = default;

void BaseThread::setNeedStop(bool isNeedStop)
{
    _isNeedStop = isNeedStop;
}

bool BaseThread::isNeedStop() const
{
    return _isNeedStop;
}

void BaseThread::setResult(int result)
{
    _result = result;
}

int BaseThread::result() const
{
    return _result;
}

void BaseThread::stopThread()
{
    setNeedStop(true);
    requestInterruption(); // for a run() to which the flag means something else
    quit();
    wait();
}
