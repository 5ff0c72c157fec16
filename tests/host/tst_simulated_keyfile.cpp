#include "model/Keyfile.h"

#include <QTest>

using hostsim::Keyfile;

/// Keyfiles as the simulated NetworkManager reads and writes them.
class tst_simulated_keyfile : public QObject
{
    Q_OBJECT

private slots:
    void valuesAreReadAsNetworkManagerDoes_data();
    void valuesAreReadAsNetworkManagerDoes();
    void lastOfRepeatedKeysCounts();
    void ssidIsReadInEveryForm_data();
    void ssidIsReadInEveryForm();
    void writtenTextIsReadBack_data();
    void writtenTextIsReadBack();
};

void tst_simulated_keyfile::valuesAreReadAsNetworkManagerDoes_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("value");

    QTest::newRow("plain") << QByteArray("id=a b") << QByteArray("a b");
    QTest::newRow("spaces after") << QByteArray("id=a \t ") << QByteArray("a \t ");
    QTest::newRow("spaces before") << QByteArray("id= \ta") << QByteArray("a");
    QTest::newRow("spaces around the key") << QByteArray(" id =a") << QByteArray("a");
    QTest::newRow("only spaces") << QByteArray("id=  ") << QByteArray();
    QTest::newRow("line end of another system") << QByteArray("id=a \r") << QByteArray("a ");
    QTest::newRow("escapes") << QByteArray("id=\\sa\\tb\\nc\\rd\\\\e")
                             << QByteArray(" a\tb\nc\rd\\e");
    QTest::newRow("unknown escape") << QByteArray("id=a\\xb\\") << QByteArray("a\\xb\\");
    QTest::newRow("comment") << QByteArray(" #id=a") << QByteArray();
}

void tst_simulated_keyfile::valuesAreReadAsNetworkManagerDoes()
{
    QFETCH(QByteArray, line);

    const Keyfile keyfile("[connection]\n" + line.toStdString() + "\n");

    QTEST(QByteArray::fromStdString(keyfile.text("connection", "id")), "value");
}

void tst_simulated_keyfile::lastOfRepeatedKeysCounts()
{
    Keyfile keyfile("[connection]\nid=first\ntype=wifi\n[ipv4]\n[connection]\nid=last\n");

    QCOMPARE(keyfile.text("connection", "id"), std::string("last"));
    QCOMPARE(Keyfile(keyfile.toText()).text("connection", "id"), std::string("last"));
    keyfile.setText("connection", "id", "new");
    QCOMPARE(keyfile.toText(), std::string("[connection]\nid=new\ntype=wifi\n\n[ipv4]\n"));
}

void tst_simulated_keyfile::ssidIsReadInEveryForm_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QByteArray>("ssid");

    QTest::newRow("text") << QByteArray("Net") << QByteArray("Net");
    QTest::newRow("bytes") << QByteArray("78;101;116;") << QByteArray("Net");
    QTest::newRow("semicolon") << QByteArray("a\\\\;b") << QByteArray("a;b");
    QTest::newRow("backslash before a semicolon")
        << QByteArray("a\\\\\\\\;b") << QByteArray("a\\;b");
    QTest::newRow("space after") << QByteArray("Net ") << QByteArray("Net ");
}

void tst_simulated_keyfile::ssidIsReadInEveryForm()
{
    QFETCH(QByteArray, value);

    const Keyfile keyfile("[wifi]\nssid=" + value.toStdString() + "\n");

    QTEST(QByteArray::fromStdString(keyfile.ssid()), "ssid");
}

void tst_simulated_keyfile::writtenTextIsReadBack_data()
{
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("spaces around") << QByteArray("  a  ");
    QTest::newRow("semicolons and a backslash") << QByteArray("a;b\\c\\");
    QTest::newRow("backslash before a semicolon") << QByteArray("a\\;b\\\\;;");
    QTest::newRow("looks like bytes") << QByteArray("82;111;");
    QTest::newRow("Chinese") << QByteArray("机器人");
    QTest::newRow("looks like an escape") << QByteArray("a\\sb\\nc");
}

void tst_simulated_keyfile::writtenTextIsReadBack()
{
    QFETCH(QByteArray, text);
    Keyfile keyfile;
    keyfile.setText("connection", "id", text.toStdString());
    keyfile.setSsid(text.toStdString());

    const Keyfile read(keyfile.toText());

    QCOMPARE(QByteArray::fromStdString(read.text("connection", "id")), text);
    QCOMPARE(QByteArray::fromStdString(read.ssid()), text);
}

QTEST_GUILESS_MAIN(tst_simulated_keyfile)
#include "tst_simulated_keyfile.moc"
