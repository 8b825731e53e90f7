#include <QComboBox>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>

#include <stdexcept>

#include "tests/ui/fake_registry.h"
#include "tests/ui/panel_support.h"
#include "ui/add_printer_page/add_printer_page.h"
#include "ui/line_edit_ip/line_edit_ip.h"

namespace {

PrinterContext printer(const std::string& name, bool usb = false)
{
    PrinterContext context(usb);
    context.printerName = name;
    context.manufacturer = "maker of " + name;
    context.model = "model of " + name;
    context.ip = usb ? "" : "10.0.0.1";
    return context;
}

// One line a record: name|maker|model|address|usb.
QStringList lines(const std::vector<PrinterContext>& printers)
{
    QStringList all;
    for (const PrinterContext& p : printers) {
        all << QString::fromStdString(p.printerName + "|" + p.manufacturer + "|" + p.model + "|" + p.ip +
                                      "|" + (p.isUsbPrinter ? "usb" : "net"));
    }
    return all;
}

QStringList rows(const AddPrinterPage& page)
{
    const auto* list = child<QListWidget>(page, "listPrinter");
    QStringList names;
    for (int i = 0; i < list->count(); ++i) {
        names << list->item(i)->text();
    }
    return names;
}

QStringList models(const AddPrinterPage& page)
{
    const auto* combo = child<QComboBox>(page, "cmbModel");
    QStringList names;
    for (int i = 0; i < combo->count(); ++i) {
        names << combo->itemText(i);
    }
    return names;
}

void press(const AddPrinterPage& page, const char* button)
{
    QTest::mouseClick(child<QPushButton>(page, button), Qt::LeftButton);
}

void fill(const AddPrinterPage& page, const QString& name, const QString& octets)
{
    child<QLineEdit>(page, "ledtName")->setText(name);
    const QList<QLineEdit*> edits = child<TLineEditIP>(page, "ledtIP")->findChildren<QLineEdit*>();
    const QStringList pieces = octets.split('.');
    for (int i = 0; i < edits.size(); ++i) {
        edits.at(i)->setText(pieces.value(i));
    }
}

// What OK hands to the registry.
QStringList stored(AddPrinterPage& page)
{
    page.setAttribute(Qt::WA_DeleteOnClose, false);
    page.show();
    press(page, "pbtnOk");
    return fakeRegistry().saved.empty() ? QStringList{"nothing saved"} : lines(fakeRegistry().saved.back());
}

} // namespace

class AddPrinterPageTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { fakeRegistry().reset(); }

    void modelsAreListedOnceInOrder();
    void networkPrintersAreListed();
    void missingLibraryLeavesItEmpty();
    void failingListKeepsTheModels();

    void addAppendsARecord();
    void addIsRefused_data();
    void addIsRefused();
    void equalAddressesAreAllowed();
    void nameOfAUsbPrinterIsRefused();
    void namesDifferInCase();
    void withoutModelsTheModelIsEmpty();
    void theChosenModelIsStored();
    void textsAreStoredUpToTheFirstNul();
    void addKeepsTheFieldsAndStoresNothing();
    void typedAddressIsKeptAsTyped();

    void removeErasesTheRecordOfTheRow();
    void removeWithoutARowDoesNothing();
    void removeErasesTheFirstOfADoubleName();
    void removeErasesTheFirstEvenIfUsb();
    void removedNameMayBeAddedAgain();

    void okStoresTheUnchangedList();
    void okHandsUsbPrintersBackInPlace();
    void okClosesAndDeletes();
    void closingDiscardsTheEdits();
    void storeErrorLeavesTheSlotAndTheEditorOpen();
};

void AddPrinterPageTest::modelsAreListedOnceInOrder()
{
    fakeRegistry().models = {"自动识别", "B", "A", "B", "b", "自动识别"};
    AddPrinterPage page(nullptr);
    QCOMPARE(models(page), QStringList({"自动识别", "B", "A", "b"}));
    QCOMPARE(child<QComboBox>(page, "cmbModel")->currentIndex(), 0);
}

