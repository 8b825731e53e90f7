// How much of a text from outside a widget is given.
#include <QtTest>

#include "ui/shown_text/shown_text.h"

class TestShownText : public QObject
{
    Q_OBJECT

private slots:
    void aLineOfTheLongestLengthIsWhole();
    void noCharacterIsCutInItsOctets_data();
    void noCharacterIsCutInItsOctets();
    void noPairIsCut();
    void octetsThatAreNoCharactersAreShownAllTheSame();
    void theLastItemsAreShown();
    void itemsEndWithTheOneThatPassesTheLimit();
    void nothingBreaksOutOfItsLine_data();
    void nothingBreaksOutOfItsLine();
};

namespace {

constexpr int kLongest = 32 * 1024;
constexpr int kLongestRow = 4096;

} // namespace

void TestShownText::aLineOfTheLongestLengthIsWhole()
{
    QCOMPARE(shownLine(std::string(kLongest, 'x')).size(), kLongest);
    QCOMPARE(shownLine(std::string(kLongest + 1, 'x')).size(), kLongest);
    QCOMPARE(shownRow(QString(kLongestRow, QLatin1Char('x'))).size(), kLongestRow);
    QCOMPARE(shownRow(QString(kLongestRow + 1, QLatin1Char('x'))).size(), kLongestRow);
}

void TestShownText::noCharacterIsCutInItsOctets_data()
{
    QTest::addColumn<QString>("character");
    QTest::newRow("two octets") << QStringLiteral("é");
    QTest::newRow("three octets") << QStringLiteral("纸");
    QTest::newRow("four octets") << QStringLiteral("🖨");
}

void TestShownText::noCharacterIsCutInItsOctets()
{
    QFETCH(QString, character);
    const std::string utf8 = character.toStdString();
    for (std::size_t before = 1; before < utf8.size(); ++before) {
        const std::string head(kLongest - before, 'x');
        QCOMPARE(shownLine(head + utf8), QString::fromStdString(head));
    }
    const std::string head(kLongest - utf8.size(), 'x');
    QCOMPARE(shownLine(head + utf8 + "y"), QString::fromStdString(head + utf8));
}

void TestShownText::noPairIsCut()
{
    const QString pair = QStringLiteral("🖨");
    QCOMPARE(pair.size(), 2);
    const QString odd(kLongestRow - 1, QLatin1Char('x'));
    const QString even(kLongestRow - 2, QLatin1Char('x'));
    QCOMPARE(shownRow(odd + pair), odd);
    QCOMPARE(shownRow(even + pair + pair), even + pair);
}

void TestShownText::octetsThatAreNoCharactersAreShownAllTheSame()
{
    QVERIFY(shownLine(std::string(kLongest + 10, '\x80')).size() >= kLongest - 3);
}

void TestShownText::theLastItemsAreShown()
{
    QCOMPARE(shownItems("a-b-c\nd", 3), QStringLiteral("b\nc\nd"));
    QCOMPARE(shownItems("a-b", 3), QStringLiteral("a\nb"));
}

void TestShownText::itemsEndWithTheOneThatPassesTheLimit()
{
    std::string items;
    for (int i = 0; i < 100; ++i) {
        items += std::string(kLongest, 'x') + "-";
    }
    items += "last";
    const QStringList shown = shownItems(items, 1000).split(QLatin1Char('\n'));
    // Eight lines of 32 Ki units beside "last" are more than 256 Ki.
    QCOMPARE(shown.size(), 9);
    QCOMPARE(shown.last(), QStringLiteral("last"));
    QCOMPARE(shown.first().size(), kLongest);
}

void TestShownText::nothingBreaksOutOfItsLine_data()
{
    QTest::addColumn<int>("point");
    const auto add = [](int first, int last) {
        for (int point = first; point <= last; ++point) {
            QTest::newRow(qPrintable(QString::asprintf("U+%04X", point))) << point;
        }
    };
    add(0x01, 0x1F);
    add(0x7F, 0x9F);
    add(0x061C, 0x061C);
    add(0x200E, 0x200F);
    add(0x2028, 0x202E);
    add(0x2066, 0x2069);
    add(0xFEFF, 0xFEFF);
}

void TestShownText::nothingBreaksOutOfItsLine()
{
    QFETCH(int, point);
    const QString hostile = QStringLiteral("a%1b").arg(QChar(point));
    const QString shown = QStringLiteral("a b");
    QCOMPARE(shownRow(hostile), shown);
    QCOMPARE(shownLine(hostile.toStdString()), shown);
    // A line's end separates items there.
    QCOMPARE(shownItems(hostile.toStdString(), 9), point == '\n' ? QStringLiteral("a\nb") : shown);
}

QTEST_GUILESS_MAIN(TestShownText)
#include "test_shown_text.moc"
