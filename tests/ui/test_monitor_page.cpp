#include <QDesktopServices>
#include <QPushButton>
#include <QUrl>

#include "tests/ui/fake_registry.h"
#include "tests/ui/monitor_page_support.h"

// Which printer is shown, and what the two buttons do.
class MonitorPageTest : public QObject
{
    Q_OBJECT

public slots:
    void takeUrl(const QUrl& url) { m_urls << url; }

private slots:
    void initTestCase() { QDesktopServices::setUrlHandler("http", this, "takeUrl"); }
    void cleanupTestCase() { QDesktopServices::unsetUrlHandler("http"); }
    void init();

    void selectionShowsWhatTheRegistryKnows();
    void theShownNameAgainIsNotAskedFor();
    void namesAreKeysInUtf8();
    void unknownPrinterIsLoggedAndChangesNothing();
    void missingLibraryIsLogged();
    void onlyTheShownPrintersStatusIsDrawn();
    void emptyNameIsDrawnBeforeTheFirstSelection();
    void refreshButtonPollsTheShownPrinter();
    void ewsButtonOpensTheShownAddress_data();
    void ewsButtonOpensTheShownAddress();
    void ewsButtonReadsTheLabel();

private:
    QList<QUrl> m_urls;
};

void MonitorPageTest::init()
{
    fakeRegistry().reset();
    m_urls.clear();
}

void MonitorPageTest::selectionShowsWhatTheRegistryKnows()
{
    fakeRegistry().printers = {readyPrinter("A"), readyPrinter("B")};
    MonitorPage page(nullptr);
    page.changeView("B");
    QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("model of B"));
    page.changeView("A");
    QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("model of A"));
    QCOMPARE(fakeRegistry().asked, (std::vector<std::string>{"B", "A"}));
}

void MonitorPageTest::theShownNameAgainIsNotAskedFor()
{
    fakeRegistry().printers = {readyPrinter("A")};
    MonitorPage page(nullptr);
    page.changeView("A");
    fakeRegistry().printers.front().model = "changed";
    page.changeView("A");
    QCOMPARE(fakeRegistry().asked, (std::vector<std::string>{"A"}));
    QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("model of A"));
}

void MonitorPageTest::namesAreKeysInUtf8()
{
    const std::string name = "\xE5\x8A\x9E\xE5\x85\xAC\xE5\xAE\xA4"; // 办公室
    fakeRegistry().printers = {readyPrinter(name)};
    MonitorPage page(nullptr);
    page.changeView("办公室");
    QCOMPARE(fakeRegistry().asked, (std::vector<std::string>{name}));
    PrinterContext update = readyPrinter(name);
    update.serialNumber = "新";
    page.updateView(update);
    QCOMPARE(label(page, "lbID"), QStringLiteral("新"));
    child<QPushButton>(page, "pbtnRefresh")->click();
    QCOMPARE(fakeRegistry().refreshed, (std::vector<std::string>{name}));
}

void MonitorPageTest::unknownPrinterIsLoggedAndChangesNothing()
{
    fakeRegistry().printers = {readyPrinter("A")};
    MonitorPage page(nullptr);
    page.changeView("A");
    {
        MessageLog log;
        page.changeView("gone");
        QCOMPARE(log.lines(QtDebugMsg), QStringList({"tarner error: 2"}));
    }
    QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("model of A"));
    QCOMPARE(bars(page), QStringList({"40 碳粉余量 (K) : 40%"}));
    // The name has changed all the same.
    page.updateView(readyPrinter("A"));
    page.updateView(readyPrinter("gone"));
    QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("model of gone"));
}

void MonitorPageTest::missingLibraryIsLogged()
{
    fakeRegistry().printersFail = true;
    MonitorPage page(nullptr);
    MessageLog log;
    page.changeView("A");
    QCOMPARE(log.lines(QtDebugMsg), QStringList({"tarner error: 1"}));
    QCOMPARE(label(page, "lbPrinterModel"), QString());
}

void MonitorPageTest::onlyTheShownPrintersStatusIsDrawn()
{
    fakeRegistry().printers = {readyPrinter("A")};
    MonitorPage page(nullptr);
    page.changeView("A");
    for (const char* other : {"B", "a", "A ", ""}) {
        page.updateView(readyPrinter(other));
        QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("model of A"));
    }
    PrinterContext update = readyPrinter("A");
    update.model = "new model";
    page.updateView(update);
    QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("new model"));
}

void MonitorPageTest::emptyNameIsDrawnBeforeTheFirstSelection()
{
    MonitorPage page(nullptr);
    page.updateView(readyPrinter("A"));
    QCOMPARE(label(page, "lbPrinterModel"), QString());
    page.updateView(readyPrinter(""));
    QCOMPARE(label(page, "lbPrinterModel"), QStringLiteral("model of "));
}

void MonitorPageTest::refreshButtonPollsTheShownPrinter()
{
    fakeRegistry().printers = {readyPrinter("A")};
    MonitorPage page(nullptr);
    page.changeView("A");
    page.show();
    QTest::mouseClick(child<QPushButton>(page, "pbtnRefresh"), Qt::LeftButton);
    QCOMPARE(fakeRegistry().refreshed, (std::vector<std::string>{"A"}));
    QCOMPARE(fakeRegistry().asked, (std::vector<std::string>{"A"}));
}

void MonitorPageTest::ewsButtonOpensTheShownAddress_data()
{
    QTest::addColumn<bool>("usb");
    QTest::addColumn<QString>("ip");
    QTest::addColumn<QString>("url");
    QTest::newRow("network") << false << "192.168.1.20"
                             << "http://192.168.1.20";
    QTest::newRow("USB: the whole text") << true << ""
                                         << "http://USB连接";
    QTest::newRow("no address") << false << ""
                                << "http://";
    QTest::newRow("up to the first closing bracket") << false << "10.0.0.1)x"
                                                     << "http://10.0.0.1";
}

void MonitorPageTest::ewsButtonOpensTheShownAddress()
{
    QFETCH(bool, usb);
    QFETCH(QString, ip);
    QFETCH(QString, url);
    MonitorPage page(nullptr);
    PrinterContext context(usb);
    context.ip = ip.toStdString();
    page.updateView(context);
    QVERIFY(child<QPushButton>(page, "pushButton_EWS")->isEnabled());
    page.show();
    QTest::mouseClick(child<QPushButton>(page, "pushButton_EWS"), Qt::LeftButton);
    QCOMPARE(m_urls, QList<QUrl>{QUrl(url)});
}

void MonitorPageTest::ewsButtonReadsTheLabel()
{
    fakeRegistry().printers = {readyPrinter("A")};
    MonitorPage page(nullptr);
    page.changeView("A");
    child<QLabel>(page, "lbPrinterIP")->setText("(127.0.0.9)");
    page.show();
    QTest::mouseClick(child<QPushButton>(page, "pushButton_EWS"), Qt::LeftButton);
    QCOMPARE(m_urls, QList<QUrl>{QUrl("http://127.0.0.9")});
}

QTEST_MAIN(MonitorPageTest)
#include "test_monitor_page.moc"
