#include "host/HttpApi.h"

#include <QEventLoop>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QScopedPointer>
#include <QThread>
#include <QTimer>

namespace {

constexpr int kLimitMs = 5000;
constexpr qint64 kMaxBody = 1024 * 1024;

struct Fetched
{
    bool isSuccess = false;
    QString text;
};

QMutex& lastReplyMutex()
{
    static QMutex mutex;
    return mutex;
}

QVariant& lastReply()
{
    static QVariant reply;
    return reply;
}

/// Runs until the reply is complete, too large or late.
void waitFor(QNetworkReply* reply)
{
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QObject::connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received) {
        if (received > kMaxBody)
            reply->abort();
    });
    QTimer::singleShot(kLimitMs, reply, &QNetworkReply::abort);
    if (!reply->isFinished())
        loop.exec();
}

Fetched result(QNetworkReply* reply, const QString& url)
{
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() == QNetworkReply::OperationCanceledError) {
        const QString reason = reply->bytesAvailable() > kMaxBody
                                   ? QStringLiteral("more than %1 bytes").arg(kMaxBody)
                                   : QStringLiteral("no complete answer in %1 ms").arg(kLimitMs);
        return {false, QStringLiteral("get [%1]: %2").arg(url, reason)};
    }
    if (reply->error() != QNetworkReply::NoError || status < 200 || status > 299)
        return {false, QStringLiteral("get [%1]: %2").arg(url, reply->errorString())};
    return {true, QString::fromUtf8(reply->readAll())};
}

Fetched fetch(const QString& address)
{
    const QUrl url(address, QUrl::StrictMode);
    if (!url.isValid() || !QStringList{"http", "https"}.contains(url.scheme()))
        return {false, QStringLiteral("get [%1]: not an http or https address").arg(address)};
    QNetworkAccessManager manager;
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    const QScopedPointer<QNetworkReply> reply(manager.get(request));
    waitFor(reply.data());
    return result(reply.data(), address);
}

} // namespace

HttpApi* HttpApi::init()
{
    static HttpApi instance;
    return &instance;
}

bool HttpApi::getUrl(const QString& url)
{
    // The transfer needs an event loop, and the caller's must not run meanwhile.
    Fetched fetched;
    const QScopedPointer<QThread> thread(QThread::create([&] { fetched = fetch(url); }));
    thread->start();
    thread->wait();

    const QMutexLocker locker(&lastReplyMutex());
    lastReply() = fetched.text;
    return fetched.isSuccess;
}

QVariant HttpApi::getReq() const
{
    const QMutexLocker locker(&lastReplyMutex());
    return lastReply();
}
