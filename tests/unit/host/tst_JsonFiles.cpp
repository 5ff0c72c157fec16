#include "host/KyFileManager.h"
#include "host/PublicClass.h"

#include <QDir>
#include <QFile>
#include <QPoint>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <sys/stat.h>
#include <thread>
#include <vector>

class tst_JsonFiles : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void bothDoorsReadAndWriteTheSame();
    void missingFolderIsMade();
    void missingFileReadsAsInvalid();
    void damagedFileReadsAsInvalid();
    void relativePathCountsFromTheWorkingDirectory();
    void modeIsKept();
    void valueThatIsNoDocumentLeavesTheFile();
    void failedWriteIsTold();
    void formatIsTheOneAskedFor();
    void textGivesCompactJson();
    void singleValueGivesItsText_data();
    void singleValueGivesItsText();
    void valueThatJsonDoesNotHaveGivesNoText_data();
    void valueThatJsonDoesNotHaveGivesNoText();
    void isJsonTellsDocumentsFromOthers_data();
    void isJsonTellsDocumentsFromOthers();
    void readersSeeWholeDocumentsWhileThreadsWrite();

private:
    QString path(const char* name) const { return _folder->filePath(QString::fromUtf8(name)); }

    std::unique_ptr<QTemporaryDir> _folder;
    const QVariantList _ports{QVariantMap{{QStringLiteral("portName"), QStringLiteral("can0")},
                                          {QStringLiteral("备注"), QStringLiteral("左臂")}}};
};

namespace {

PublicClass& host()
{
    return *PublicClass::init();
}

KyFileManager& files()
{
    return *KyFileManager::init();
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

} // namespace

void tst_JsonFiles::init()
{
    _folder = std::make_unique<QTemporaryDir>();
    QVERIFY(_folder->isValid());
}

void tst_JsonFiles::bothDoorsReadAndWriteTheSame()
{
    QVERIFY(host().writeJsonFile(path("a.json"), _ports, QJsonDocument::Indented));
    QVERIFY(files().writeJsonFile(path("b.json"), _ports, QJsonDocument::Indented));

    QCOMPARE(contentOf(path("a.json")), contentOf(path("b.json")));
    QCOMPARE(host().getJsonVariant(path("b.json")).toList(), _ports);
    QCOMPARE(files().readJsonFile(path("a.json")).toList(), _ports);
}

void tst_JsonFiles::missingFolderIsMade()
{
    QVERIFY(
        files().writeJsonFile(path("appInfo/backupFile/x.json"), _ports, QJsonDocument::Compact));

    QCOMPARE(files().readJsonFile(path("appInfo/backupFile/x.json")).toList(), _ports);
}

void tst_JsonFiles::missingFileReadsAsInvalid()
{
    QVERIFY(!files().readJsonFile(path("none.json")).isValid());
    QVERIFY(!host().getJsonVariant(path("none.json")).isValid());
    QVERIFY(!host().getJsonVariant(_folder->path()).isValid());
}

void tst_JsonFiles::damagedFileReadsAsInvalid()
{
    QFile file(path("cut.json"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[{\"portName\": \"ca");
    file.close();

    QVERIFY(!files().readJsonFile(path("cut.json")).isValid());
}

void tst_JsonFiles::relativePathCountsFromTheWorkingDirectory()
{
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(_folder->path()));
    const QString relative = QStringLiteral("appInfo/setting/wiredNetworkCard.json");
    const bool isWritten = host().writeJsonFile(relative, _ports, QJsonDocument::Indented);
    const QVariant read = host().getJsonVariant(relative);
    QDir::setCurrent(before);

    QVERIFY(isWritten);
    QCOMPARE(read.toList(), _ports);
    QVERIFY(QFile::exists(path("appInfo/setting/wiredNetworkCard.json")));
}

void tst_JsonFiles::modeIsKept()
{
    QVERIFY(host().writeJsonFile(path("a.json"), _ports, QJsonDocument::Indented));
    QCOMPARE(chmod(QFile::encodeName(path("a.json")).constData(), 0600), 0);

    QVERIFY(host().writeJsonFile(path("a.json"), QVariantMap(), QJsonDocument::Indented));

    struct stat facts = {};
    stat(QFile::encodeName(path("a.json")).constData(), &facts);
    QCOMPARE(int(facts.st_mode & 07777), 0600);
}

void tst_JsonFiles::valueThatIsNoDocumentLeavesTheFile()
{
    QVERIFY(host().writeJsonFile(path("a.json"), _ports, QJsonDocument::Indented));

    QVERIFY(!host().writeJsonFile(path("a.json"), QVariant(), QJsonDocument::Indented));
    QVERIFY(!host().writeJsonFile(path("a.json"), 17, QJsonDocument::Indented));

    QCOMPARE(host().getJsonVariant(path("a.json")).toList(), _ports);
}

void tst_JsonFiles::failedWriteIsTold()
{
    QVERIFY(!files().writeJsonFile(_folder->path(), _ports, QJsonDocument::Indented));
    QVERIFY(!files().writeJsonFile(QStringLiteral("/proc/none/a.json"), _ports,
                                   QJsonDocument::Indented));
}

void tst_JsonFiles::formatIsTheOneAskedFor()
{
    const QVariantMap map{{QStringLiteral("a"), 1}};
    QVERIFY(host().writeJsonFile(path("compact"), map, QJsonDocument::Compact));
    QVERIFY(host().writeJsonFile(path("indented"), map, QJsonDocument::Indented));

    QCOMPARE(contentOf(path("compact")), QByteArray("{\"a\":1}"));
    QCOMPARE(contentOf(path("indented")), QByteArray("{\n    \"a\": 1\n}\n"));
}

void tst_JsonFiles::textGivesCompactJson()
{
    QCOMPARE(host().qVariantToByteArray(_ports, QJsonDocument::Compact),
             QByteArrayLiteral("[{\"portName\":\"can0\",\"备注\":\"左臂\"}]"));
    QCOMPARE(host().getJsonVariant(QByteArrayLiteral("{\"a\":[true]}")).toMap().size(), 1);
    QVERIFY(!host().getJsonVariant(QByteArrayLiteral("{\"a\":[true}")).isValid());
}

void tst_JsonFiles::singleValueGivesItsText_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("number") << QVariant(17) << QByteArray("17");
    QTest::newRow("negative") << QVariant(-1) << QByteArray("-1");
    QTest::newRow("zero") << QVariant(0) << QByteArray("0");
    QTest::newRow("fraction") << QVariant(0.5) << QByteArray("0.5");
    QTest::newRow("unsigned") << QVariant(4294967295u) << QByteArray("4294967295");
    QTest::newRow("64 bits") << QVariant(9007199254740992LL) << QByteArray("9007199254740992");
    QTest::newRow("true") << QVariant(true) << QByteArray("true");
    QTest::newRow("false") << QVariant(false) << QByteArray("false");
    QTest::newRow("text") << QVariant(QStringLiteral("左臂")) << QByteArray("\"左臂\"");
    QTest::newRow("quotes") << QVariant(QStringLiteral("a\"b\\")) << QByteArray("\"a\\\"b\\\\\"");
    QTest::newRow("empty text") << QVariant(QStringLiteral("")) << QByteArray("\"\"");
    QTest::newRow("bytes") << QVariant(QByteArray("abc")) << QByteArray("\"abc\"");
    QTest::newRow("null") << QVariant::fromValue(nullptr) << QByteArray("null");
}

void tst_JsonFiles::singleValueGivesItsText()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, text);

