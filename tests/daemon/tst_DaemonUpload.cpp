#include "DaemonFixture.h"
#include "FrameClient.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>

class tst_DaemonUpload : public QObject
{
    Q_OBJECT

private slots:
    void answerTellsWhatIsOnTheDisk_data();
    void answerTellsWhatIsOnTheDisk();
    void jsonAreaIsNoPartOfTheFile();
    void cutOffUploadLeavesTheDaemonAsItWas();
    void othersAreServedDuringAnUpload();
    void secondUploadReplacesTheFirst();
    void folderThatCannotBeMadeIsAnError();
    void endDuringTheHashIsClean();

private:
    static QByteArray content(int size);
};

QByteArray tst_DaemonUpload::content(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 state = 1;
    for (char& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = char(state >> 24);
    }
    return bytes;
}

namespace {

QByteArray hashOf(const QByteArray& bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
}

QByteArray fileContent(const DaemonFixture& daemon)
{
    QFile file(daemon.home() + "/data/ferno/temp/up/upgrade.zip");
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
}

} // namespace

void tst_DaemonUpload::answerTellsWhatIsOnTheDisk_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("empty") << 0;
    QTest::newRow("one byte") << 1;
    QTest::newRow("one block") << (1 << 20);
    QTest::newRow("20 MB") << 20000000;
}

void tst_DaemonUpload::answerTellsWhatIsOnTheDisk()
{
    QFETCH(int, size);
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    const QByteArray bytes = content(size);
    FrameClient client(daemon.port());

    const WireFrame answer = client.ask(5104, {}, bytes);

    QCOMPARE(answer.type, 15104);
    QCOMPARE(answer.code(), 0);
    QCOMPARE(answer.map().value("size").toInt(), size);
    QCOMPARE(answer.map().value("sha256").toByteArray(), hashOf(bytes));
    QVERIFY(fileContent(daemon) == bytes);
}

void tst_DaemonUpload::jsonAreaIsNoPartOfTheFile()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    const QByteArray bytes = content(100000);
    FrameClient client(daemon.port());

    const WireFrame answer = client.ask(5104, "{\"name\":\"upgrade\"}", bytes);

    QCOMPARE(answer.map().value("sha256").toByteArray(), hashOf(bytes));
}

void tst_DaemonUpload::cutOffUploadLeavesTheDaemonAsItWas()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    const QByteArray bytes = content(3000000);
    for (const int sent : {0, 1, 1000, 2999999}) {
        FrameClient client(daemon.port());
        client.send(FrameClient::header(5104, 1, quint32(bytes.size()), 0) + bytes.left(sent));
        client.vanish();
    }

    FrameClient client(daemon.port());
    const WireFrame answer = client.ask(5104, {}, bytes);

    QCOMPARE(answer.code(), 0);
    QCOMPARE(answer.map().value("sha256").toByteArray(), hashOf(bytes));
    QCOMPARE(daemon.stop(SIGTERM), 0);
}

void tst_DaemonUpload::othersAreServedDuringAnUpload()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    const QByteArray bytes = content(2000000);
    FrameClient uploading(daemon.port());
    uploading.send(FrameClient::header(5104, 1, quint32(bytes.size()), 0) + bytes.left(1000000));

    FrameClient other(daemon.port());
    QCOMPARE(other.ask(2000, {}, "x").data, QByteArray("x"));

    uploading.send(bytes.mid(1000000));
    QCOMPARE(uploading.receive().map().value("sha256").toByteArray(), hashOf(bytes));
}

void tst_DaemonUpload::secondUploadReplacesTheFirst()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    FrameClient client(daemon.port());
    QCOMPARE(client.ask(5104, {}, content(50000)).code(), 0);

    const WireFrame answer = client.ask(5104, {}, "short");

    QCOMPARE(answer.map().value("size").toInt(), 5);
    QCOMPARE(fileContent(daemon), QByteArray("short"));
}

void tst_DaemonUpload::folderThatCannotBeMadeIsAnError()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    // A file where the folder should be: that stops root, too.
    QFile inTheWay(daemon.home() + "/data/ferno");
    QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    FrameClient client(daemon.port());

    for (const QByteArray& bytes : {QByteArray("some data"), QByteArray()}) {
        const WireFrame answer = client.ask(5104, {}, bytes);
        QCOMPARE(answer.type, 15104);
        QCOMPARE(answer.code(), 40003);
        QVERIFY2(answer.errorText().startsWith("upload file ["), qPrintable(answer.errorText()));
    }

    QVERIFY(inTheWay.remove());
    QCOMPARE(client.ask(5104, {}, "some data").code(), 0);
}

void tst_DaemonUpload::endDuringTheHashIsClean()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    FrameClient client(daemon.port());
    client.send(5104, 1, {}, content(30000000));

    QCOMPARE(daemon.stop(SIGTERM), 0);
}

QTEST_GUILESS_MAIN(tst_DaemonUpload)
#include "tst_DaemonUpload.moc"
