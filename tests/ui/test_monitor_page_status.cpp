#include <QSignalSpy>
#include <QTextDocument>

#include "tests/ui/fake_registry.h"
#include "tests/ui/monitor_page_support.h"

// How one status is drawn.
class MonitorPageStatusTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { fakeRegistry().reset(); }
    void onlinePrinter();
    void connection_data();
    void connection();
    void stateText_data();
    void stateText();
    void errorItemsAreLines_data();
    void errorItemsAreLines();
    void errorTextHoldsAThousandLines();
    void repeatedStatusLeavesTheErrorTextAlone();
    void hugeTextsAreDrawnByTheirBeginnings();
    void hugeErrorTextIsDrawnByItsLastLines();
    void pageCount_data();
    void pageCount();
    void paperTray_data();
    void paperTray();
    void tonerLevels_data();
    void tonerLevels();
    void unknownSuppliesClearTheHiddenBars();
    void offlinePrinterShowsNoSupplies();
    void offlineUsbPrinter();
    void backOnline();
    void deviceTextsAreNoMarkup();
    void deviceTextsDoNotSteerTheLabels();
};

void MonitorPageStatusTest::onlinePrinter()
{
    MonitorPage page(nullptr);
    page.updateView(readyPrinter(""));
    QCOMPARE(label(page, "lbPrinterModelDesc"), QStringLiteral("description of "));
    QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("model of "));
    QCOMPARE(label(page, "lbID"), QStringLiteral("SN1"));
    QCOMPARE(label(page, "lbPrinterIP"), QStringLiteral("网络连接(192.168.1.20)"));
    QCOMPARE(label(page, "lbPrinterState"), QStringLiteral("[3]就绪"));
    QCOMPARE(label(page, "lbCartonState"), QStringLiteral("正常"));
    QCOMPARE(label(page, "labelPageCount"), QStringLiteral("打印总页数:    1234页"));
    QCOMPARE(errorText(page), QStringLiteral("就绪"));
    QCOMPARE(bars(page), QStringList({"40 碳粉余量 (K) : 40%"}));
}

void MonitorPageStatusTest::connection_data()
{
    QTest::addColumn<bool>("usb");
    QTest::addColumn<QString>("ip");
    QTest::addColumn<QString>("text");
    QTest::newRow("network") << false << "10.0.0.7"
                             << "网络连接(10.0.0.7)";
    QTest::newRow("network, leading zero") << false << "01.2.3.4"
                                           << "网络连接(01.2.3.4)";
    QTest::newRow("network without address") << false << ""
                                             << "网络连接()";
    QTest::newRow("USB") << true << ""
                         << "USB连接";
    QTest::newRow("USB with an address") << true << "10.0.0.7"
                                         << "USB连接";
}

void MonitorPageStatusTest::connection()
{
    QFETCH(bool, usb);
    QFETCH(QString, ip);
    for (const int state : {2, 3}) {
        MonitorPage page(nullptr);
        PrinterContext context(usb);
        context.ip = ip.toStdString();
        context.state = state;
        page.updateView(context);
        QTEST(label(page, "lbPrinterIP"), "text");
    }
}

void MonitorPageStatusTest::stateText_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("text");
    QTest::newRow("one item") << 3 << "就绪"
                              << "[3]就绪";
    QTest::newRow("first of two") << 3 << "X-Y"
                                  << "[3]X";
    QTest::newRow("no message") << 4 << ""
                                << "[4]";
    QTest::newRow("message begins with the separator") << 1 << "-Y"
                                                       << "[1]";
    QTest::newRow("initial state") << 0 << ""
                                   << "[0]";
    QTest::newRow("negative state") << -7 << "X"
                                    << "[-7]X";
}

void MonitorPageStatusTest::stateText()
{
    QFETCH(int, state);
    QFETCH(QString, message);
    MonitorPage page(nullptr);
    PrinterContext context(false);
    context.state = state;
    context.stateMessage = message.toStdString();
    page.updateView(context);
    QTEST(label(page, "lbPrinterState"), "text");
}

void MonitorPageStatusTest::errorItemsAreLines_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("text");
    QTest::newRow("three items") << "需要处理-缺纸-机盖打开"
                                 << "需要处理\n缺纸\n机盖打开";
    QTest::newRow("one item") << "就绪"
                              << "就绪";
    QTest::newRow("nothing") << ""
                             << "";
    QTest::newRow("empty items stay lines") << "A--B-"
                                            << "A\n\nB\n";
}