void AddPrinterPageTest::networkPrintersAreListed()
{
    fakeRegistry().printers = {printer("一楼"), printer("usb", true), printer("B")};
    AddPrinterPage page(nullptr);
    QCOMPARE(rows(page), QStringList({"一楼", "B"}));
}

void AddPrinterPageTest::missingLibraryLeavesItEmpty()
{
    fakeRegistry().printers = {printer("A")};
    fakeRegistry().models = {"M"};
    fakeRegistry().modelsFail = true;
    MessageLog log;
    AddPrinterPage page(nullptr);
    QCOMPARE(log.lines(QtDebugMsg), QStringList({"tarner failed:  1"}));
    QCOMPARE(models(page), QStringList());
    QCOMPARE(rows(page), QStringList());
}

void AddPrinterPageTest::failingListKeepsTheModels()
{
    fakeRegistry().printers = {printer("A")};
    fakeRegistry().models = {"M"};
    fakeRegistry().printersFail = true;
    MessageLog log;
    AddPrinterPage page(nullptr);
    QCOMPARE(log.lines(QtDebugMsg), QStringList({"tarner failed:  1"}));
    QCOMPARE(models(page), QStringList({"M"}));
    QCOMPARE(rows(page), QStringList());
    // The editor stays usable.
    fill(page, "new", "1.2.3.4");
    press(page, "pbtnAdd");
    QCOMPARE(rows(page), QStringList({"new"}));
}

void AddPrinterPageTest::addAppendsARecord()
{
    fakeRegistry().printers = {printer("A")};
    fakeRegistry().models = {"自动识别", "M2"};
    AddPrinterPage page(nullptr);
    fill(page, "二楼", "192.168.1.20");
    press(page, "pbtnAdd");
    QCOMPARE(rows(page), QStringList({"A", "二楼"}));
    QCOMPARE(stored(page),
             QStringList({"A|maker of A|model of A|10.0.0.1|net", "二楼|MORVIK|自动识别|192.168.1.20|net"}));
    const PrinterContext& added = fakeRegistry().saved.back().back();
    QCOMPARE(added.state, 0);
    QCOMPARE(added.kToner, -1);
    QCOMPARE(added.totalPrint, -1);
    QCOMPARE(added.uuid + added.description + added.serialNumber + added.stateMessage, std::string());
}

void AddPrinterPageTest::addIsRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("octets");
    QTest::newRow("no name") << ""
                             << "1.2.3.4";
    QTest::newRow("no address") << "new"
                                << "...";
    QTest::newRow("last octet missing") << "new"
                                        << "1.2.3.";
    QTest::newRow("first octet missing") << "new"
                                         << ".2.3.4";
    QTest::newRow("name in the list") << "A"
                                      << "1.2.3.4";
    QTest::newRow("nothing") << ""
                             << "...";
}

void AddPrinterPageTest::addIsRefused()
{
    QFETCH(QString, name);
    QFETCH(QString, octets);
    fakeRegistry().printers = {printer("A")};
    AddPrinterPage page(nullptr);
    fill(page, name, octets);
    press(page, "pbtnAdd");
    for (const QWidget* window : QApplication::topLevelWidgets()) {
        QVERIFY2(window == &page || !window->isVisible(), "a message came up");
    }
    QCOMPARE(rows(page), QStringList({"A"}));
    QCOMPARE(stored(page), lines(fakeRegistry().printers));
}

void AddPrinterPageTest::equalAddressesAreAllowed()
{
    AddPrinterPage page(nullptr);
    fill(page, "A", "1.2.3.4");
    press(page, "pbtnAdd");
    fill(page, "B", "1.2.3.4");
    press(page, "pbtnAdd");
    QCOMPARE(rows(page), QStringList({"A", "B"}));
    QCOMPARE(stored(page), QStringList({"A|MORVIK||1.2.3.4|net", "B|MORVIK||1.2.3.4|net"}));
}

void AddPrinterPageTest::nameOfAUsbPrinterIsRefused()
{
    fakeRegistry().printers = {printer("usb", true)};
    AddPrinterPage page(nullptr);
    QCOMPARE(rows(page), QStringList());
    fill(page, "usb", "1.2.3.4");
    press(page, "pbtnAdd");
    QCOMPARE(rows(page), QStringList());
    QCOMPARE(stored(page), QStringList({"usb|maker of usb|model of usb||usb"}));
}

