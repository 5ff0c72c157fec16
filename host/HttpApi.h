#pragma once

#include <QString>
#include <QVariant>

/// A reachability test over HTTP. Thread: any, several at once.
class Q_DECL_EXPORT HttpApi
{
public:
    /// The one instance, made on first use.
    static HttpApi* init();

    HttpApi(const HttpApi&) = delete;
    HttpApi& operator=(const HttpApi&) = delete;

    /// Fetches an http or https URL, following redirects, and blocks the caller for at most 5 s
    /// without running its event loop. True for a status from 200 to 299.
    bool getUrl(const QString& url);

    /// What the last getUrl() of any thread brought: the body as text, at most 1 MiB of it, or the
    /// error.
    QVariant getReq() const;

private:
    HttpApi() = default;
    ~HttpApi() = default;
};
