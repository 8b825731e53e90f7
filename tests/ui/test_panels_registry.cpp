#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QtTest>

#include "printer/printer_manager.h"
#include "tests/support/tarn_control.h"
#include "tests/ui/panel_support.h"
#include "ui/add_printer_page/add_printer_page.h"
#include "ui/line_edit_ip/line_edit_ip.h"
#include "ui/monitor_page/monitor_page.h"

using morvik::kel::PrinterManager;

namespace {

PrinterContext named(const std::string& name, bool usb = false)
{
    PrinterContext context(usb);
    context.printerName = name;
    context.manufacturer = "MORVIK";
    context.model = "M1";
    context.ip = usb ? "" : "10.0.0.1";
    context.description = "description";
    context.state = 3;
    context.stateMessage = "就绪";
    return context;
}

void press(const QWidget& page, const char* button)
{
    QTest::mouseClick(child<QPushButton>(page, button), Qt::LeftButton);
}

} // namespace

// The panels over the registry itself and a scripted access library: what reaches printers.json, and what of
// it comes back.
class PanelsRegistryTest : public QObject
{
    Q_OBJECT

private slots:
    void editedListIsWrittenByteForByte();
    void removingTheLastPrinterWritesNull();
    void monitorPageShowsAnAddedPrinter();
};

void PanelsRegistryTest::editedListIsWrittenByteForByte()
{
    kel_test::setScriptedPrinters({named("usb", true), named("first")});
    kel_test::setScriptedModels({"自动识别", "M1", "M1"});
    PrinterManager::instance().start();
    AddPrinterPage page(nullptr);
    page.show();
    auto* list = child<QListWidget>(page, "listPrinter");
    QCOMPARE(list->count(), 1);
    QCOMPARE(list->item(0)->text(), QStringLiteral("first"));
    QCOMPARE(child<QComboBox>(page, "cmbModel")->count(), 2);

    child<QLineEdit>(page, "ledtName")->setText("办公室");
    child<TLineEditIP>(page, "ledtIP")->setText("192.168.1.020");
    press(page, "pbtnAdd");
    const std::string before = kel_test::readPrintersFile();
    QVERIFY(before.find("020") == std::string::npos); // nothing is stored until OK
    press(page, "pbtnOk");
    QCOMPARE(kel_test::readPrintersFile(),
             std::string("[{\"ip\":\"10.0.0.1\",\"manufacturer\":\"MORVIK\",\"model\":\"M1\","
                         "\"printerName\":\"first\"},"
                         "{\"ip\":\"192.168.1.020\",\"manufacturer\":\"MORVIK\","
                         "\"model\":\"\\u81ea\\u52a8\\u8bc6\\u522b\","
                         "\"printerName\":\"\\u529e\\u516c\\u5ba4\"}]\n"));
}

void PanelsRegistryTest::removingTheLastPrinterWritesNull()
{
    kel_test::setScriptedPrinters({named("usb", true), named("last")});
    PrinterManager::instance().start();
    AddPrinterPage page(nullptr);
    page.show();
    child<QListWidget>(page, "listPrinter")->setCurrentRow(0);
    press(page, "pbtnDel");
    press(page, "pbtnOk");
    QCOMPARE(kel_test::readPrintersFile(), std::string("null\n"));
}

void PanelsRegistryTest::monitorPageShowsAnAddedPrinter()
{
    kel_test::setScriptedPrinters({named("会议室")});
    PrinterManager::instance().start();
    MonitorPage page(nullptr);
    page.changeView("会议室");
    QCOMPARE(child<QLabel>(page, "lbPrinterModel")->text(), QStringLiteral("M1"));
    QCOMPARE(child<QLabel>(page, "lbPrinterIP")->text(), QStringLiteral("网络连接(10.0.0.1)"));
    QCOMPARE(child<QLabel>(page, "lbPrinterModelDesc")->text(), QStringLiteral("description"));
    MessageLog log;
    page.changeView("nobody");
    QCOMPARE(log.lines(QtDebugMsg), QStringList({"tarner error: 2"}));
    QCOMPARE(child<QLabel>(page, "lbPrinterModel")->text(), QStringLiteral("M1"));
}

QTEST_MAIN(PanelsRegistryTest)
#include "test_panels_registry.moc"
