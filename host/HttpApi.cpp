#include "host/HttpApi.h"

#include <QEventLoop>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QScopedPointer>
#include <QThread>
#include <QTimer>

namespace {

constexpr int kLimitMs = 5000;
constexpr qint64 kMaxBody = qint64(1024) * 1024;

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

/// Runs until the reply is complete or late, or has brought as much as is kept: the rest of a large
/// body changes nothing.
void waitFor(QNetworkReply* reply)
{
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QObject::connect(reply, &QNetworkReply::readyRead, &loop, [reply, &loop] {
        if (reply->bytesAvailable() >= kMaxBody)
            loop.quit();
    });
    QTimer::singleShot(kLimitMs, Qt::PreciseTimer, reply, &QNetworkReply::abort);
    if (!reply->isFinished())
        loop.exec();
}

Fetched failed(const QString& url, const QString& reason)
{
    return {false, QStringLiteral("get [%1]: %2").arg(url, reason)};
}

Fetched result(QNetworkReply* reply, const QString& url)
{
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() == QNetworkReply::OperationCanceledError)
        return failed(url, QStringLiteral("no complete answer in %1 ms").arg(kLimitMs));
    if (reply->error() != QNetworkReply::NoError)
        return failed(url, reply->errorString());
    if (status < 200 || status > 299)
        return failed(url, QStringLiteral("status %1").arg(status));
    const QByteArray body = reply->read(kMaxBody);
    return {true, QString::fromUtf8(body.constData(), body.size())};
}

Fetched fetch(const QString& address)
{
    const QUrl url(address, QUrl::StrictMode);
    const bool isWeb =
        url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    if (!url.isValid() || !isWeb || url.host().isEmpty())
        return failed(address, QStringLiteral("not an http or https address"));
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
