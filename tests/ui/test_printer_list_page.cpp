#include "tests/ui/printer_list_support.h"

#include <QtTest>

#include "ui/printer_list_page/row_index.h"

class TestPrinterListPage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void methodsComeInIndexOrder();
    void formHasItsNameSizesAndTexts();
    void widgetsComeInCreationOrder();
    void startsEmptyWithoutAskingTheRegistry();
    void emptyRegistryLeavesTheListEmpty();
    void rowsCarryNameIconAndRole();
    void firstRowIsSelectedAndReported();
    void aSelectedRowsLampHasItsOwnColours();
    void selectionIsKept();
    void newPrintersGoToTheEnd();
    void removedAndAddedAgainGoesToTheEnd();
    void secondOfTwoConsecutiveRemovalsWaits();
    void runOfRemovalsHalvesEachTime();
    void removalClearsTheItemWidget();
    void removingTheSelectedRowReportsItsNeighbour();
    void removingTheLastRowReportsNothing();
    void refreshLeavesTheIconOfAnExistingRow();
    void refreshReconcilesBeforeItLooks();
    void sameNameTwiceInTheRegistryIsOneRow();
    void namesThatAreNotUtf8StayOneRow();
    void rowsThatOthersAddAreRemoved();
    void rowsAreReadAgainAfterAnyChangeWhoeverLookedInTheMidstOfIt();
};

void TestPrinterListPage::initTestCase()
{
    Q_INIT_RESOURCE(kel);
}

void TestPrinterListPage::init()
{
    fakeRegistry().reset();
}

void TestPrinterListPage::methodsComeInIndexOrder()
{
    QCOMPARE(ownMethods(PrinterListPage::staticMetaObject),
             QStringList({"signal currentItemChanged(QString)", "slot updatePrinterStatus(PrinterContext)",
                          "slot refreshPrinterList()", "slot on_pbtnEditPrinterList_clicked()",
                          "slot on_listPrinter_currentItemChanged(QListWidgetItem*,QListWidgetItem*)"}));
}

void TestPrinterListPage::formHasItsNameSizesAndTexts()
{
    const PrinterListPage page(nullptr);
    QCOMPARE(page.objectName(), QStringLiteral("printerListPage"));
    QCOMPARE(page.size(), QSize(424, 654));
    QCOMPARE(page.windowTitle(), QStringLiteral("Form"));
    auto* button = child<QPushButton>(page, "pbtnEditPrinterList");
    QCOMPARE(button->minimumSize(), QSize(20, 30));
    QCOMPARE(button->text(), QStringLiteral("编辑打印机列表"));
}

void TestPrinterListPage::widgetsComeInCreationOrder()
{
    const PrinterListPage page(nullptr);
    QCOMPARE(childNames(&page), QStringList({"gridLayout", "pbtnEditPrinterList", "listPrinter"}));
    auto* grid = qobject_cast<QGridLayout*>(page.layout());
    QVERIFY(grid != nullptr);
    QCOMPARE(itemNames(grid), QStringList({"horizontalLayout", "listPrinter"}));
    QCOMPARE(grid->itemAtPosition(1, 0)->layout(), child<QLayout>(page, "horizontalLayout"));
    QCOMPARE(grid->itemAtPosition(0, 0)->widget(), listOf(page));
    QCOMPARE(itemNames(child<QLayout>(page, "horizontalLayout")), QStringList({"pbtnEditPrinterList"}));
}

void TestPrinterListPage::startsEmptyWithoutAskingTheRegistry()
{
    fakeRegistry().printers = {printer("A")};
    const PrinterListPage page(nullptr);
    QCOMPARE(listOf(page)->count(), 0);
    QCOMPARE(fakeRegistry().starts, 0);
}

void TestPrinterListPage::emptyRegistryLeavesTheListEmpty()
{
    PrinterListPage page(nullptr);
    const QSignalSpy selected(&page, &PrinterListPage::currentItemChanged);
    page.refreshPrinterList();
    QCOMPARE(fakeRegistry().starts, 1);
    QCOMPARE(listOf(page)->count(), 0);
    QCOMPARE(listOf(page)->currentRow(), -1);
    QCOMPARE(selected.count(), 0);
}