    QCOMPARE(host().qVariantToByteArray(value, QJsonDocument::Compact), text);
    QCOMPARE(host().qVariantToByteArray(value, QJsonDocument::Indented), text);
}

void tst_JsonFiles::valueThatJsonDoesNotHaveGivesNoText_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("invalid") << QVariant();
    QTest::newRow("point") << QVariant(QPoint(1, 2));
    QTest::newRow("object") << QVariant::fromValue(static_cast<QObject*>(this));
}

void tst_JsonFiles::valueThatJsonDoesNotHaveGivesNoText()
{
    QFETCH(QVariant, value);

    QCOMPARE(host().qVariantToByteArray(value, QJsonDocument::Compact), QByteArray());
}

void tst_JsonFiles::isJsonTellsDocumentsFromOthers_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("isDocument");
    QTest::newRow("object") << QByteArray("{\"a\": 1}") << true;
    QTest::newRow("list") << QByteArray("[1]") << true;
    QTest::newRow("empty object") << QByteArray("{}") << true;
    QTest::newRow("empty list") << QByteArray("[]") << true;
    QTest::newRow("blanks around") << QByteArray(" {} \n") << true;
    QTest::newRow("nothing") << QByteArray() << false;
    QTest::newRow("word") << QByteArray("ok") << false;
    QTest::newRow("number") << QByteArray("1") << false;
    QTest::newRow("binary") << QByteArray("Z\1\0\0", 4) << false;
}

void tst_JsonFiles::isJsonTellsDocumentsFromOthers()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, isDocument);

    QCOMPARE(host().isJson(text), isDocument);
}

void tst_JsonFiles::readersSeeWholeDocumentsWhileThreadsWrite()
{
    QVERIFY(host().writeJsonFile(path("a.json"), _ports, QJsonDocument::Indented));
    std::vector<std::thread> writers;
    for (int length : {3, 4000})
        writers.emplace_back([this, length] {
            const QVariantMap map{{QStringLiteral("x"), QString(length, QLatin1Char('x'))}};
            for (int i = 0; i < 100; ++i)
                host().writeJsonFile(path("a.json"), map, QJsonDocument::Indented);
        });
    int broken = 0;
    for (int i = 0; i < 500; ++i)
        broken += host().getJsonVariant(path("a.json")).isValid() ? 0 : 1;
    for (std::thread& writer : writers)
        writer.join();

    QCOMPARE(broken, 0);
}

QTEST_GUILESS_MAIN(tst_JsonFiles)
#include "tst_JsonFiles.moc"
