#include <QRandomGenerator>
#include <QSignalSpy>

#include "tests/ui/ip_editor_support.h"

// What the filter consumes, what it only asks about, and what it ignores.
class LineEditIpFilterTest : public QObject
{
    Q_OBJECT

private slots:
    void onlyReturnIsConsumed_data();
    void onlyReturnIsConsumed();
    void otherKeysOnlyAsk_data();
    void otherKeysOnlyAsk();
    void treatedKeysDoNotAsk_data();
    void treatedKeysDoNotAsk();
    void askingNeverMovesTheFocus();
    void theAskingIsQueued();
    void keysElsewhereAreIgnored();
    void keyPressThatIsNoKeyEventIsIgnored();
    void everyKeySequenceLeavesAnAddress();
};

void LineEditIpFilterTest::onlyReturnIsConsumed_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<bool>("consumed");
    QTest::newRow("Return") << int(Qt::Key_Return) << true;
    QTest::newRow("Enter") << int(Qt::Key_Enter) << false;
    QTest::newRow("digit") << int(Qt::Key_5) << false;
    QTest::newRow("period") << int(Qt::Key_Period) << false;
    QTest::newRow("Backspace") << int(Qt::Key_Backspace) << false;
    QTest::newRow("Left") << int(Qt::Key_Left) << false;
    QTest::newRow("Right") << int(Qt::Key_Right) << false;
    QTest::newRow("Delete") << int(Qt::Key_Delete) << false;
    QTest::newRow("Tab") << int(Qt::Key_Tab) << false;
    QTest::newRow("Escape") << int(Qt::Key_Escape) << false;
}

void LineEditIpFilterTest::onlyReturnIsConsumed()
{
    QFETCH(int, key);
    IpBench bench;
    QVERIFY(bench.ready);
    for (int i = 0; i < 4; ++i) {
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
        QObject* filter = bench.ip;
        QTEST(filter->eventFilter(bench.octets.at(i), &press), "consumed");
    }
}

void LineEditIpFilterTest::otherKeysOnlyAsk_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("letter") << int(Qt::Key_A);
    QTest::newRow("blank") << int(Qt::Key_Space);
    QTest::newRow("comma") << int(Qt::Key_Comma);
    QTest::newRow("Escape") << int(Qt::Key_Escape);
    QTest::newRow("Delete") << int(Qt::Key_Delete);
    QTest::newRow("Home") << int(Qt::Key_Home);
    QTest::newRow("End") << int(Qt::Key_End);
    QTest::newRow("Up") << int(Qt::Key_Up);
    QTest::newRow("Down") << int(Qt::Key_Down);
    QTest::newRow("keypad Enter") << int(Qt::Key_Enter);
    QTest::newRow("F5") << int(Qt::Key_F5);
}

void LineEditIpFilterTest::otherKeysOnlyAsk()
{
    QFETCH(int, key);
    IpBench bench;
    QVERIFY(bench.ready);
    bench.enter(1, "192", 3);
    QSignalSpy asked(bench.ip, &TLineEditIP::signalTextChanged);
    bench.type(static_cast<Qt::Key>(key));
    QCOMPARE(asked.count(), 1);
    QCOMPARE(asked.at(0).at(0).value<QLineEdit*>(), bench.octets.at(1));
    QVERIFY(bench.caret().startsWith("1:"));
    QCOMPARE(bench.texts(), QStringLiteral(",192,,"));
}

void LineEditIpFilterTest::treatedKeysDoNotAsk_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("0") << int(Qt::Key_0);
    QTest::newRow("9") << int(Qt::Key_9);
    QTest::newRow("period") << int(Qt::Key_Period);
    QTest::newRow("Backspace") << int(Qt::Key_Backspace);
    QTest::newRow("Left") << int(Qt::Key_Left);
    QTest::newRow("Right") << int(Qt::Key_Right);
    QTest::newRow("Return") << int(Qt::Key_Return);
}

void LineEditIpFilterTest::treatedKeysDoNotAsk()
{
    QFETCH(int, key);
    IpBench bench;
    QVERIFY(bench.ready);
    bench.enter(1, "1", 1);
    QSignalSpy asked(bench.ip, &TLineEditIP::signalTextChanged);
    bench.type(static_cast<Qt::Key>(key));
    QCOMPARE(asked.count(), 0);
}