void TestPrinterListPage::rowsCarryNameIconAndRole()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("三楼 A", "就绪"), printer("b", "")};
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"三楼 A", "b"}));
    const QListWidgetItem* first = listOf(page)->item(0);
    const QListWidgetItem* second = listOf(page)->item(1);
    QCOMPARE(iconOf(first), IconKind::Green);
    QCOMPARE(iconOf(second), IconKind::Grey);
    QCOMPARE(int(Qt::UserRole) + 1, 257);
    QCOMPARE(first->data(257), QVariant(QStringLiteral("三楼 A")));
    QCOMPARE(second->data(257), QVariant(QStringLiteral("b")));
}

void TestPrinterListPage::firstRowIsSelectedAndReported()
{
    PrinterListPage page(nullptr);
    const QSignalSpy selected(&page, &PrinterListPage::currentItemChanged);
    fakeRegistry().printers = {printer("A"), printer("B")};
    page.refreshPrinterList();
    QCOMPARE(listOf(page)->currentRow(), 0);
    QCOMPARE(selected.count(), 1);
    QCOMPARE(selected[0][0].toString(), QStringLiteral("A"));
}

void TestPrinterListPage::aSelectedRowsLampHasItsOwnColours()
{
    for (const char* file : {":/res/green.png", ":/res/grey.png"}) {
        PrinterListPage page(nullptr);
        QListWidget* list = listOf(page);
        list->addItem(new QListWidgetItem(QIcon(QString::fromLatin1(file)), QString()));
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        list->setCurrentRow(0);
        const QRect box = list->visualItemRect(list->item(0));
        const QImage shown = list->viewport()->grab(box).toImage();
        QVERIFY(list->item(0)->isSelected());
        // Opaque pixels of the lamp stand in the row as they are in the image.
        QSet<QRgb> colours;
        for (int y = 0; y < shown.height(); ++y) {
            for (int x = 0; x < 40; ++x) {
                colours.insert(shown.pixel(x, y) | 0xff000000u);
            }
        }
        const int side = list->style()->pixelMetric(QStyle::PM_ListViewIconSize);
        const QImage lamp = list->item(0)->icon().pixmap(side, side).toImage();
        int opaque = 0;
        int found = 0;
        for (int y = 0; y < lamp.height(); ++y) {
            for (int x = 0; x < lamp.width(); ++x) {
                if (qAlpha(lamp.pixel(x, y)) == 255) {
                    ++opaque;
                    found += colours.contains(lamp.pixel(x, y)) ? 1 : 0;
                }
            }
        }
        QVERIFY(opaque > 20);
        QCOMPARE(found, opaque);
    }
}

void TestPrinterListPage::selectionIsKept()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A"), printer("B")};
    page.refreshPrinterList();
    listOf(page)->setCurrentRow(1);
    const QSignalSpy selected(&page, &PrinterListPage::currentItemChanged);
    fakeRegistry().printers.push_back(printer("C"));
    page.refreshPrinterList();
    page.refreshPrinterList();
    QCOMPARE(listOf(page)->currentRow(), 1);
    QCOMPARE(selected.count(), 0);
}

void TestPrinterListPage::newPrintersGoToTheEnd()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("B")};
    page.refreshPrinterList();
    fakeRegistry().printers = {printer("A"), printer("B"), printer("C")};
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"B", "A", "C"}));
}

void TestPrinterListPage::removedAndAddedAgainGoesToTheEnd()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A"), printer("B")};
    page.refreshPrinterList();
    fakeRegistry().printers = {printer("B")};
    page.refreshPrinterList();
    fakeRegistry().printers = {printer("A"), printer("B")};
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"B", "A"}));
}

void TestPrinterListPage::secondOfTwoConsecutiveRemovalsWaits()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A"), printer("B"), printer("C")};
    page.refreshPrinterList();
    fakeRegistry().printers = {printer("A")};
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"A", "C"}));
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"A"}));
}

