// The list's rows lie as in a plain QListWidget of the same font and style, whatever the page does to be
// fast.
#include "tests/ui/printer_list_support.h"

#include <QImage>
#include <QProxyStyle>
#include <QScrollBar>
#include <QStyledItemDelegate>

#include "ui/shown_text/shown_text.h"

Q_DECLARE_METATYPE(std::vector<std::string>)

namespace {

const std::string longName =
    "printer at the far end of the corridor on the third floor of the north wing, room 3.118";

// The page's own list beside a list that nobody did anything to, with the same rows as they are shown.
struct Lists
{
    explicit Lists(const std::vector<std::string>& names)
    {
        for (const std::string& name : names) {
            fakeRegistry().printers.push_back(printer(name));
        }
        page.refreshPrinterList();
        for (const std::string& name : names) {
            plain.addItem(new QListWidgetItem(QIcon(QStringLiteral(":/res/grey.png")),
                                              shownRow(QString::fromStdString(name))));
        }
        plain.setCurrentRow(0);
        page.show();
        plain.show();
        layOut();
    }
    void layOut()
    {
        QCoreApplication::processEvents();
        plain.resize(listOf(page)->size());
        QCoreApplication::processEvents();
    }

    PrinterListPage page{nullptr};
    QListWidget plain;
};

QVector<QRect> rectsOf(const QListWidget& list)
{
    QVector<QRect> rects;
    for (int row = 0; row < list.count(); ++row) {
        rects << list.visualItemRect(list.item(row));
    }
    return rects;
}

void compare(const Lists& lists)
{
    const QListWidget& own = *listOf(lists.page);
    QCOMPARE(own.viewport()->size(), lists.plain.viewport()->size());
    QCOMPARE(rectsOf(own), rectsOf(lists.plain));
    QCOMPARE(own.horizontalScrollBar()->isVisible(), lists.plain.horizontalScrollBar()->isVisible());
    QCOMPARE(own.horizontalScrollBar()->maximum(), lists.plain.horizontalScrollBar()->maximum());
    QCOMPARE(own.verticalScrollBar()->maximum(), lists.plain.verticalScrollBar()->maximum());
}

} // namespace

class TestPrinterListGeometry : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void rowsLieAsInAPlainList_data();
    void rowsLieAsInAPlainList();
    void aLongNameBeforeAShortOneHasAScrollBar();
    void aNewFontMeasuresAnew();
    void aNewStyleMeasuresAnew();
    void aNewStyleSheetMeasuresAnew();
    void aNewIconSizeMeasuresAnew();
    void anotherResolutionMeasuresAnew();
    void aRenamedRowIsMeasured();
    void aChangedIconMeasuresNoRow();
    void namesThatComeAndGoAreForgotten();
};

void TestPrinterListGeometry::initTestCase()
{
    Q_INIT_RESOURCE(kel);
}

void TestPrinterListGeometry::init()
{
    fakeRegistry().reset();
}

void TestPrinterListGeometry::rowsLieAsInAPlainList_data()
{
    using Names = std::vector<std::string>;
    QTest::addColumn<Names>("names");
    QTest::newRow("one") << Names{"office"};
    QTest::newRow("long, short") << Names{longName, "b"};
    QTest::newRow("short, long") << Names{"b", longName};
    QTest::newRow("Chinese") << Names{"三楼 A", "b", "二楼会议室彩色激光打印机"};
    QTest::newRow("two lines") << Names{"a", "first\nsecond", "c"};
    QTest::newRow("empty") << Names{"", "b"};
    Names many;
    for (int i = 0; i < 200; ++i) {
        many.push_back("printer " + std::string(static_cast<std::size_t>(i % 60), 'w') + std::to_string(i));
    }
    QTest::newRow("two hundred") << many;
}

void TestPrinterListGeometry::rowsLieAsInAPlainList()
{
    QFETCH(std::vector<std::string>, names);
    const Lists lists(names);
    compare(lists);
}

void TestPrinterListGeometry::aLongNameBeforeAShortOneHasAScrollBar()
{
    const Lists lists({longName, "b"});
    QVERIFY(listOf(lists.page)->horizontalScrollBar()->isVisible());
}

void TestPrinterListGeometry::aNewFontMeasuresAnew()
{
    Lists lists({longName, "b", "三楼 A"});
    const QVector<QRect> before = rectsOf(*listOf(lists.page));
    QFont larger = lists.plain.font();
    larger.setPointSize(2 * larger.pointSize());
    listOf(lists.page)->setFont(larger);
    lists.plain.setFont(larger);
    lists.layOut();
    QVERIFY(rectsOf(*listOf(lists.page)) != before);
    compare(lists);
}

