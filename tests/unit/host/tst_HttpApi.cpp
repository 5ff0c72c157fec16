#include "TaskState.h"

#include "host/HttpApi.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/// Answers each request with what `reply` gives for its path; nothing keeps the client waiting.
/// Lives in a thread of its own, since the operation under test blocks the caller's.
class HttpServer : public QTcpServer
{
public:
    using Reply = std::function<QByteArray(const QByteArray& path)>;

    explicit HttpServer(Reply reply)
        : _reply(std::move(reply))
    {
        moveToThread(&_thread);
        _thread.start();
        QMetaObject::invokeMethod(
            this, [this] { listen(QHostAddress::LocalHost); }, Qt::BlockingQueuedConnection);
        _port = serverPort();
    }
    ~HttpServer() override
    {
        QMetaObject::invokeMethod(
            this,
            [this] {
                // A TLS socket has a plain one inside, which goes with it.
                qDeleteAll(findChildren<QTcpSocket*>(QString(), Qt::FindDirectChildrenOnly));
                close();
            },
            Qt::BlockingQueuedConnection);
        _thread.quit();
        _thread.wait();
    }

    QString url(const char* path, const char* scheme = "http") const
    {
        return QStringLiteral("%1://127.0.0.1:%2%3")
            .arg(QLatin1String(scheme))
            .arg(_port)
            .arg(QString::fromUtf8(path));
    }
    int requests() const { return _requests; }

protected:
    void incomingConnection(qintptr handle) override
    {
        auto* socket = makeSocket(handle);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }
    virtual QTcpSocket* makeSocket(qintptr handle)
    {
        auto* socket = new QTcpSocket(this);
        socket->setSocketDescriptor(handle);
        return socket;
    }

private:
    void answer(QTcpSocket* socket)
    {
        const QByteArray request = socket->readAll();
        if (!request.contains("\r\n\r\n"))
            return;
        ++_requests;
        const QByteArray reply = _reply(request.split(' ').value(1));
        if (reply.isEmpty())
            return;
        socket->write(reply);
        socket->disconnectFromHost();
    }

    Reply _reply;
    quint16 _port = 0;
    std::atomic<int> _requests{0};
    QThread _thread;
};

QByteArray page(const char* status, const QByteArray& body, const QByteArray& header = {})
{
    return "HTTP/1.1 " + QByteArray(status) +
           "\r\nConnection: close\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n" +
           header + "\r\n" + body;
}

QByteArray redirect(const QByteArray& to)
{
    return page("302 Found", "", "Location: " + to + "\r\n");
}

bool get(const QString& url)
{
    return HttpApi::init()->getUrl(url);
}

QString reply()
{
    return HttpApi::init()->getReq().toString();
}

int run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(20000) ? process.exitCode() : -1;
}

/// Makes a certificate for that address, signed by itself: cert.pem and key.pem in `folder`.
bool makeCertificate(const QString& folder, const char* address)
{
    const QString subject = QStringLiteral("/CN=%1").arg(QLatin1String(address));
    const QString name = QStringLiteral("subjectAltName=IP:%1").arg(QLatin1String(address));
    return run(QStringLiteral("openssl"),
               {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
                QStringLiteral("rsa:2048"), QStringLiteral("-nodes"), QStringLiteral("-days"),
                QStringLiteral("2"), QStringLiteral("-subj"), subject, QStringLiteral("-addext"),
                name, QStringLiteral("-keyout"), folder + QStringLiteral("/key.pem"),
                QStringLiteral("-out"), folder + QStringLiteral("/cert.pem")}) == 0;
}

/// Lets this process trust the certificate in `folder`, for as long as it lives.
class Trust
{
public:
    explicit Trust(const QString& folder)
        : _before(QSslConfiguration::defaultConfiguration())
    {
        QSslConfiguration trusting = _before;
        trusting.setCaCertificates(QSslCertificate::fromPath(folder + QStringLiteral("/cert.pem")));
        QSslConfiguration::setDefaultConfiguration(trusting);
    }
    ~Trust() { QSslConfiguration::setDefaultConfiguration(_before); }
    Trust(const Trust&) = delete;
    Trust& operator=(const Trust&) = delete;

private:
    QSslConfiguration _before;
};

/// With a certificate of its own making, which no client has reason to trust.
class HttpsServer : public HttpServer
{
public:
    HttpsServer(const QString& folder, Reply reply)
        : HttpServer(std::move(reply))
        , _certificate(folder + QStringLiteral("/cert.pem"))
        , _key(folder + QStringLiteral("/key.pem"))
    {}

protected:
    QTcpSocket* makeSocket(qintptr handle) override
    {
        auto* socket = new QSslSocket(this);
        socket->setSocketDescriptor(handle);
        socket->setLocalCertificate(_certificate);
        socket->setPrivateKey(_key);
        socket->startServerEncryption();
        return socket;
    }

private:
    QString _certificate;
    QString _key;
};

} // namespace