void TestPrinterListPage::runOfRemovalsHalvesEachTime()
{
    PrinterListPage page(nullptr);
    for (char name = 'a'; name < 'i'; ++name) {
        fakeRegistry().printers.push_back(printer(std::string(1, name)));
    }
    page.refreshPrinterList();
    fakeRegistry().printers.clear();
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"b", "d", "f", "h"}));
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"d", "h"}));
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"h"}));
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList());
}

void TestPrinterListPage::removalClearsTheItemWidget()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A")};
    page.refreshPrinterList();
    const QPointer<QLabel> widget = new QLabel(QStringLiteral("on the row"));
    listOf(page)->setItemWidget(listOf(page)->item(0), widget);
    fakeRegistry().printers.clear();
    page.refreshPrinterList();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(widget.isNull());
}

void TestPrinterListPage::removingTheSelectedRowReportsItsNeighbour()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A"), printer("B")};
    page.refreshPrinterList();
    const QSignalSpy selected(&page, &PrinterListPage::currentItemChanged);
    fakeRegistry().printers = {printer("B")};
    page.refreshPrinterList();
    QCOMPARE(selected.count(), 1);
    QCOMPARE(selected[0][0].toString(), QStringLiteral("B"));
}

void TestPrinterListPage::removingTheLastRowReportsNothing()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A")};
    page.refreshPrinterList();
    const QSignalSpy selected(&page, &PrinterListPage::currentItemChanged);
    fakeRegistry().printers.clear();
    page.refreshPrinterList();
    QCOMPARE(listOf(page)->count(), 0);
    QCOMPARE(selected.count(), 0);
}

void TestPrinterListPage::refreshLeavesTheIconOfAnExistingRow()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A", "")};
    page.refreshPrinterList();
    fakeRegistry().printers = {printer("A", "就绪"), printer("B", "就绪")};
    page.refreshPrinterList();
    QCOMPARE(iconOf(listOf(page)->item(0)), IconKind::Grey);
    QCOMPARE(iconOf(listOf(page)->item(1)), IconKind::Green);
}

void TestPrinterListPage::refreshReconcilesBeforeItLooks()
{
    PrinterListPage page(nullptr);
    fakeRegistry().onStart = [] { fakeRegistry().printers = {printer("A")}; };
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"A"}));
}

void TestPrinterListPage::sameNameTwiceInTheRegistryIsOneRow()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A", ""), printer("A", "x"), printer("B")};
    page.refreshPrinterList();
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"A", "B"}));
    QCOMPARE(iconOf(listOf(page)->item(0)), IconKind::Grey);
}

void TestPrinterListPage::namesThatAreNotUtf8StayOneRow()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("\xff\xfe"), printer("B")};
    page.refreshPrinterList();
    QCOMPARE(listOf(page)->count(), 2);
    const QListWidgetItem* row = listOf(page)->item(0);
    page.refreshPrinterList();
    page.updatePrinterStatus(printer("\xff\xfe", "x"));
    QCOMPARE(listOf(page)->count(), 2);
    QCOMPARE(listOf(page)->item(0), row);
}

void TestPrinterListPage::rowsThatOthersAddAreRemoved()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A")};
    page.refreshPrinterList();
    listOf(page)->addItem(QStringLiteral("stranger"));
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"A"}));
}

void TestPrinterListPage::rowsAreReadAgainAfterAnyChangeWhoeverLookedInTheMidstOfIt()
{
    QListWidget list;
    RowIndex index;
    index.watch(&list);
    const auto look = [&] { (void)index.first("a"); };
    connect(list.model(), &QAbstractItemModel::rowsAboutToBeRemoved, &list, look);
    connect(list.model(), &QAbstractItemModel::modelAboutToBeReset, &list, look);
    list.addItems({"b", "a"});
    QCOMPARE(index.first("a"), 1);
    delete list.takeItem(0);
    QCOMPARE(index.first("a"), 0);
    list.clear();
    QCOMPARE(index.first("a"), RowIndex::kNone);
}

QTEST_MAIN(TestPrinterListPage)
#include "test_printer_list_page.moc"