void TestPrinterListGeometry::aNewStyleMeasuresAnew()
{
    struct Roomy : QProxyStyle
    {
        QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                               const QWidget* widget) const override
        {
            const QSize own = QProxyStyle::sizeFromContents(type, option, size, widget);
            return type == CT_ItemViewItem ? own + QSize(40, 9) : own;
        }
    } roomy;
    Lists lists({longName, "b"});
    const QVector<QRect> before = rectsOf(*listOf(lists.page));
    listOf(lists.page)->setStyle(&roomy);
    lists.plain.setStyle(&roomy);
    lists.layOut();
    QVERIFY(rectsOf(*listOf(lists.page)) != before);
    compare(lists);
    listOf(lists.page)->setStyle(nullptr);
    lists.plain.setStyle(nullptr);
}

void TestPrinterListGeometry::aNewStyleSheetMeasuresAnew()
{
    Lists lists({longName, "b"});
    for (const char* sheet : {"QListView::item { padding: 3px; }", "QListView::item { padding: 9px; }"}) {
        const QVector<QRect> before = rectsOf(*listOf(lists.page));
        listOf(lists.page)->setStyleSheet(QString::fromLatin1(sheet));
        lists.plain.setStyleSheet(QString::fromLatin1(sheet));
        lists.layOut();
        QVERIFY(rectsOf(*listOf(lists.page)) != before);
        compare(lists);
    }
}

void TestPrinterListGeometry::aNewIconSizeMeasuresAnew()
{
    Lists lists({longName, "b"});
    const QVector<QRect> before = rectsOf(*listOf(lists.page));
    listOf(lists.page)->setIconSize(QSize(30, 30));
    lists.plain.setIconSize(QSize(30, 30));
    lists.layOut();
    QVERIFY(rectsOf(*listOf(lists.page)) != before);
    compare(lists);
}

void TestPrinterListGeometry::anotherResolutionMeasuresAnew()
{
    const Lists lists({longName});
    const QListWidget& list = *listOf(lists.page);
    const QModelIndex row = list.model()->index(0, 0);
    const QStyledItemDelegate plain;
    QImage fine(1, 1, QImage::Format_RGB32);
    fine.setDotsPerMeterY(2 * fine.dotsPerMeterY());
    fine.setDotsPerMeterX(2 * fine.dotsPerMeterX());
    QStyleOptionViewItem option;
    option.initFrom(&list);
    option.widget = &list;
    option.decorationSize = QSize(16, 16);
    const QSize before = list.itemDelegate()->sizeHint(option, row);
    QCOMPARE(before, plain.sizeHint(option, row));
    option.font = QFont(option.font, &fine);
    option.fontMetrics = QFontMetrics(option.font);
    const QSize after = list.itemDelegate()->sizeHint(option, row);
    QCOMPARE(after, plain.sizeHint(option, row));
    QVERIFY(after.width() > before.width());
}

void TestPrinterListGeometry::aRenamedRowIsMeasured()
{
    Lists lists({"a", "b"});
    listOf(lists.page)->item(0)->setText(QString::fromStdString(longName));
    lists.plain.item(0)->setText(QString::fromStdString(longName));
    lists.layOut();
    QVERIFY(listOf(lists.page)->horizontalScrollBar()->isVisible());
    compare(lists);
}

namespace {

// Counts what the style is asked about the sizes of rows.
struct CountingStyle : QProxyStyle
{
    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override
    {
        measured += type == CT_ItemViewItem ? 1 : 0;
        return QProxyStyle::sizeFromContents(type, option, size, widget);
    }
    mutable int measured = 0;
};

} // namespace

void TestPrinterListGeometry::aChangedIconMeasuresNoRow()
{
    CountingStyle style;
    Lists lists({"a", "b", "c", "d"});
    listOf(lists.page)->setStyle(&style);
    lists.layOut();
    QCOMPARE(style.measured, 4);
    lists.page.updatePrinterStatus(printer("b", "x"));
    lists.layOut();
    QCOMPARE(style.measured, 4);
    listOf(lists.page)->setStyle(nullptr);
}

void TestPrinterListGeometry::namesThatComeAndGoAreForgotten()
{
    Lists lists({"a", "b"});
    QListWidget* list = listOf(lists.page);
    CountingStyle style;
    list->setStyle(&style);
    lists.layOut();
    for (int i = 0; i < 10; ++i) {
        list->item(0)->setText(QString::number(i));
        lists.layOut();
    }
    // The first of those names is measured again: nobody kept it.
    const int before = style.measured;
    list->item(0)->setText(QStringLiteral("a"));
    lists.layOut();
    QVERIFY(style.measured > before);
    list->setStyle(nullptr);
}

QTEST_MAIN(TestPrinterListGeometry)
#include "test_printer_list_geometry.moc"
