#include <QFile>
#include <QRegularExpression>
#include <QTest>

/// The page that tells how to add a command shows code of the tree. It is that code.
class tst_ExtendingPage : public QObject
{
    Q_OBJECT

private slots:
    void codeStandsInItsFile_data();
    void codeStandsInItsFile();
    void foldersAndFilesExist_data();
    void foldersAndFilesExist();
};

namespace {

QString contentOf(const QString& path)
{
    QFile file(QStringLiteral(KY_TEST_DATA "/") + path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

void tst_ExtendingPage::codeStandsInItsFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("code");

    // A line with a path in backticks and a colon, then the block.
    const QRegularExpression block("\n`([A-Za-z/_.]+)`:\n\n```cpp\n(.*?)```",
                                   QRegularExpression::DotMatchesEverythingOption);
    auto found = block.globalMatch(contentOf("docs/extending.md"));
    int blocks = 0;
    for (; found.hasNext(); ++blocks) {
        const QRegularExpressionMatch match = found.next();
        QTest::addRow("%s, block %d", qPrintable(match.captured(1)), blocks + 1)
            << match.captured(1) << match.captured(2);
    }
    if (blocks < 6)
        qFatal("docs/extending.md shows less code than it did: %d blocks", blocks);
}

void tst_ExtendingPage::codeStandsInItsFile()
{
    QFETCH(QString, path);
    QFETCH(QString, code);

    QVERIFY2(contentOf(path).contains(code), qPrintable(code));
}

void tst_ExtendingPage::foldersAndFilesExist_data()
{
    QTest::addColumn<QString>("path");

    const QRegularExpression named("`((?:commands|daemon|cli|tests)/[A-Za-z/_.]+\\.[a-z]+)`");
    auto found = named.globalMatch(contentOf("docs/extending.md"));
    for (int i = 0; found.hasNext(); ++i) {
        const QString path = found.next().captured(1);
        QTest::addRow("%s %d", qPrintable(path), i) << path;
    }
}

void tst_ExtendingPage::foldersAndFilesExist()
{
    QFETCH(QString, path);

    QVERIFY2(QFile::exists(QStringLiteral(KY_TEST_DATA "/") + path), qPrintable(path));
}

QTEST_GUILESS_MAIN(tst_ExtendingPage)
#include "tst_ExtendingPage.moc"
