#include "tests/ui/ip_editor_support.h"

// The keyboard rules of the address editor, driven by key events that go where the focus is.
class LineEditIpKeysTest : public QObject
{
    Q_OBJECT

private slots:
    void tabbingInSelectsTheFirstOctet();
    void focusOnAnOctetIsLeftAlone();
    void wholeAddressIsTypedWithoutDots();
    void wholeAddressIsTypedWithDots();

    void digit_data();
    void digit();
    void period_data();
    void period();
    void backspace_data();
    void backspace();
    void left_data();
    void left();
    void right_data();
    void right();
    void returnKey_data();
    void returnKey();
    void digitReplacesASelection();

private:
    static void addKeyColumns();
    static void run(int keyCode);
};

void LineEditIpKeysTest::tabbingInSelectsTheFirstOctet()
{
    IpBench bench;
    QVERIFY(bench.ready);
    bench.octets.at(0)->setText("192");
    bench.before->setFocus();
    QTest::keyClick(bench.before, Qt::Key_Tab);
    QCOMPARE(bench.caret(), QStringLiteral("0:3 192"));
    bench.enter(2, "7", 0);
    bench.ip->setFocus(Qt::MouseFocusReason);
    QCOMPARE(bench.caret(), QStringLiteral("0:3 192"));
}

void LineEditIpKeysTest::focusOnAnOctetIsLeftAlone()
{
    IpBench bench;
    QVERIFY(bench.ready);
    bench.octets.at(0)->setText("1");
    bench.enter(2, "123", 1);
    QCOMPARE(bench.caret(), QStringLiteral("2:1"));
}

void LineEditIpKeysTest::wholeAddressIsTypedWithoutDots()
{
    IpBench bench;
    QVERIFY(bench.ready);
    bench.enter(0, "", 0);
    bench.type("192");
    QCOMPARE(bench.texts(), QStringLiteral("192,,,"));
    QCOMPARE(bench.caret(), QStringLiteral("1:0"));
    bench.type("168");
    QCOMPARE(bench.texts(), QStringLiteral("192,168,,"));
    QCOMPARE(bench.caret(), QStringLiteral("2:0"));
    bench.type("100200");
    QCOMPARE(bench.texts(), QStringLiteral("192,168,100,200"));
    QCOMPARE(bench.caret(), QStringLiteral("3:3"));
    QCOMPARE(bench.ip->text(), QStringLiteral("192.168.100.200"));
}

void LineEditIpKeysTest::wholeAddressIsTypedWithDots()
{
    IpBench bench;
    QVERIFY(bench.ready);
    bench.enter(0, "", 0);
    bench.type("10.0.0.7");
    QCOMPARE(bench.ip->text(), QStringLiteral("10.0.0.7"));
    QCOMPARE(bench.caret(), QStringLiteral("3:1"));
}

// Octet `index` holds `text` with the caret at `cursor`; the others hold 11, 12, 13, 14 by their place.
void LineEditIpKeysTest::addKeyColumns()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("cursor");
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("textAfter");
    QTest::addColumn<QString>("caretAfter");
}

void LineEditIpKeysTest::run(int keyCode)
{
    QFETCH(int, index);
    QFETCH(QString, text);
    QFETCH(int, cursor);
    QFETCH(QString, textAfter);
    QFETCH(QString, caretAfter);
    IpBench bench;
    QVERIFY(bench.ready);
    QStringList expected{"11", "12", "13", "14"};
    for (int i = 0; i < 4; ++i) {
        bench.octets.at(i)->setText(expected.at(i));
    }
    bench.enter(index, text, cursor);
    bench.type(static_cast<Qt::Key>(keyCode));
    expected[index] = textAfter;
    QCOMPARE(bench.texts(), expected.join(','));
    QCOMPARE(bench.caret(), caretAfter);
}

void LineEditIpKeysTest::digit_data()
{
    addKeyColumns();
    const auto row = [](const char* tag, int index, const char* text, int cursor, char key,
                        const char* textAfter, const char* caretAfter) {
        QTest::newRow(tag) << index << text << cursor << int(key) << textAfter << caretAfter;
    };
    row("empty octet", 0, "", 0, '1', "1", "0:1");
    row("second digit", 0, "1", 1, '9', "19", "0:2");
    row("third digit moves on", 0, "19", 2, '2', "192", "1:0");
    row("third digit in the last octet stays", 3, "19", 2, '2', "192", "3:3");
    row("full octet only moves", 0, "192", 3, '5', "192", "1:0");
    row("full octet, caret at the start", 1, "192", 0, '5', "192", "2:0");
    row("full last octet drops the digit", 3, "192", 3, '5', "192", "3:3");
    row("26 takes no digit", 0, "26", 2, '0', "26", "1:0");
    row("26 takes no digit, 9", 2, "26", 2, '9', "26", "3:0");
    row("26 in the last octet", 3, "26", 2, '1', "26", "3:2");
    row("99 takes no digit", 1, "99", 2, '1', "99", "2:0");
    row("26 with the caret at the start takes 1 and moves", 0, "26", 0, '1', "126", "1:0");
    row("12 and 0", 0, "12", 2, '0', "120", "1:0");
    row("12 and 0 at the start", 0, "12", 0, '0', "012", "1:0");
    row("12 and 0 in the middle", 0, "12", 1, '0', "102", "1:0");
    row("12 and 0 in the last octet", 3, "12", 2, '0', "120", "3:3");
    row("25 and 0", 0, "25", 2, '0', "250", "1:0");
    row("25 and 5", 0, "25", 2, '5', "255", "1:0");
    row("25 and 6 is refused but moves", 0, "25", 2, '6', "25", "1:0");
    row("00 and 0", 0, "00", 2, '0', "00", "1:0");
    row("00 and 1 is refused but moves", 0, "00", 2, '1', "00", "1:0");
    row("01 and 0 becomes 010", 0, "01", 2, '0', "010", "1:0");
    row("07 and 1 is refused but moves", 0, "07", 2, '1', "07", "1:0");
    row("0 and 0", 0, "0", 1, '0', "00", "0:2");
    row("0 and 7", 0, "0", 1, '7', "07", "0:2");
    row("2 and 6", 0, "2", 1, '6', "26", "0:2");
    row("9 and 9", 3, "9", 1, '9', "99", "3:2");
}