void AddPrinterPageTest::namesDifferInCase()
{
    fakeRegistry().printers = {printer("A")};
    AddPrinterPage page(nullptr);
    fill(page, "a", "1.2.3.4");
    press(page, "pbtnAdd");
    QCOMPARE(rows(page), QStringList({"A", "a"}));
}

void AddPrinterPageTest::withoutModelsTheModelIsEmpty()
{
    AddPrinterPage page(nullptr);
    fill(page, "A", "1.2.3.4");
    press(page, "pbtnAdd");
    QCOMPARE(stored(page), QStringList({"A|MORVIK||1.2.3.4|net"}));
}

void AddPrinterPageTest::theChosenModelIsStored()
{
    fakeRegistry().models = {"M1", "型号二"};
    AddPrinterPage page(nullptr);
    child<QComboBox>(page, "cmbModel")->setCurrentIndex(1);
    fill(page, "A", "1.2.3.4");
    press(page, "pbtnAdd");
    QCOMPARE(stored(page), QStringList({"A|MORVIK|型号二|1.2.3.4|net"}));
}

void AddPrinterPageTest::textsAreStoredUpToTheFirstNul()
{
    fakeRegistry().models = {std::string("M\0x", 3)};
    AddPrinterPage page(nullptr);
    fill(page, QString("A%1B").arg(QChar(0)), "1.2.3.4");
    press(page, "pbtnAdd");
    QCOMPARE(stored(page), QStringList({"A|MORVIK|M|1.2.3.4|net"}));
}

void AddPrinterPageTest::addKeepsTheFieldsAndStoresNothing()
{
    AddPrinterPage page(nullptr);
    fill(page, "A", "1.2.3.4");
    press(page, "pbtnAdd");
    QCOMPARE(child<QLineEdit>(page, "ledtName")->text(), QStringLiteral("A"));
    QCOMPARE(child<TLineEditIP>(page, "ledtIP")->text(), QStringLiteral("1.2.3.4"));
    QVERIFY(fakeRegistry().saved.empty());
}

void AddPrinterPageTest::typedAddressIsKeptAsTyped()
{
    AddPrinterPage page(nullptr);
    fill(page, "A", "01.2.3.04");
    press(page, "pbtnAdd");
    QCOMPARE(stored(page), QStringList({"A|MORVIK||01.2.3.04|net"}));
}

void AddPrinterPageTest::removeErasesTheRecordOfTheRow()
{
    fakeRegistry().printers = {printer("A"), printer("usb", true), printer("中"), printer("C")};
    AddPrinterPage page(nullptr);
    child<QListWidget>(page, "listPrinter")->setCurrentRow(1);
    press(page, "pbtnDel");
    QCOMPARE(rows(page), QStringList({"A", "C"}));
    QVERIFY(fakeRegistry().saved.empty());
    QCOMPARE(stored(page),
             QStringList({"A|maker of A|model of A|10.0.0.1|net", "usb|maker of usb|model of usb||usb",
                          "C|maker of C|model of C|10.0.0.1|net"}));
}

void AddPrinterPageTest::removeWithoutARowDoesNothing()
{
    fakeRegistry().printers = {printer("A")};
    AddPrinterPage page(nullptr);
    QCOMPARE(child<QListWidget>(page, "listPrinter")->currentRow(), -1);
    press(page, "pbtnDel");
    QCOMPARE(rows(page), QStringList({"A"}));
    QCOMPARE(stored(page), lines(fakeRegistry().printers));
}

void AddPrinterPageTest::removeErasesTheFirstOfADoubleName()
{
    fakeRegistry().printers = {printer("A"), printer("B"), printer("A")};
    fakeRegistry().printers.back().ip = "10.0.0.2";
    AddPrinterPage page(nullptr);
    child<QListWidget>(page, "listPrinter")->setCurrentRow(2);
    press(page, "pbtnDel");
    QCOMPARE(rows(page), QStringList({"A", "B"}));
    QCOMPARE(stored(page),
             QStringList({"B|maker of B|model of B|10.0.0.1|net", "A|maker of A|model of A|10.0.0.2|net"}));
}

