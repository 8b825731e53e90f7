#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>

#include "tests/ui/fake_registry.h"
#include "tests/ui/panel_support.h"
#include "ui/monitor_page/monitor_page.h"
#include "ui/toner_widget/toner_widget.h"

// What the page is made of: names, order, sizes, fixed texts, flags, style.
class MonitorPageFormTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { fakeRegistry().reset(); }
    void widgetsAreCreatedInOrder();
    void everyNamedPartIsThere();
    void sizes();
    void fixedTexts_data();
    void fixedTexts();
    void slotsKeepTheirOrderAndSignatures();
    void slotsAreReachedThroughAQueue();
    void errorTextIsReadOnlyAndLimited();
    void staysAChildWithTheFlagsOfAWindow();
    void ewsButtonKeepsItsBrokenStyleSheet();
    void refreshIsTheDefaultButton();
    void startsWithoutAPrinter();
    void longTextsDoNotWidenThePage();
    void theLongestAddressIsWhole();
};

void MonitorPageFormTest::widgetsAreCreatedInOrder()
{
    MonitorPage page(nullptr);
    QCOMPARE(childNames(&page), QStringList({"gridLayout_3", "label", "label_22", "pteErrorInfo",
                                             "pbtnRefresh", "label_21", "frame", "frame_2"}));
    QCOMPARE(childNames(page.layout()), QStringList({"verticalLayout_3"}));
    QCOMPARE(itemNames(child<QLayout>(page, "verticalLayout_3")),
             QStringList({"label_22", "pteErrorInfo", "horizontalLayout_3"}));
    QVERIFY(itemNames(child<QLayout>(page, "horizontalLayout_3")).contains("pbtnRefresh"));
    QCOMPARE(childNames(child<QFrame>(page, "frame")), QStringList({"gridLayout_2", "tonerWidget"}));
    QCOMPARE(childNames(child<QFrame>(page, "frame_2")),
             QStringList({"gridLayout_5", "label_2", "lbPrinterModelDesc", "label_3", "lbPrinterModel",
                          "label_4", "lbID", "label_6", "lbPrinterIP", "label_8", "lbPrinterState",
                          "label_CartonState", "lbCartonState", "pushButton_EWS"}));
    QCOMPARE(childNames(child<QLayout>(page, "gridLayout_5")),
             QStringList({"gridLayout", "horizontalLayout_2"}));
    QVERIFY(itemNames(child<QLayout>(page, "horizontalLayout_2")).contains("pushButton_EWS"));
}

void MonitorPageFormTest::everyNamedPartIsThere()
{
    MonitorPage page(nullptr);
    QCOMPARE(QByteArray(page.metaObject()->className()), QByteArray("MonitorPage"));
    QCOMPARE(page.objectName(), QStringLiteral("MonitorPage"));
    QCOMPARE(page.windowTitle(), QStringLiteral("Form"));
    QVERIFY(page.findChild<QGridLayout*>("gridLayout_3") == page.layout());
    QVERIFY(page.findChild<TonerWidget*>("tonerWidget") != nullptr);
    QVERIFY(page.findChild<QPlainTextEdit*>("pteErrorInfo") != nullptr);
    QVERIFY(page.findChild<QPushButton*>("pbtnRefresh") != nullptr);
    QVERIFY(page.findChild<QPushButton*>("pushButton_EWS") != nullptr);
}

void MonitorPageFormTest::sizes()
{
    MonitorPage page(nullptr);
    QCOMPARE(child<QWidget>(page, "pteErrorInfo")->minimumSize(), QSize(600, 0));
    QCOMPARE(child<QWidget>(page, "pbtnRefresh")->minimumSize(), QSize(0, 30));
    QCOMPARE(child<QWidget>(page, "frame")->minimumSize(), QSize(300, 0));
    QCOMPARE(child<QWidget>(page, "frame")->maximumSize(), QSize(700, 16777215));
    QCOMPARE(child<QWidget>(page, "lbPrinterModelDesc")->minimumSize(), QSize(300, 0));
    QCOMPARE(child<QWidget>(page, "label_6")->minimumSize(), QSize(100, 0));
    QCOMPARE(child<QWidget>(page, "lbPrinterState")->minimumSize(), QSize(100, 0));
}

void MonitorPageFormTest::fixedTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("label") << "基本信息";
    QTest::newRow("label_22") << "状态信息";
    QTest::newRow("label_21") << "余量信息";
    QTest::newRow("label_2") << "打印机描述：";
    QTest::newRow("label_3") << "型号：";
    QTest::newRow("label_4") << "序列号：";
    QTest::newRow("label_6") << "通信方式：";
    QTest::newRow("label_8") << "打印机状态：";
    QTest::newRow("label_CartonState") << "进纸盒状态：";
    QTest::newRow("pbtnRefresh") << "刷新";
    QTest::newRow("pushButton_EWS") << "EWS打印机设置";
}

void MonitorPageFormTest::fixedTexts()
{
    MonitorPage page(nullptr);
    QTEST(child<QWidget>(page, QTest::currentDataTag())->property("text").toString(), "text");
}

