#include <QGridLayout>
#include <QLabel>
#include <QProgressBar>

#include <algorithm>
#include <cmath>

#include "tests/ui/panel_support.h"
#include "ui/toner_widget/toner_widget.h"

namespace {

const QStringList barNames{"pbTonerBlack", "pbTonerCyan", "pbTonerMagenta", "pbTonerYellow", "pbTonerRed"};

// Which of the bars would be seen when the widget is shown, as letters.
QString visibleBars(const TonerWidget& toner)
{
    const QString letters = QStringLiteral("KCMYR");
    QString visible;
    for (int i = 0; i < barNames.size(); ++i) {
        if (toner.findChild<QProgressBar*>(barNames.at(i))->isVisibleTo(&toner)) {
            visible += letters.at(i);
        }
    }
    return visible;
}

void setToner(TonerWidget& toner, const QString& bar, int level, bool showPercent)
{
    if (bar == QLatin1String("pbTonerBlack")) {
        toner.setBlackToner(level, showPercent);
    } else if (bar == QLatin1String("pbTonerCyan")) {
        toner.setCyanToner(level, showPercent);
    } else if (bar == QLatin1String("pbTonerMagenta")) {
        toner.setMagentaToner(level, showPercent);
    } else if (bar == QLatin1String("pbTonerYellow")) {
        toner.setYellowToner(level, showPercent);
    } else {
        toner.setRedToner(level, showPercent);
    }
}

bool hasPixel(const QImage& image, QRgb colour)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) == colour) {
                return true;
            }
        }
    }
    return false;
}

// The application's colours are a dark theme's while it lives.
class DarkTheme
{
public:
    DarkTheme() : m_before(QApplication::palette())
    {
        QPalette dark(QColor(0x35, 0x35, 0x35), QColor(0x2a, 0x2a, 0x2a));
        dark.setColor(QPalette::Text, Qt::white);
        dark.setColor(QPalette::WindowText, Qt::white);
        QApplication::setPalette(dark);
    }
    ~DarkTheme() { QApplication::setPalette(m_before); }
    DarkTheme(const DarkTheme&) = delete;
    DarkTheme& operator=(const DarkTheme&) = delete;

private:
    const QPalette m_before;
};