void MonitorPageStatusTest::errorItemsAreLines()
{
    QFETCH(QString, message);
    QFETCH(QString, text);
    MonitorPage page(nullptr);
    PrinterContext context(false);
    context.stateMessage = message.toStdString();
    page.updateView(context);
    QCOMPARE(errorText(page), text);
    QCOMPARE(child<QPlainTextEdit>(page, "pteErrorInfo")->blockCount(), text.count('\n') + 1);
}

void MonitorPageStatusTest::errorTextHoldsAThousandLines()
{
    MonitorPage page(nullptr);
    PrinterContext context(false);
    for (int line = 1; line <= 1500; ++line) {
        context.stateMessage += (line == 1 ? "" : "-") + std::to_string(line);
    }
    page.updateView(context);
    const auto* view = child<QPlainTextEdit>(page, "pteErrorInfo");
    QCOMPARE(view->blockCount(), 1000);
    QCOMPARE(errorText(page).section('\n', 0, 0), QStringLiteral("501"));
    QCOMPARE(errorText(page).section('\n', -1), QStringLiteral("1500"));
    page.updateView(context);
    QCOMPARE(view->blockCount(), 1000);
}

void MonitorPageStatusTest::hugeTextsAreDrawnByTheirBeginnings()
{
    MonitorPage page(nullptr);
    page.show();
    PrinterContext context = readyPrinter("");
    std::string huge = "x";
    for (int i = 0; i < 400'000; ++i) {
        huge += "办"; // three bytes each, so that a cut by bytes meets the middle of one
    }
    context.description = context.model = context.serialNumber = context.ip = context.stateMessage = huge;
    page.updateView(context);
    const QString beginning = QLatin1Char('x') + QString(10922, QStringLiteral("办").at(0));
    for (const char* name : {"lbPrinterModelDesc", "lbPrinterModel", "lbID"}) {
        QCOMPARE(label(page, name), beginning);
    }
    QCOMPARE(label(page, "lbPrinterIP"), QStringLiteral("网络连接(") + beginning + QLatin1Char(')'));
    QCOMPARE(label(page, "lbPrinterState"), QStringLiteral("[3]") + beginning);
    QCOMPARE(errorText(page), beginning);
}

void MonitorPageStatusTest::hugeErrorTextIsDrawnByItsLastLines()
{
    MonitorPage page(nullptr);
    page.show();
    PrinterContext context = readyPrinter("");
    for (int line = 0; line < 200'000; ++line) {
        context.stateMessage += "item " + std::to_string(line) + "-";
    }
    context.stateMessage += "last";
    page.updateView(context);
    QCOMPARE(child<QPlainTextEdit>(page, "pteErrorInfo")->blockCount(), 1000);
    QCOMPARE(errorText(page).section('\n', -2), QStringLiteral("item 199999\nlast"));
    context.stateMessage = std::string(1'000'000, '-') + "end";
    page.updateView(context);
    QCOMPARE(errorText(page).section('\n', -2), QStringLiteral("\nend"));
}

void MonitorPageStatusTest::repeatedStatusLeavesTheErrorTextAlone()
{
    MonitorPage page(nullptr);
    PrinterContext context = readyPrinter("");
    context.stateMessage = "需要处理-缺纸";
    page.updateView(context);
    auto* view = child<QPlainTextEdit>(page, "pteErrorInfo");
    view->selectAll();
    QSignalSpy changes(view->document(), &QTextDocument::contentsChanged);
    page.updateView(context);
    QCOMPARE(changes.count(), 0);
    QCOMPARE(view->textCursor().selectedText(), QStringLiteral("需要处理\u2029缺纸"));
    context.stateMessage = "需要处理 缺纸";
    page.updateView(context);
    QVERIFY(changes.count() > 0);
    QCOMPARE(errorText(page), QStringLiteral("需要处理 缺纸"));
}

void MonitorPageStatusTest::pageCount_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("text");
    QTest::newRow("not reported") << -1 << "";
    QTest::newRow("zero") << 0 << "";
    QTest::newRow("one") << 1 << "打印总页数:    1页";
    QTest::newRow("1234") << 1234 << "打印总页数:    1234页";
}

void MonitorPageStatusTest::pageCount()
{
    QFETCH(int, count);
    MonitorPage page(nullptr);
    PrinterContext context = readyPrinter("");
    context.totalPrint = 77;
    page.updateView(context);
    context.totalPrint = count;
    page.updateView(context);
    QTEST(label(page, "labelPageCount"), "text");
}

void MonitorPageStatusTest::paperTray_data()
{
    QTest::addColumn<bool>("lack");
    QTest::addColumn<bool>("less");
    QTest::addColumn<QString>("text");
    QTest::newRow("full") << false << false << "正常";
    QTest::newRow("low") << false << true << "纸张不足";
    QTest::newRow("out") << true << false << "缺纸";
    QTest::newRow("out beats low") << true << true << "缺纸";
}

