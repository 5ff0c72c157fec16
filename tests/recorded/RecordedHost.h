#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>

/// The host as a test wants it: commands are recorded and answered, not run; sleeps are noted,
/// not slept; HTTP is answered. A test that links ky_recorded in the place of ky_host_commands
/// gets this behind PublicClass and HttpApi. JSON, INI and other files are the real ones.
class RecordedHost
{
public:
    struct Call
    {
        QString line;
        int limitMs = 0;
        bool wait = true;
        bool isScript = false; ///< came through cmdHalSh
    };
    struct Answer
    {
        QString output;
        bool hasRun = true;
    };

    static RecordedHost& instance();

    /// Forgets answers and calls. Call it in init() of the test.
    void reset();

    /// Answers each further call of exactly this line. Several answers to one line are given in
    /// turn, the last one again and again.
    void answer(const QString& line, const QString& output, bool hasRun = true);
    /// Answers a call of this line that fails with this text.
    void fail(const QString& line, const QString& text) { answer(line, text, false); }
    /// Runs before each command is answered: a place for a test to change what the host sees.
    void onCall(std::function<void(const Call&)> hook) { _hook = std::move(hook); }
    /// What an unanswered line gets; without this: true and empty output.
    void answerOthers(const Answer& answer) { _others = answer; }
    void answerUrl(const QString& url, bool isSuccess, const QString& reply);

    const QList<Call>& calls() const { return _calls; }
    QStringList lines() const;
    /// Sleeps asked for, in seconds, and where: `"sleep 3"` in lines() too, at its place.
    const QList<int>& sleeps() const { return _sleeps; }
    const QStringList& urls() const { return _urls; }

    // Called by the operations that stand in for the host's.
    bool run(const Call& call, QString& output);
    void sleep(int seconds);
    bool fetch(const QString& url);
    QString lastReply() const { return _lastReply; }

private:
    QMap<QString, QList<Answer>> _answers;
    QMap<QString, Answer> _urlAnswers;
    Answer _others;
    std::function<void(const Call&)> _hook;
    QList<Call> _calls;
    QList<int> _sleeps;
    QStringList _urls;
    QString _lastReply;
};
