#include "recorded/RecordedHost.h"

#include "host/HttpApi.h"
#include "host/PublicClass.h"

#include <QMutex>

namespace {

QRecursiveMutex& recordMutex()
{
    static QRecursiveMutex mutex;
    return mutex;
}

} // namespace

RecordedHost& RecordedHost::instance()
{
    static RecordedHost host;
    return host;
}

void RecordedHost::reset()
{
    *this = RecordedHost();
}

void RecordedHost::answer(const QString& line, const QString& output, bool hasRun)
{
    _answers[line].append({output, hasRun});
}

void RecordedHost::answerUrl(const QString& url, bool isSuccess, const QString& reply)
{
    _urlAnswers[url] = {reply, isSuccess};
}

QStringList RecordedHost::lines() const
{
    QStringList lines;
    for (const Call& call : _calls)
        lines << call.line;
    return lines;
}

bool RecordedHost::run(const Call& call, QString& output)
{
    const QMutexLocker locker(&recordMutex());
    _calls.append(call);
    if (_hook)
        _hook(call);
    Answer answer = _others;
    const auto answers = _answers.find(call.line);
    if (answers != _answers.end())
        answer = answers->size() > 1 ? answers->takeFirst() : answers->first();
    output = answer.output;
    return answer.hasRun;
}

void RecordedHost::sleep(int seconds)
{
    const QMutexLocker locker(&recordMutex());
    _sleeps.append(seconds);
    _calls.append({QStringLiteral("sleep %1").arg(seconds), 0, true, false});
}

bool RecordedHost::fetch(const QString& url)
{
    const QMutexLocker locker(&recordMutex());
    _urls << url;
    const Answer answer = _urlAnswers.value(url, {QStringLiteral("no answer set"), false});
    _lastReply = answer.output;
    return answer.hasRun;
}

bool PublicClass::processCmd(const QString& command, QString& output, int timeoutMs, bool wait)
{
    return RecordedHost::instance().run({command, timeoutMs, wait, false}, output);
}

bool PublicClass::cmdHalSh(const QString& command, QString& output, int timeoutMs)
{
    return RecordedHost::instance().run({command, timeoutMs, true, true}, output);
}

void PublicClass::waitSTime(int seconds)
{
    RecordedHost::instance().sleep(seconds);
}

HttpApi* HttpApi::init()
{
    static HttpApi api;
    return &api;
}

bool HttpApi::getUrl(const QString& url)
{
    return RecordedHost::instance().fetch(url);
}

QVariant HttpApi::getReq() const
{
    return RecordedHost::instance().lastReply();
}