class tst_HttpApi : public QObject
{
    Q_OBJECT

private slots:
    void statusOfTwoHundredIsSuccess_data();
    void statusOfTwoHundredIsSuccess();
    void redirectsAreFollowed();
    void redirectToAFileIsRefused();
    void redirectsInACircleAreRefused();
    void silentServerIsGivenUpAfterFiveSeconds();
    void dripOfBytesIsGivenUpAfterFiveSeconds();
    void eventLoopOfTheCallerDoesNotRun();
    void trustedServerIsReadOverTls();
    void certificateOfAnotherHostIsRefused();
    void untrustedCertificateIsRefused();
    void refusedConnectionIsTold();
    void whatIsNoAddressIsRefused_data();
    void whatIsNoAddressIsRefused();
    void bodyIsKeptUpToABound();
    void noiseInsteadOfAnAnswerIsTold();
    void zeroByteInTheBodyStays();
    void manyThreadsAtOnce();
    void instanceIsTheSame();
};

void tst_HttpApi::statusOfTwoHundredIsSuccess_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<bool>("isSuccess");
    QTest::newRow("200") << QByteArray("200 OK") << true;
    QTest::newRow("204") << QByteArray("204 No Content") << true;
    QTest::newRow("299") << QByteArray("299 Whatever") << true;
    QTest::newRow("304") << QByteArray("304 Not Modified") << false;
    QTest::newRow("400") << QByteArray("400 Bad Request") << false;
    QTest::newRow("401") << QByteArray("401 Unauthorized") << false;
    QTest::newRow("404") << QByteArray("404 Not Found") << false;
    QTest::newRow("500") << QByteArray("500 Internal Server Error") << false;
}

void tst_HttpApi::statusOfTwoHundredIsSuccess()
{
    QFETCH(QByteArray, status);
    QFETCH(bool, isSuccess);
    const QByteArray body = status.startsWith("204") || status.startsWith("304") ? "" : "你好";
    HttpServer server([&](const QByteArray&) { return page(status.constData(), body); });
    const QString url = server.url("/state?a=1");

    QCOMPARE(get(url), isSuccess);

    QCOMPARE(server.requests(), 1);
    if (isSuccess)
        QCOMPARE(reply(), QString::fromUtf8(body));
    else
        QVERIFY2(reply().startsWith(QStringLiteral("get [%1]: ").arg(url)) &&
                     reply().size() > url.size() + 8,
                 qPrintable(reply()));
}

void tst_HttpApi::redirectsAreFollowed()
{
    HttpServer server([](const QByteArray& path) {
        return path == "/a" ? redirect("/b") : path == "/b" ? redirect("c") : page("200 OK", path);
    });

    QVERIFY(get(server.url("/a")));
    QCOMPARE(reply(), QStringLiteral("/c"));
}

void tst_HttpApi::redirectToAFileIsRefused()
{
    HttpServer server([](const QByteArray&) { return redirect("file:///etc/hostname"); });

    QVERIFY(!get(server.url("/")));
    QVERIFY2(reply().contains(QLatin1String("get [")), qPrintable(reply()));
}

void tst_HttpApi::redirectsInACircleAreRefused()
{
    HttpServer server([](const QByteArray&) { return redirect("/"); });
    QElapsedTimer clock;
    clock.start();

    QVERIFY(!get(server.url("/")));
    QVERIFY(clock.elapsed() < 5500);
    QVERIFY2(reply().contains(QLatin1String("redirect")), qPrintable(reply()));
}

void tst_HttpApi::silentServerIsGivenUpAfterFiveSeconds()
{
    HttpServer server([](const QByteArray&) { return QByteArray(); });
    const QString url = server.url("/");
    QElapsedTimer clock;
    clock.start();

    QVERIFY(!get(url));

    QVERIFY2(clock.elapsed() >= 4900 && clock.elapsed() < 6500,
             qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(reply(), QStringLiteral("get [%1]: no complete answer in 5000 ms").arg(url));
}

void tst_HttpApi::dripOfBytesIsGivenUpAfterFiveSeconds()
{
    // Announces more than it sends: the body never ends.
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress::LocalHost));
    const int port = listener.serverPort();
    std::atomic<bool> isDone{false};
    QScopedPointer<QThread> dripper(QThread::create([&] {
        listener.waitForNewConnection(5000);
        QScopedPointer<QTcpSocket> socket(listener.nextPendingConnection());
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
        while (!isDone && socket->state() == QAbstractSocket::ConnectedState) {
            socket->write("x");
            socket->waitForBytesWritten(50);
            QThread::msleep(20); // a drip that never pauses for as long as the limit
        }
    }));
    listener.moveToThread(dripper.data());
    dripper->start();
    QElapsedTimer clock;
    clock.start();

    const bool isSuccess = get(QStringLiteral("http://127.0.0.1:%1/").arg(port));
    const qint64 elapsedMs = clock.elapsed();
    isDone = true;
    dripper->wait();

    QVERIFY(!isSuccess);
    QVERIFY2(elapsedMs >= 4900 && elapsedMs < 6500, qPrintable(QString::number(elapsedMs)));
}