void MonitorPageStatusTest::paperTray()
{
    QFETCH(bool, lack);
    QFETCH(bool, less);
    MonitorPage page(nullptr);
    PrinterContext context(false);
    context.lackPaper = lack;
    context.lessPaper = less;
    page.updateView(context);
    QTEST(label(page, "lbCartonState"), "text");
}

void MonitorPageStatusTest::tonerLevels_data()
{
    QTest::addColumn<QList<int>>("cmykr");
    QTest::addColumn<QStringList>("shown"); // in the order K C M Y R
    QTest::newRow("colour") << QList<int>{80, 70, 60, 50, -1}
                            << QStringList{"50 碳粉余量 (K) : 50%", "80 碳粉余量 (C) : 80%",
                                           "70 碳粉余量 (M) : 70%", "60 碳粉余量 (Y) : 60%"};
    QTest::newRow("colour, all empty") << QList<int>{0, 0, 0, 0, -1}
                                       << QStringList{"0 碳粉余量 (K) : 0%", "0 碳粉余量 (C) : 0%",
                                                      "0 碳粉余量 (M) : 0%", "0 碳粉余量 (Y) : 0%"};
    QTest::newRow("colour without black") << QList<int>{80, 70, 60, -1, -1}
                                          << QStringList{"0 碳粉余量 (K) : -1%", "80 碳粉余量 (C) : 80%",
                                                         "70 碳粉余量 (M) : 70%", "60 碳粉余量 (Y) : 60%"};
    QTest::newRow("colour, some left")
        << QList<int>{101, 101, 101, 101, -1}
        << QStringList{
               "100 碳粉余量 (K) : ", "100 碳粉余量 (C) : ", "100 碳粉余量 (M) : ", "100 碳粉余量 (Y) : "};
    QTest::newRow("black and white") << QList<int>{-1, -1, -1, 40, -1}
                                     << QStringList{"40 碳粉余量 (K) : 40%"};
    QTest::newRow("black empty") << QList<int>{-1, -1, -1, 0, -1} << QStringList{"0 碳粉余量 (K) : 0%"};
    QTest::newRow("no cyan") << QList<int>{-1, 30, 30, 40, -1} << QStringList{"40 碳粉余量 (K) : 40%"};
    QTest::newRow("red and black") << QList<int>{-1, -1, -1, 50, 30}
                                   << QStringList{"50 碳粉余量 (K) : 50%", "30 碳粉余量 (R) : 30%"};
    QTest::newRow("red empty") << QList<int>{-1, -1, -1, 50, 0}
                               << QStringList{"50 碳粉余量 (K) : 50%", "0 碳粉余量 (R) : 0%"};
    QTest::newRow("red rules over colour")
        << QList<int>{10, 20, 30, 40, 50} << QStringList{"40 碳粉余量 (K) : 40%", "50 碳粉余量 (R) : 50%"};
    QTest::newRow("red without black")
        << QList<int>{-1, -1, -1, -1, 30} << QStringList{"0 碳粉余量 (K) : -1%", "30 碳粉余量 (R) : 30%"};
    QTest::newRow("none") << QList<int>{-1, -1, -1, -1, -1} << QStringList{};
    QTest::newRow("empty cyan without black")
        << QList<int>{0, 20, 30, -1, -1}
        << QStringList{"0 碳粉余量 (K) : -1%", "0 碳粉余量 (C) : 0%", "20 碳粉余量 (M) : 20%",
                       "30 碳粉余量 (Y) : 30%"};
    QTest::newRow("magenta and yellow only") << QList<int>{-1, 20, 30, -1, -1} << QStringList{};
}

void MonitorPageStatusTest::tonerLevels()
{
    QFETCH(QList<int>, cmykr);
    MonitorPage page(nullptr);
    PrinterContext context(false);
    context.state = 3;
    context.cToner = cmykr.at(0);
    context.mToner = cmykr.at(1);
    context.yToner = cmykr.at(2);
    context.kToner = cmykr.at(3);
    context.rToner = cmykr.at(4);
    page.updateView(context);
    QTEST(bars(page), "shown");
}

void MonitorPageStatusTest::unknownSuppliesClearTheHiddenBars()
{
    MonitorPage page(nullptr);
    page.updateView(readyPrinter(""));
    PrinterContext context = readyPrinter("");
    context.kToner = -1;
    page.updateView(context);
    QCOMPARE(bar(page, "pbTonerBlack"), QStringLiteral("0 碳粉余量 (K) : "));
    QCOMPARE(bar(page, "pbTonerCyan"), QStringLiteral("0 碳粉余量 (C) : "));
    QCOMPARE(bar(page, "pbTonerMagenta"), QStringLiteral("0 碳粉余量 (M) : "));
    QCOMPARE(bar(page, "pbTonerYellow"), QStringLiteral("0 碳粉余量 (Y) : "));
    QCOMPARE(bar(page, "pbTonerRed"), QStringLiteral("100 碳粉余量 (R)"));
}

