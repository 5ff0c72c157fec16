#pragma once

#include "DaemonFixture.h"

#include "canbus/CanBus.h"

#include <QJsonDocument>
#include <QtTest>

#include <csignal>
#include <functional>

/// A program that goes on while the test acts.
class Watcher
{
public:
    Watcher(DaemonFixture& daemon, const QStringList& arguments)
    {
        _process.start(programPath("kyctl"),
                       QStringList{"--port", QString::number(daemon.port())} + arguments);
    }
    ~Watcher()
    {
        if (_process.state() != QProcess::NotRunning) {
            _process.kill();
            _process.waitForFinished();
        }
    }
    bool waitForText(const QByteArray& text)
    {
        return QTest::qWaitFor([&] { return (_output += _process.readAll()).contains(text); },
                               10000);
    }
    /// Calls `send` again and again until so many lines are printed: what is sent before the
    /// watcher is subscribed reaches nobody.
    bool waitForLines(int lines, const std::function<void()>& send)
    {
        for (int i = 0; i < 200 && output().count('\n') < lines; ++i) {
            send();
            _process.waitForReadyRead(50);
        }
        return output().count('\n') >= lines;
    }
    bool waitEnd()
    {
        return _process.state() == QProcess::NotRunning || _process.waitForFinished(20000);
    }
    QByteArray output() { return _output += _process.readAll(); }
    int status() const { return _process.exitCode(); }
    void signal(int number) { ::kill(pid_t(_process.processId()), number); }

private:
    QProcess _process;
    QByteArray _output;
};

/// The answer to one command with these arguments.
inline QVariantMap call(DaemonFixture& daemon, const QString& name, const QVariantMap& map = {})
{
    const QByteArray json = QJsonDocument::fromVariant(map).toJson(QJsonDocument::Compact);
    return daemon.kyctl({"--json", "call", name, QString::fromUtf8(json)}).json();
}

inline bool isOk(const QVariantMap& answer)
{
    return answer.contains("ret_code") && answer["ret_code"].toInt() == 0;
}

/// The daemon on a machine that has the CAN interfaces of `folder`.
class CanDaemon : public DaemonFixture
{
public:
    CanDaemon()
    {
        const QByteArray module =
            QFile::encodeName(QCoreApplication::applicationDirPath() + "/../lib/libkycanbus.so");
        if (!QFile::exists(QFile::decodeName(module)))
            qFatal("%s is not built", module.constData());
        qputenv("LD_PRELOAD", module);
        qputenv("ASAN_OPTIONS", qgetenv("ASAN_OPTIONS") + ":verify_asan_link_order=0");
        _isReady = start();
        qunsetenv("LD_PRELOAD");
    }
    ~CanDaemon() { qputenv("ASAN_OPTIONS", "detect_leaks=1"); }
    bool isReady() const { return _isReady; }
    QString path() const { return _folder.path(); }

private:
    CanBusFolder _folder;
    bool _isReady = false;
};