void MonitorPageFormTest::slotsKeepTheirOrderAndSignatures()
{
    const QMetaObject& meta = MonitorPage::staticMetaObject;
    QCOMPARE(ownMethods(meta),
             QStringList({"slot changeView(QString)", "slot updateView(PrinterContext)",
                          "slot on_pushButton_EWS_clicked()", "slot on_pbtnRefresh_clicked()"}));
    QCOMPARE(meta.method(meta.methodOffset()).parameterNames(), QList<QByteArray>({"printerName"}));
    QCOMPARE(meta.method(meta.methodOffset() + 1).parameterNames(), QList<QByteArray>({"context"}));
}

void MonitorPageFormTest::slotsAreReachedThroughAQueue()
{
    qRegisterMetaType<PrinterContext>("PrinterContext");
    MonitorPage page(nullptr);
    PrinterContext context(false);
    context.model = "first";
    QVERIFY(
        QMetaObject::invokeMethod(&page, "updateView", Qt::QueuedConnection, Q_ARG(PrinterContext, context)));
    context.model = "second"; // the queued call carries its own copy
    QCOMPARE(child<QLabel>(page, "lbPrinterModel")->text(), QString());
    QTRY_COMPARE(child<QLabel>(page, "lbPrinterModel")->text(), QStringLiteral("first"));
}

void MonitorPageFormTest::errorTextIsReadOnlyAndLimited()
{
    MonitorPage page(nullptr);
    QVERIFY(child<QPlainTextEdit>(page, "pteErrorInfo")->isReadOnly());
    QCOMPARE(child<QPlainTextEdit>(page, "pteErrorInfo")->maximumBlockCount(), 1000);
}

void MonitorPageFormTest::staysAChildWithTheFlagsOfAWindow()
{
    QSplitter splitter;
    auto* page = new MonitorPage(&splitter);
    QCOMPARE(int(page->windowFlags()), 0x08004000);
    QCOMPARE(page->parentWidget(), &splitter);
    QVERIFY(!page->isWindow());
    splitter.show();
    QVERIFY(QTest::qWaitForWindowExposed(&splitter));
    QCOMPARE(int(page->windowFlags()), 0x08004000);
    QVERIFY(page->isVisible());
    QCOMPARE(page->window(), &splitter);
    QCOMPARE(splitter.indexOf(page), 0);
}

void MonitorPageFormTest::ewsButtonKeepsItsBrokenStyleSheet()
{
    MessageLog log;
    MonitorPage page(nullptr);
    auto* button = child<QPushButton>(page, "pushButton_EWS");
    QCOMPARE(button->styleSheet(),
             QStringLiteral("color: blue;border:0px groove gray; text-decoration:underline;}"
                            "QPushButton::disabled{color: gray;}"));
    page.show();
    QVERIFY(QTest::qWaitForWindowExposed(&page));
    const QStringList warnings =
        log.lines(QtWarningMsg).filter("Could not parse stylesheet of object QPushButton");
    QVERIFY(!warnings.isEmpty());
    QVERIFY2(warnings.first().contains("pushButton_EWS"), qPrintable(warnings.first()));
}

void MonitorPageFormTest::refreshIsTheDefaultButton()
{
    MonitorPage page(nullptr);
    QVERIFY(child<QPushButton>(page, "pbtnRefresh")->isDefault());
    QVERIFY(!child<QPushButton>(page, "pushButton_EWS")->isDefault());
}

void MonitorPageFormTest::startsWithoutAPrinter()
{
    MonitorPage page(nullptr);
    for (const char* name :
         {"lbPrinterModelDesc", "lbPrinterModel", "lbID", "lbPrinterIP", "lbPrinterState", "lbCartonState"}) {
        QCOMPARE(child<QLabel>(page, name)->text(), QString());
    }
    QVERIFY(fakeRegistry().asked.empty());
    // The empty name is the shown one already.
    page.changeView(QString());
    QVERIFY(fakeRegistry().asked.empty());
}

void MonitorPageFormTest::longTextsDoNotWidenThePage()
{
    MonitorPage page(nullptr);
    page.show();
    QVERIFY(QTest::qWaitForWindowExposed(&page));
    PrinterContext context(false);
    context.ip = "192.168.100.200";
    page.updateView(context);
    QCoreApplication::processEvents();
    const QSize size = page.minimumSizeHint();
    context.ip = std::string(300, '1');
    context.description = std::string(40, 'd') + " " + std::string(400, 'w');
    context.model = std::string(300, 'm');
    context.serialNumber = std::string(300, 's');
    context.stateMessage = std::string(300, 'x');
    page.updateView(context);
    QCoreApplication::processEvents();
    QCOMPARE(page.minimumSizeHint().width(), size.width());
}

void MonitorPageFormTest::theLongestAddressIsWhole()
{
    MonitorPage page(nullptr);
    PrinterContext context(false);
    context.ip = "255.255.255.255";
    page.updateView(context);
    page.resize(page.minimumSizeHint());
    page.show();
    QVERIFY(QTest::qWaitForWindowExposed(&page));
    const auto* label = child<QLabel>(page, "lbPrinterIP");
    QVERIFY(label->sizeHint().width() > 100);
    QVERIFY(label->width() >= label->sizeHint().width());
}

QTEST_MAIN(MonitorPageFormTest)
#include "test_monitor_page_form.moc"