// WCAG 2: 1 for the same colour, 21 for black and white; 4.5 is readable.
double contrast(const QColor& one, const QColor& other)
{
    const auto luminance = [](const QColor& colour) {
        const auto linear = [](double part) {
            return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
               0.0722 * linear(colour.blueF());
    };
    const double a = luminance(one);
    const double b = luminance(other);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

// What stands out most from the ground inside a bar: its text.
QRgb farthestFrom(const QColor& ground, const QImage& bar)
{
    QRgb farthest = ground.rgb();
    for (int y = bar.height() / 4; y < bar.height() * 3 / 4; ++y) {
        for (int x = bar.width() / 4; x < bar.width() * 3 / 4; ++x) {
            if (contrast(bar.pixel(x, y), ground) > contrast(farthest, ground)) {
                farthest = bar.pixel(x, y);
            }
        }
    }
    return farthest;
}

} // namespace

class TonerWidgetTest : public QObject
{
    Q_OBJECT

private slots:
    void formIsBuiltInOrder();
    void declaresNoSignalsOrSlots();
    void labelKeepsItsPlaceholder();
    void styleSheets_data();
    void styleSheets();
    void barsStartFullAndVisible_data();
    void barsStartFullAndVisible();
    void levels_data();
    void levels();
    void levelOutOfRangeReplacesTheOneBefore();
    void colourModes_data();
    void colourModes();
    void everyModeSetsEveryBar();
    void levelsChangeNoVisibility();
    void pageCount_data();
    void pageCount();
    void clearedPageCountIsEmpty();
    void blackBarWritesInWhite();
    void aDarkThemeLeavesTheTextReadable_data();
    void aDarkThemeLeavesTheTextReadable();
};

void TonerWidgetTest::formIsBuiltInOrder()
{
    TonerWidget toner(nullptr);
    QCOMPARE(toner.objectName(), QStringLiteral("TonerWidget"));
    QCOMPARE(toner.windowTitle(), QStringLiteral("Form"));
    QCOMPARE(toner.maximumSize(), QSize(600, 16777215));
    QCOMPARE(childNames(&toner),
             QStringList({"gridLayout"}) + barNames + QStringList({"label", "labelPageCount"}));

    auto* grid = qobject_cast<QGridLayout*>(toner.layout());
    QVERIFY(grid != nullptr);
    QCOMPARE(itemNames(grid), QStringList({"verticalLayout", "-"}));
    QLayout* column = grid->itemAtPosition(0, 0)->layout();
    QCOMPARE(itemNames(column), barNames + QStringList({"label", "horizontalLayout"}));
    QCOMPARE(itemNames(column->itemAt(6)->layout()), QStringList({"-", "labelPageCount", "-"}));
    QSpacerItem* spacer = grid->itemAtPosition(1, 0)->spacerItem();
    QVERIFY(spacer != nullptr);
    QCOMPARE(spacer->sizeHint(), QSize(20, 40));
    QCOMPARE(spacer->expandingDirections(), Qt::Orientations(Qt::Vertical));
}

void TonerWidgetTest::declaresNoSignalsOrSlots()
{
    QCOMPARE(QByteArray(TonerWidget::staticMetaObject.className()), QByteArray("TonerWidget"));
    QCOMPARE(ownMethods(TonerWidget::staticMetaObject), QStringList());
}

void TonerWidgetTest::labelKeepsItsPlaceholder()
{
    TonerWidget toner(nullptr);
    QCOMPARE(child<QLabel>(toner, "label")->text(), QStringLiteral("TextLabel"));
}

void TonerWidgetTest::styleSheets_data()
{
    QTest::addColumn<QString>("colour");
    QTest::addColumn<QString>("bar");
    QTest::addColumn<QString>("sheet");
    QTest::newRow("magenta")
        << "magenta"
        << "pbTonerMagenta"
        << "QProgressBar {   border: 1px solid grey;   border-radius: 5px;   background-color: "
           "#C0C0C0;}QProgressBar::chunk {   background-color: #E4007F;   width: 1px;}QProgressBar {   "
           "border: 2px solid grey;   border-radius: 5px;   text-align: center;}";
    QTest::newRow("yellow")
        << "yellow"
        << "pbTonerYellow"
        << "QProgressBar {   border: 1px solid grey;   border-radius: 5px;   background-color: "
           "#C0C0C0;}QProgressBar::chunk {   background-color: #FFFF00;   width: 1px;}QProgressBar {   "
           "border: 2px solid grey;   border-radius: 5px;   text-align: center;}";
    QTest::newRow("black")
        << "black"
        << "pbTonerBlack"
        << "QProgressBar {   border: 1px solid grey;   border-radius: 5px;   background-color: "
           "#C0C0C0;}QProgressBar::chunk {   background-color: #000000;   width: 1px;}QProgressBar {   "
           "border: 2px solid grey;   border-radius: 5px;   text-align: center;color:#ffffff}";
    QTest::newRow("cyan")
        << "cyan"
        << "pbTonerCyan"
        << "QProgressBar {   border: 1px solid grey;   border-radius: 5px;   background-color: "
           "#C0C0C0;}QProgressBar::chunk {   background-color: #00FFFF;   width: 1px;}QProgressBar {   "
           "border: 2px solid grey;   border-radius: 5px;   text-align: center;}";
    QTest::newRow("red")
        << "red"
        << "pbTonerRed"
        << "QProgressBar {   border: 1px solid grey;   border-radius: 5px;   background-color: "
           "#C0C0C0;}QProgressBar::chunk {   background-color: #FF0000;   width: 1px;}QProgressBar {   "
           "border: 2px solid grey;   border-radius: 5px;   text-align: center;}";
    QTest::newRow("another colour") << "green"
                                    << ""
                                    << "";
    QTest::newRow("another case") << "Red"
                                  << ""
                                  << "";
    QTest::newRow("no colour") << ""
                               << ""
                               << "";
}

void TonerWidgetTest::styleSheets()
{
    QFETCH(QString, colour);
    QFETCH(QString, bar);
    QFETCH(QString, sheet);
    TonerWidget toner(nullptr);
    QCOMPARE(toner.styleSheetForColor(colour), sheet);
    if (!bar.isEmpty()) {
        QCOMPARE(toner.findChild<QProgressBar*>(bar)->styleSheet(), sheet);
    }
}

void TonerWidgetTest::barsStartFullAndVisible_data()
{
    QTest::addColumn<QString>("bar");
    QTest::addColumn<QString>("format");
    QTest::newRow("black") << "pbTonerBlack"
                           << "碳粉余量 (K)";
    QTest::newRow("cyan") << "pbTonerCyan"
                          << "碳粉余量 (C)";
    QTest::newRow("magenta") << "pbTonerMagenta"
                             << "碳粉余量 (M)";
    QTest::newRow("yellow") << "pbTonerYellow"
                            << "碳粉余量 (Y)";
    QTest::newRow("red") << "pbTonerRed"
                         << "碳粉余量 (R)";
}

void TonerWidgetTest::barsStartFullAndVisible()
{
    QFETCH(QString, bar);
    QFETCH(QString, format);
    TonerWidget toner(nullptr);
    const auto* progress = toner.findChild<QProgressBar*>(bar);
    QCOMPARE(progress->minimum(), 0);
    QCOMPARE(progress->maximum(), 100);
    QCOMPARE(progress->value(), 100);
    QCOMPARE(progress->format(), format);
    QCOMPARE(int(progress->alignment()), 0x86);
    QVERIFY(progress->isVisibleTo(&toner));
}

void TonerWidgetTest::levels_data()
{
    QTest::addColumn<QString>("bar");
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("showPercent");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("format");
    QTest::newRow("black 40") << "pbTonerBlack" << 40 << true << 40 << "碳粉余量 (K) : 40%";
    QTest::newRow("cyan 0 without number") << "pbTonerCyan" << 0 << false << 0 << "碳粉余量 (C) : ";
    QTest::newRow("yellow 150") << "pbTonerYellow" << 150 << true << 100 << "碳粉余量 (Y) : ";
    QTest::newRow("magenta 7") << "pbTonerMagenta" << 7 << true << 7 << "碳粉余量 (M) : 7%";
    QTest::newRow("red 99") << "pbTonerRed" << 99 << true << 99 << "碳粉余量 (R) : 99%";
    QTest::newRow("0 with number") << "pbTonerBlack" << 0 << true << 0 << "碳粉余量 (K) : 0%";
    QTest::newRow("100 has its number") << "pbTonerBlack" << 100 << true << 100 << "碳粉余量 (K) : 100%";
    QTest::newRow("101 has none") << "pbTonerRed" << 101 << true << 100 << "碳粉余量 (R) : ";
    QTest::newRow("level without number") << "pbTonerMagenta" << 55 << false << 55 << "碳粉余量 (M) : ";
    QTest::newRow("negative with number") << "pbTonerMagenta" << -1 << true << 0 << "碳粉余量 (M) : -1%";
    QTest::newRow("negative without") << "pbTonerMagenta" << -1 << false << 0 << "碳粉余量 (M) : ";
    QTest::newRow("huge") << "pbTonerCyan" << 2147483647 << true << 100 << "碳粉余量 (C) : ";
}

void TonerWidgetTest::levels()
{
    QFETCH(QString, bar);
    QFETCH(int, level);
    QFETCH(bool, showPercent);
    TonerWidget toner(nullptr);
    setToner(toner, bar, level, showPercent);
    const auto* progress = toner.findChild<QProgressBar*>(bar);
    QTEST(progress->value(), "value");
    QTEST(progress->format(), "format");
    QTEST(progress->text(), "format"); // what is painted
    for (const QString& other : barNames) {
        if (other != bar) {
            QCOMPARE(toner.findChild<QProgressBar*>(other)->value(), 100);
        }
    }
}

void TonerWidgetTest::levelOutOfRangeReplacesTheOneBefore()
{
    TonerWidget toner(nullptr);
    const auto* black = child<QProgressBar>(toner, "pbTonerBlack");
    toner.setBlackToner(40, true);
    toner.setBlackToner(150, true);
    QCOMPARE(black->value(), 100);
    toner.setBlackToner(40, true);
    toner.setBlackToner(-3, false);
    QCOMPARE(black->value(), 0);
}

void TonerWidgetTest::colourModes_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("visible");
    QTest::newRow("color") << "color"
                           << "KCMY";
    QTest::newRow("blackWhite") << "blackWhite"
                                << "K";
    QTest::newRow("redBlack") << "redBlack"
                              << "KR";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("other case") << "Color"
                                << "";
    QTest::newRow("trailing blank") << "redBlack "
                                    << "";
}