void MonitorPageStatusTest::offlinePrinterShowsNoSupplies()
{
    MonitorPage page(nullptr);
    PrinterContext context = readyPrinter("");
    context.cToner = context.mToner = context.yToner = context.rToner = 60;
    context.stateMessage = "A-B";
    context.lackPaper = true;
    page.updateView(context);
    context.state = 2;
    page.updateView(context);
    QCOMPARE(label(page, "lbPrinterModelDesc"), QStringLiteral("description of "));
    QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("model of "));
    QCOMPARE(label(page, "lbID"), QString());
    QCOMPARE(errorText(page), QString());
    QCOMPARE(label(page, "lbPrinterIP"), QStringLiteral("网络连接(192.168.1.20)"));
    QCOMPARE(label(page, "lbPrinterState"), QStringLiteral("离线"));
    QCOMPARE(label(page, "labelPageCount"), QString());
    QCOMPARE(label(page, "lbCartonState"), QString());
    QCOMPARE(bars(page), QStringList());
    QCOMPARE(bar(page, "pbTonerBlack"), QStringLiteral("0 碳粉余量 (K) : "));
    QCOMPARE(bar(page, "pbTonerCyan"), QStringLiteral("0 碳粉余量 (C) : "));
    QCOMPARE(bar(page, "pbTonerMagenta"), QStringLiteral("0 碳粉余量 (M) : "));
    QCOMPARE(bar(page, "pbTonerYellow"), QStringLiteral("0 碳粉余量 (Y) : "));
    QCOMPARE(bar(page, "pbTonerRed"), QStringLiteral("60 碳粉余量 (R) : 60%"));
}

void MonitorPageStatusTest::offlineUsbPrinter()
{
    MonitorPage page(nullptr);
    PrinterContext context(true);
    context.state = 2;
    page.updateView(context);
    QCOMPARE(label(page, "lbPrinterIP"), QStringLiteral("USB连接"));
    QCOMPARE(label(page, "lbPrinterState"), QStringLiteral("离线"));
}

void MonitorPageStatusTest::backOnline()
{
    MonitorPage page(nullptr);
    PrinterContext context = readyPrinter("");
    context.state = 2;
    page.updateView(context);
    page.updateView(readyPrinter(""));
    QCOMPARE(label(page, "lbID"), QStringLiteral("SN1"));
    QCOMPARE(errorText(page), QStringLiteral("就绪"));
    QCOMPARE(label(page, "lbPrinterState"), QStringLiteral("[3]就绪"));
    QCOMPARE(bars(page), QStringList({"40 碳粉余量 (K) : 40%"}));
}

void MonitorPageStatusTest::deviceTextsAreNoMarkup()
{
    MonitorPage page(nullptr);
    PrinterContext context = readyPrinter("");
    context.model = "<b>X</b>";
    page.updateView(context);
    QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("<b>X</b>"));
    for (const char* name :
         {"lbPrinterModelDesc", "lbPrinterModel", "lbID", "lbPrinterIP", "lbPrinterState", "lbCartonState"}) {
        QCOMPARE(child<QLabel>(page, name)->textFormat(), Qt::PlainText);
    }
}

void MonitorPageStatusTest::deviceTextsDoNotSteerTheLabels()
{
    const std::string hostile = "a\x1b[31m\r\n\t\xc2\x9b\xe2\x80\xae\xe2\x80\xa8z";
    PrinterContext context = readyPrinter("");
    context.description = context.model = context.serialNumber = context.ip = hostile;
    context.stateMessage = hostile + "-" + hostile;
    MonitorPage page(nullptr);
    page.updateView(context);
    int seen = 0;
    QStringList texts{errorText(page).remove(QLatin1Char('\n'))}; // between its items
    for (const QLabel* shown : page.findChildren<QLabel*>()) {
        texts << shown->text();
    }
    for (const QString& text : texts) {
        seen += text.contains(QLatin1Char('z')) ? 1 : 0;
        for (const QChar c : text) {
            QVERIFY2(c.unicode() >= 0x20 && c.unicode() != 0x9B && c.unicode() != 0x202E &&
                         c.unicode() != 0x2028,
                     qPrintable(text));
        }
    }
    QCOMPARE(seen, 6); // description, model, address, state, serial number, errors
}

QTEST_MAIN(MonitorPageStatusTest)
#include "test_monitor_page_status.moc"
