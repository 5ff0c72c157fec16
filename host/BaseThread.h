#pragma once

#include <QThread>

#include <atomic>

/// Base of the library's own threads: a stop flag that run() polls, and a result.
///
/// Thread: the flag and the result may be read and written from any thread.
class Q_DECL_EXPORT BaseThread : public QThread
{
    Q_OBJECT

public:
    explicit BaseThread(QObject* parent = nullptr);
    ~BaseThread() override;

    void setNeedStop(bool isNeedStop);
    bool isNeedStop() const;

    void setResult(int result);
    int result() const;

public slots:
    /// Sets the stop flag, requests interruption, ends an event loop of the thread and waits for
    /// run() to return, without a limit. Not to be called from the thread itself.
    virtual void stopThread();

private:
    std::atomic<bool> _isNeedStop{false};
    std::atomic<int> _result{0};
};