void TonerWidgetTest::colourModes()
{
    QFETCH(QString, mode);
    TonerWidget toner(nullptr);
    toner.setColorMode(mode);
    QTEST(visibleBars(toner), "visible");
}

void TonerWidgetTest::everyModeSetsEveryBar()
{
    TonerWidget toner(nullptr);
    const QMap<QString, QString> modes{
        {"color", "KCMY"}, {"blackWhite", "K"}, {"redBlack", "KR"}, {QString(), QString()}};
    for (auto from = modes.begin(); from != modes.end(); ++from) {
        for (auto to = modes.begin(); to != modes.end(); ++to) {
            toner.setColorMode(from.key());
            toner.setColorMode(to.key());
            QCOMPARE(visibleBars(toner), to.value());
        }
    }
}

void TonerWidgetTest::levelsChangeNoVisibility()
{
    TonerWidget toner(nullptr);
    toner.setColorMode(QStringLiteral("blackWhite"));
    for (const QString& bar : barNames) {
        setToner(toner, bar, 50, true);
        setToner(toner, bar, -1, true);
    }
    QCOMPARE(visibleBars(toner), QStringLiteral("K"));
}

void TonerWidgetTest::pageCount_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("text");
    QTest::newRow("0") << 0 << "打印总页数:    0页";
    QTest::newRow("1234") << 1234 << "打印总页数:    1234页";
    QTest::newRow("greatest") << 2147483647 << "打印总页数:    2147483647页";
}