void AddPrinterPageTest::removeErasesTheFirstEvenIfUsb()
{
    fakeRegistry().printers = {printer("A", true), printer("A")};
    AddPrinterPage page(nullptr);
    child<QListWidget>(page, "listPrinter")->setCurrentRow(0);
    press(page, "pbtnDel");
    QCOMPARE(rows(page), QStringList());
    QCOMPARE(stored(page), QStringList({"A|maker of A|model of A|10.0.0.1|net"}));
}

void AddPrinterPageTest::removedNameMayBeAddedAgain()
{
    fakeRegistry().printers = {printer("A"), printer("B")};
    AddPrinterPage page(nullptr);
    child<QListWidget>(page, "listPrinter")->setCurrentRow(0);
    press(page, "pbtnDel");
    fill(page, "A", "1.2.3.4");
    press(page, "pbtnAdd");
    QCOMPARE(rows(page), QStringList({"B", "A"}));
    QCOMPARE(stored(page), QStringList({"B|maker of B|model of B|10.0.0.1|net", "A|MORVIK||1.2.3.4|net"}));
}

void AddPrinterPageTest::okStoresTheUnchangedList()
{
    fakeRegistry().printers = {printer("A"), printer("B")};
    AddPrinterPage page(nullptr);
    QCOMPARE(stored(page), lines(fakeRegistry().printers));
    QCOMPARE(fakeRegistry().saved.size(), std::size_t(1));
    QVERIFY(!page.isVisible());
}

void AddPrinterPageTest::okHandsUsbPrintersBackInPlace()
{
    fakeRegistry().printers = {printer("usb1", true), printer("A"), printer("usb2", true)};
    fakeRegistry().printers.front().kToner = 33;
    AddPrinterPage page(nullptr);
    fill(page, "B", "1.2.3.4");
    press(page, "pbtnAdd");
    QCOMPARE(stored(page),
             QStringList({"usb1|maker of usb1|model of usb1||usb", "A|maker of A|model of A|10.0.0.1|net",
                          "usb2|maker of usb2|model of usb2||usb", "B|MORVIK||1.2.3.4|net"}));
    QCOMPARE(fakeRegistry().saved.back().front().kToner, 33);
}

void AddPrinterPageTest::okClosesAndDeletes()
{
    QPointer<AddPrinterPage> page = new AddPrinterPage(nullptr);
    page->setAttribute(Qt::WA_DeleteOnClose);
    page->show();
    press(*page, "pbtnOk");
    QTRY_VERIFY(page.isNull());
    QCOMPARE(fakeRegistry().saved.size(), std::size_t(1));
}

void AddPrinterPageTest::closingDiscardsTheEdits()
{
    fakeRegistry().printers = {printer("A")};
    for (const bool byEscape : {false, true}) {
        QPointer<AddPrinterPage> page = new AddPrinterPage(nullptr);
        page->setAttribute(Qt::WA_DeleteOnClose);
        page->show();
        fill(*page, "B", "1.2.3.4");
        press(*page, "pbtnAdd");
        QCOMPARE(rows(*page), QStringList({"A", "B"}));
        if (byEscape) {
            QTest::keyClick(page.data(), Qt::Key_Escape);
        } else {
            page->close();
        }
        QTRY_VERIFY(page.isNull());
        QVERIFY(fakeRegistry().saved.empty());
    }
}

void AddPrinterPageTest::storeErrorLeavesTheSlotAndTheEditorOpen()
{
    fakeRegistry().onSave = [] { throw std::runtime_error("disk full"); };
    AddPrinterPage page(nullptr);
    page.show();
    QVERIFY_EXCEPTION_THROWN(QMetaObject::invokeMethod(&page, "on_pbtnOk_clicked"), std::runtime_error);
    QVERIFY(page.isVisible());
}

QTEST_MAIN(AddPrinterPageTest)
#include "test_add_printer_page.moc"