void LineEditIpFilterTest::askingNeverMovesTheFocus()
{
    IpBench bench;
    QVERIFY(bench.ready);
    for (int i = 0; i < 4; ++i) {
        bench.enter(i, "255", 3);
        bench.octets.at(i)->end(false);
        for (const Qt::Key key : {Qt::Key_End, Qt::Key_A, Qt::Key_Delete}) {
            bench.type(key);
            QCOMPARE(bench.caret(), QStringLiteral("%1:3").arg(i));
        }
        QVERIFY(
            QMetaObject::invokeMethod(bench.ip, "slotTextChanged", Q_ARG(QLineEdit*, bench.octets.at(i))));
        QCOMPARE(bench.caret(), QStringLiteral("%1:3").arg(i));
    }
    // Neither null nor a stranger is an octet.
    QVERIFY(QMetaObject::invokeMethod(bench.ip, "slotTextChanged", Q_ARG(QLineEdit*, nullptr)));
    QVERIFY(QMetaObject::invokeMethod(bench.ip, "slotTextChanged", Q_ARG(QLineEdit*, bench.before)));
    QCOMPARE(bench.caret(), QStringLiteral("3:3"));
}

void LineEditIpFilterTest::theAskingIsQueued()
{
    IpBench bench;
    QVERIFY(bench.ready);
    // An octet of four characters, which no user can make, shows when the check runs and that it selects.
    bench.enter(0, "", 0);
    bench.octets.at(0)->setMaxLength(4);
    bench.octets.at(0)->setText("1234");
    bench.octets.at(1)->setText("56");
    QTest::keyClick(bench.octets.at(0), Qt::Key_End);
    QCOMPARE(bench.caret(), QStringLiteral("0:4"));
    QTRY_COMPARE(bench.caret(), QStringLiteral("1:2 56"));
}

void LineEditIpFilterTest::keysElsewhereAreIgnored()
{
    IpBench bench;
    QVERIFY(bench.ready);
    bench.enter(1, "12", 2);
    QSignalSpy asked(bench.ip, &TLineEditIP::signalTextChanged);
    QObject* filter = bench.ip;
    for (const int key : {int(Qt::Key_Return), int(Qt::Key_A), int(Qt::Key_Left), int(Qt::Key_3)}) {
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
        QVERIFY(!filter->eventFilter(bench.before, &press));
        QVERIFY(!filter->eventFilter(bench.ip, &press));
        QVERIFY(!filter->eventFilter(this, &press));
        QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
        QVERIFY(!filter->eventFilter(bench.octets.at(1), &release));
    }
    QCOMPARE(asked.count(), 0);
    QCOMPARE(bench.caret(), QStringLiteral("1:2"));
}

void LineEditIpFilterTest::keyPressThatIsNoKeyEventIsIgnored()
{
    IpBench bench;
    QVERIFY(bench.ready);
    bench.enter(1, "12", 2);
    QEvent press(QEvent::KeyPress);
    QObject* filter = bench.ip;
    QVERIFY(!filter->eventFilter(bench.octets.at(1), &press));
    QCOMPARE(bench.caret(), QStringLiteral("1:2"));
}

// Whatever is typed, no octet ever holds more than three digits or a value that is not 0..255.
void LineEditIpFilterTest::everyKeySequenceLeavesAnAddress()
{
    IpBench bench;
    QVERIFY(bench.ready);
    bench.enter(0, "", 0);
    const quint32 seed = qEnvironmentVariableIntValue("KEL_SEED") != 0
                             ? quint32(qEnvironmentVariableIntValue("KEL_SEED"))
                             : QRandomGenerator::global()->generate();
    qInfo("seed %u (KEL_SEED repeats it)", seed);
    QRandomGenerator random(seed);
    const QList<Qt::Key> keys{Qt::Key_0,    Qt::Key_1,    Qt::Key_2,      Qt::Key_5,         Qt::Key_6,
                              Qt::Key_9,    Qt::Key_Left, Qt::Key_Right,  Qt::Key_Backspace, Qt::Key_Period,
                              Qt::Key_Home, Qt::Key_End,  Qt::Key_Return, Qt::Key_Delete,    Qt::Key_X};
    for (int step = 0; step < 3000; ++step) {
        bench.type(keys.at(int(random.bounded(quint32(keys.size())))));
        QVERIFY(bench.caret() != QLatin1String("elsewhere"));
        for (const QLineEdit* octet : bench.octets) {
            QVERIFY2(octet->text().length() <= 3 && octet->text().toInt() <= 255, qPrintable(bench.texts()));
        }
    }
}

QTEST_MAIN(LineEditIpFilterTest)
#include "test_line_edit_ip_filter.moc"