void TonerWidgetTest::pageCount()
{
    QFETCH(int, count);
    TonerWidget toner(nullptr);
    toner.setPageCount(count);
    QTEST(child<QLabel>(toner, "labelPageCount")->text(), "text");
}

void TonerWidgetTest::clearedPageCountIsEmpty()
{
    TonerWidget toner(nullptr);
    toner.setPageCount(12);
    toner.clearPageCount();
    QCOMPARE(child<QLabel>(toner, "labelPageCount")->text(), QString());
}

void TonerWidgetTest::blackBarWritesInWhite()
{
    TonerWidget toner(nullptr);
    toner.setBlackToner(0, true);
    toner.setCyanToner(0, true);
    toner.resize(400, 240);
    toner.show();
    QVERIFY(QTest::qWaitForWindowExposed(&toner));
    QVERIFY(hasPixel(child<QWidget>(toner, "pbTonerBlack")->grab().toImage(), qRgb(255, 255, 255)));
    QVERIFY(!hasPixel(child<QWidget>(toner, "pbTonerCyan")->grab().toImage(), qRgb(255, 255, 255)));
}

void TonerWidgetTest::aDarkThemeLeavesTheTextReadable_data()
{
    QTest::addColumn<QString>("bar");
    QTest::addColumn<QColor>("chunk");
    QTest::newRow("cyan") << "pbTonerCyan" << QColor(0x00, 0xff, 0xff);
    QTest::newRow("magenta") << "pbTonerMagenta" << QColor(0xe4, 0x00, 0x7f);
    QTest::newRow("yellow") << "pbTonerYellow" << QColor(0xff, 0xff, 0x00);
    QTest::newRow("red") << "pbTonerRed" << QColor(0xff, 0x00, 0x00);
}

void TonerWidgetTest::aDarkThemeLeavesTheTextReadable()
{
    QFETCH(QString, bar);
    QFETCH(QColor, chunk);
    const DarkTheme dark;
    TonerWidget toner(nullptr);
    toner.resize(400, 240);
    toner.show();
    QVERIFY(QTest::qWaitForWindowExposed(&toner));
    // Under the text is the chunk where the bar is full, and the sheets' grey where it is empty.
    const QPair<int, QColor> grounds[] = {{100, chunk}, {0, QColor(0xc0, 0xc0, 0xc0)}};
    for (const auto& [level, ground] : grounds) {
        setToner(toner, bar, level, true);
        const QRgb text = farthestFrom(ground, child<QWidget>(toner, qPrintable(bar))->grab().toImage());
        QVERIFY2(contrast(text, ground) >= 4.5, qPrintable(QColor(text).name()));
    }
}

QTEST_MAIN(TonerWidgetTest)
#include "test_toner_widget.moc"