void tst_HttpApi::eventLoopOfTheCallerDoesNotRun()
{
    HttpServer server([](const QByteArray&) {
        TaskState::waitUntilAsleep(getpid()); // an event loop would have run by then
        return page("200 OK", "");
    });
    bool hasRun = false;
    QTimer::singleShot(0, this, [&] { hasRun = true; });

    QVERIFY(get(server.url("/")));
    QVERIFY(!hasRun);

    QTRY_VERIFY(hasRun);
}

void tst_HttpApi::trustedServerIsReadOverTls()
{
    QTemporaryDir folder;
    QVERIFY(makeCertificate(folder.path(), "127.0.0.1"));
    const Trust trust(folder.path());
    HttpsServer server(folder.path(),
                       [](const QByteArray& path) { return page("200 OK", "secret of " + path); });

    const bool isSuccess = get(server.url("/state", "https"));

    QVERIFY2(isSuccess, qPrintable(reply()));
    QCOMPARE(reply(), QStringLiteral("secret of /state"));
    QCOMPARE(server.requests(), 1);
}

void tst_HttpApi::certificateOfAnotherHostIsRefused()
{
    QTemporaryDir folder;
    QVERIFY(makeCertificate(folder.path(), "127.0.0.2"));
    const Trust trust(folder.path());
    HttpsServer server(folder.path(), [](const QByteArray&) { return page("200 OK", "secret"); });

    QVERIFY(!get(server.url("/", "https")));

    QVERIFY2(reply().contains(QLatin1String("SSL")), qPrintable(reply()));
    QCOMPARE(server.requests(), 0);
}

void tst_HttpApi::untrustedCertificateIsRefused()
{
    QTemporaryDir folder;
    QVERIFY(makeCertificate(folder.path(), "127.0.0.1"));
    HttpsServer server(folder.path(), [](const QByteArray&) { return page("200 OK", "secret"); });

    QVERIFY(!get(server.url("/", "https")));

    QVERIFY2(reply().contains(QLatin1String("SSL")) ||
                 reply().contains(QLatin1String("certificate")),
             qPrintable(reply()));
    QCOMPARE(server.requests(), 0);
}

void tst_HttpApi::refusedConnectionIsTold()
{
    QTcpServer taken;
    QVERIFY(taken.listen(QHostAddress::LocalHost));
    const QString url = QStringLiteral("http://127.0.0.1:%1/").arg(taken.serverPort());
    taken.close();

    QVERIFY(!get(url));
    QCOMPARE(reply(), QStringLiteral("get [%1]: Connection refused").arg(url));
}

void tst_HttpApi::whatIsNoAddressIsRefused_data()
{
    QTest::addColumn<QString>("url");
    for (const char* url :
         {"", "127.0.0.1", "www.example.org/x", "file:///etc/hostname", "ftp://127.0.0.1/",
          "data:text/plain,x", "qrc:/x", "http://a b/", "http://[::1", "http://"})
        QTest::newRow(url) << QString::fromUtf8(url);
}

void tst_HttpApi::whatIsNoAddressIsRefused()
{
    QFETCH(QString, url);

    QVERIFY(!get(url));
    QCOMPARE(reply(), QStringLiteral("get [%1]: not an http or https address").arg(url));
}

void tst_HttpApi::bodyIsKeptUpToABound()
{
    HttpServer server([](const QByteArray& path) {
        return page("200 OK", QByteArray(path == "/large" ? 3 << 20 : 1 << 20, 'x'));
    });

    QVERIFY(get(server.url("/bound")));
    QCOMPARE(reply().size(), 1 << 20);
    QVERIFY(get(server.url("/large")));
    QCOMPARE(reply().size(), 1 << 20);
}

void tst_HttpApi::noiseInsteadOfAnAnswerIsTold()
{
    HttpServer server([](const QByteArray&) { return QByteArray(200, '\xff'); });

    QVERIFY(!get(server.url("/")));
    QVERIFY2(reply().startsWith(QLatin1String("get [http://")), qPrintable(reply()));
}

void tst_HttpApi::zeroByteInTheBodyStays()
{
    HttpServer server([](const QByteArray&) { return page("200 OK", QByteArray("a\0b", 3)); });

    QVERIFY(get(server.url("/")));
    QCOMPARE(reply(), QString::fromLatin1("a\0b", 3));
}

void tst_HttpApi::manyThreadsAtOnce()
{
    HttpServer server([](const QByteArray& path) {
        return path == "/good" ? page("200 OK", "good") : page("404 Not Found", "bad");
    });
    const QString good = server.url("/good");
    const QString bad = server.url("/bad");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            for (int n = 0; n < 5; ++n)
                wrong += get(i % 2 ? good : bad) == bool(i % 2) ? 0 : 1;
        });
    for (std::thread& thread : threads)
        thread.join();

    QCOMPARE(wrong.load(), 0);
    QCOMPARE(server.requests(), 40);
}

void tst_HttpApi::instanceIsTheSame()
{
    QVERIFY(HttpApi::init());
    QCOMPARE(HttpApi::init(), HttpApi::init());
}

QTEST_GUILESS_MAIN(tst_HttpApi)
#include "tst_HttpApi.moc"