void LineEditIpKeysTest::digit()
{
    QFETCH(int, key);
    run(key);
}

void LineEditIpKeysTest::period_data()
{
    addKeyColumns();
    const int key = Qt::Key_Period;
    QTest::newRow("moves on") << 0 << "10" << 2 << key << "10"
                              << "1:0";
    QTest::newRow("from the middle too") << 1 << "10" << 1 << key << "10"
                                         << "2:0";
    QTest::newRow("octet 3") << 2 << "1" << 1 << key << "1"
                             << "3:0";
    QTest::newRow("empty octet") << 1 << "" << 0 << key << ""
                                 << "1:0";
    QTest::newRow("last octet") << 3 << "7" << 1 << key << "7"
                                << "3:1";
    QTest::newRow("empty last octet") << 3 << "" << 0 << key << ""
                                      << "3:0";
}

void LineEditIpKeysTest::period()
{
    run(Qt::Key_Period);
}

void LineEditIpKeysTest::backspace_data()
{
    addKeyColumns();
    const int key = Qt::Key_Backspace;
    QTest::newRow("empty octet") << 2 << "" << 0 << key << ""
                                 << "1:2";
    QTest::newRow("start of an octet") << 2 << "77" << 0 << key << "77"
                                       << "1:2";
    QTest::newRow("inside an octet") << 2 << "77" << 1 << key << "7"
                                     << "2:0";
    QTest::newRow("end of an octet") << 2 << "77" << 2 << key << "7"
                                     << "2:1";
    QTest::newRow("start of the first") << 0 << "77" << 0 << key << "77"
                                        << "0:0";
    QTest::newRow("empty first") << 0 << "" << 0 << key << ""
                                 << "0:0";
    QTest::newRow("start of the second") << 1 << "77" << 0 << key << "77"
                                         << "0:2";
}

void LineEditIpKeysTest::backspace()
{
    run(Qt::Key_Backspace);
}

void LineEditIpKeysTest::left_data()
{
    addKeyColumns();
    const int key = Qt::Key_Left;
    QTest::newRow("start of an octet") << 2 << "77" << 0 << key << "77"
                                       << "1:2 12";
    QTest::newRow("empty octet") << 3 << "" << 0 << key << ""
                                 << "2:2 13";
    QTest::newRow("wraps around") << 0 << "77" << 0 << key << "77"
                                  << "3:2 14";
    QTest::newRow("inside an octet") << 2 << "77" << 1 << key << "77"
                                     << "2:0";
    QTest::newRow("end of an octet") << 0 << "77" << 2 << key << "77"
                                     << "0:1";
}

void LineEditIpKeysTest::left()
{
    run(Qt::Key_Left);
}

void LineEditIpKeysTest::right_data()
{
    addKeyColumns();
    const int key = Qt::Key_Right;
    QTest::newRow("end of an octet") << 1 << "77" << 2 << key << "77"
                                     << "2:0";
    QTest::newRow("empty octet") << 0 << "" << 0 << key << ""
                                 << "1:0";
    QTest::newRow("wraps around") << 3 << "77" << 2 << key << "77"
                                  << "0:0";
    QTest::newRow("inside an octet") << 1 << "77" << 1 << key << "77"
                                     << "1:2";
    QTest::newRow("start of an octet") << 1 << "77" << 0 << key << "77"
                                       << "1:1";
}

void LineEditIpKeysTest::right()
{
    run(Qt::Key_Right);
}

void LineEditIpKeysTest::returnKey_data()
{
    addKeyColumns();
    const int key = Qt::Key_Return;
    QTest::newRow("moves on") << 0 << "77" << 1 << key << "77"
                              << "1:2 12";
    QTest::newRow("from an empty octet") << 1 << "" << 0 << key << ""
                                         << "2:2 13";
    QTest::newRow("wraps around") << 3 << "7" << 1 << key << "7"
                                  << "0:2 11";
}

void LineEditIpKeysTest::returnKey()
{
    run(Qt::Key_Return);
}

void LineEditIpKeysTest::digitReplacesASelection()
{
    IpBench bench;
    QVERIFY(bench.ready);
    bench.enter(0, "192", 0);
    bench.octets.at(0)->selectAll();
    bench.type("7");
    QCOMPARE(bench.texts(), QStringLiteral("7,,,"));
    QCOMPARE(bench.caret(), QStringLiteral("0:1"));
    bench.enter(1, "12", 0);
    bench.octets.at(1)->setSelection(0, 1);
    bench.type("0");
    QCOMPARE(bench.texts(), QStringLiteral("7,02,,"));
    QCOMPARE(bench.caret(), QStringLiteral("1:1"));
}

QTEST_MAIN(LineEditIpKeysTest)
#include "test_line_edit_ip_keys.moc"
