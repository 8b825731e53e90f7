#include <QAccessible>
#include <QComboBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QRadioButton>
#include <QScrollBar>

#include <memory>

#include "tests/ui/main_window_support.h"
#include "ui/add_printer_page/add_printer_page.h"
#include "ui/toner_widget/toner_widget.h"

namespace {

QAccessibleInterface* accessible(QObject* object)
{
    return QAccessible::queryAccessibleInterface(object);
}

QString nameOf(QObject* object)
{
    return accessible(object)->text(QAccessible::Name);
}

QString descriptionOf(QObject* object)
{
    return accessible(object)->text(QAccessible::Description);
}

QAccessibleInterface* row(QListWidget* list, int index)
{
    return accessible(list)->child(index);
}

// Every widget below that takes the focus, or shows a value, and says nothing of itself.
QStringList nameless(const QWidget& window)
{
    QStringList found;
    for (QWidget* widget : window.findChildren<QWidget*>()) {
        const bool isInner = widget->objectName().startsWith(QLatin1String("qt_"));
        const bool speaks =
            widget->focusPolicy() != Qt::NoFocus || qobject_cast<QProgressBar*>(widget) != nullptr;
        // A list's scroll bars, a combo box's popup.
        const bool isPart = qobject_cast<QScrollBar*>(widget) != nullptr || widget->window() != &window;
        if (speaks && !isInner && !isPart && nameOf(widget).isEmpty()) {
            found << widget->metaObject()->className() + QLatin1Char(' ') + widget->objectName();
        }
    }
    return found;
}

} // namespace

class TestAccessible : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void nothingThatTakesTheFocusIsNameless();
    void captionsNameWhatTheyStandBeside();
    void barsSayColourAndLevel_data();
    void barsSayColourAndLevel();
    void rowsSayWhetherThePrinterAnswers();
    void editorsRowsSayWhetherThePrinterAnswered();
    void octetsAreCounted();
    void buttonsOfOneTextAreToldApart();
    void listHasTheFirstFocus();
    void editorsListHasTheFirstFocus();
    void tabGoesThroughTheEditor();
    void shiftTabLeavesTheAddress();
    void tabEntersTheAddressByItsFirstOctet();
    void selectingARowShowsItsPrinter();
};

void TestAccessible::init()
{
    fakeRegistry().reset();
    fakeRegistry().models = {"X1"};
    fakeRegistry().printers = {printer("A", "就绪"), printer("B", "")};
}

void TestAccessible::nothingThatTakesTheFocusIsNameless()
{
    MainWindow window;
    QCOMPARE(nameless(window), QStringList());
    QCOMPARE(nameless(*theOnly<AboutDialog>()), QStringList());
    QCOMPARE(nameless(*theOnly<SettingPage>()), QStringList());
    const AddPrinterPage editor;
    QCOMPARE(nameless(editor), QStringList());
}

void TestAccessible::captionsNameWhatTheyStandBeside()
{
    const MonitorPage page;
    QStringList pairs;
    for (const QLabel* caption : page.findChildren<QLabel*>()) {
        if (caption->buddy() != nullptr) {
            pairs << caption->text() + caption->buddy()->objectName();
        }
    }
    pairs.sort();
    QStringList expected{"余量信息tonerWidget", "基本信息frame_2", "状态信息pteErrorInfo"};
    expected.sort();
    QCOMPARE(pairs, expected);
    // A label without text would take its name from a caption that had it for a buddy, and so show a value.
    const std::pair<const char*, const char*> values[] = {
        {"lbPrinterModel", "型号"},           {"lbID", "序列号"},
        {"lbPrinterModelDesc", "打印机描述"}, {"lbPrinterIP", "通信方式"},
        {"lbPrinterState", "打印机状态"},     {"lbCartonState", "进纸盒状态"}};
    for (const auto& [name, description] : values) {
        auto* const value = child<QLabel>(page, name);
        QCOMPARE(value->accessibleDescription(), QString(description));
        value->clear();
        QCOMPARE(nameOf(value), QString());
        value->setText("X1");
        QCOMPARE(nameOf(value), QStringLiteral("X1"));
    }
    QCOMPARE(nameOf(child<QWidget>(page, "pteErrorInfo")), QStringLiteral("错误信息"));

    const AddPrinterPage editor;
    QCOMPARE(editor.findChild<QLabel*>("label")->buddy()->objectName(), QStringLiteral("ledtName"));
    QCOMPARE(child<QLabel>(editor, "label_2")->buddy()->objectName(), QStringLiteral("ledtIP"));
    QCOMPARE(child<QLabel>(editor, "label_3")->buddy()->objectName(), QStringLiteral("cmbModel"));
    QCOMPARE(nameOf(child<QWidget>(editor, "ledtName")), QStringLiteral("打印机名称"));
}

void TestAccessible::barsSayColourAndLevel_data()
{
    QTest::addColumn<QString>("bar");
    QTest::addColumn<QString>("colour");
    QTest::newRow("black") << "pbTonerBlack" << QStringLiteral("黑色碳粉");
    QTest::newRow("cyan") << "pbTonerCyan" << QStringLiteral("青色碳粉");
    QTest::newRow("magenta") << "pbTonerMagenta" << QStringLiteral("品红色碳粉");
    QTest::newRow("yellow") << "pbTonerYellow" << QStringLiteral("黄色碳粉");
    QTest::newRow("red") << "pbTonerRed" << QStringLiteral("红色碳粉");
}

void TestAccessible::barsSayColourAndLevel()
{
    QFETCH(QString, bar);
    QFETCH(QString, colour);
    TonerWidget toner;
    auto* widget = child<QProgressBar>(toner, qPrintable(bar));
    QCOMPARE(nameOf(widget), colour);
    QCOMPARE(descriptionOf(widget), QStringLiteral("余量未知"));
    const auto set = [&](int level, bool showPercent) {
        toner.setBlackToner(level, showPercent);
        toner.setCyanToner(level, showPercent);
        toner.setMagentaToner(level, showPercent);
        toner.setYellowToner(level, showPercent);
        toner.setRedToner(level, showPercent);
        return descriptionOf(widget);
    };
    QCOMPARE(set(0, true), QStringLiteral("余量 0%"));
    QCOMPARE(set(40, true), QStringLiteral("余量 40%"));
    QCOMPARE(set(100, true), QStringLiteral("余量 100%"));
    QCOMPARE(set(101, true), QStringLiteral("有余量，数值未知"));
    QCOMPARE(set(-1, true), QStringLiteral("余量未知"));
    QCOMPARE(set(0, false), QStringLiteral("余量未知"));
}

void TestAccessible::rowsSayWhetherThePrinterAnswers()
{
    PrinterListPage page(nullptr);
    page.refreshPrinterList();
    auto* list = child<QListWidget>(page, "listPrinter");
    QCOMPARE(nameOf(list), QStringLiteral("打印机列表"));
    QCOMPARE(row(list, 0)->text(QAccessible::Name), QStringLiteral("A"));
    QCOMPARE(row(list, 0)->text(QAccessible::Description), QStringLiteral("在线"));
    QCOMPARE(row(list, 1)->text(QAccessible::Description), QStringLiteral("离线"));
    page.updatePrinterStatus(printer("A", ""));
    page.updatePrinterStatus(printer("B", "就绪"));
    QCOMPARE(row(list, 0)->text(QAccessible::Description), QStringLiteral("离线"));
    QCOMPARE(row(list, 1)->text(QAccessible::Description), QStringLiteral("在线"));
}

void TestAccessible::editorsRowsSayWhetherThePrinterAnswered()
{
    const AddPrinterPage editor;
    auto* list = child<QListWidget>(editor, "listPrinter");
    QCOMPARE(nameOf(list), QStringLiteral("网络打印机列表"));
    QCOMPARE(row(list, 0)->text(QAccessible::Description), QStringLiteral("在线"));
    QCOMPARE(row(list, 1)->text(QAccessible::Description), QStringLiteral("离线"));
}

void TestAccessible::octetsAreCounted()
{
    const AddPrinterPage editor;
    const auto* field = child<QWidget>(editor, "ledtIP");
    QStringList names;
    for (QLineEdit* octet : field->findChildren<QLineEdit*>()) {
        names << nameOf(octet);
        QCOMPARE(descriptionOf(octet), QStringLiteral("0 到 255"));
    }
    QCOMPARE(names, QStringList({"IP 地址第 1 段", "IP 地址第 2 段", "IP 地址第 3 段", "IP 地址第 4 段"}));
}

void TestAccessible::buttonsOfOneTextAreToldApart()
{
    const SettingPage settings(nullptr);
    QSet<QString> said;
    const auto buttons = settings.findChildren<QRadioButton*>();
    for (QRadioButton* button : buttons) {
        said << nameOf(button) + descriptionOf(button);
    }
    QCOMPARE(said.size(), buttons.size());
}

void TestAccessible::listHasTheFirstFocus()
{
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QVERIFY(window.focusWidget() != nullptr);
    QCOMPARE(window.focusWidget()->objectName(), QStringLiteral("listPrinter"));
}

void TestAccessible::editorsListHasTheFirstFocus()
{
    AddPrinterPage editor;
    editor.show();
    QVERIFY(QTest::qWaitForWindowActive(&editor));
    QTRY_VERIFY(editor.focusWidget() != nullptr);
    QCOMPARE(editor.focusWidget()->objectName(), QStringLiteral("listPrinter"));
}

void TestAccessible::tabGoesThroughTheEditor()
{
    AddPrinterPage editor;
    editor.show();
    QVERIFY(QTest::qWaitForWindowActive(&editor));
    QTRY_COMPARE(nameOf(QApplication::focusWidget()), QStringLiteral("网络打印机列表"));
    QStringList met;
    for (int press = 0; press < 10; ++press) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        met << nameOf(QApplication::focusWidget());
    }
    QCOMPARE(met, QStringList({"X1", "打印机名称", "IP 地址第 1 段", "IP 地址第 2 段", "IP 地址第 3 段",
                               "IP 地址第 4 段", "添加", "移除", "确定", "网络打印机列表"}));
}

void TestAccessible::shiftTabLeavesTheAddress()
{
    AddPrinterPage editor;
    editor.show();
    QVERIFY(QTest::qWaitForWindowActive(&editor));
    child<QLineEdit>(editor, "ledtIP")->findChildren<QLineEdit*>().last()->setFocus();
    QStringList met;
    for (int press = 0; press < 9; ++press) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab, Qt::ShiftModifier);
        met << nameOf(QApplication::focusWidget());
    }
    QCOMPARE(met, QStringList({"IP 地址第 3 段", "IP 地址第 2 段", "IP 地址第 1 段", "打印机名称", "X1",
                               "网络打印机列表", "确定", "移除", "添加"}));
}

void TestAccessible::tabEntersTheAddressByItsFirstOctet()
{
    AddPrinterPage editor;
    editor.show();
    QVERIFY(QTest::qWaitForWindowActive(&editor));
    auto octets = child<QLineEdit>(editor, "ledtIP")->findChildren<QLineEdit*>();
    octets.first()->setText(QStringLiteral("127"));
    child<QWidget>(editor, "ledtName")->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), octets.first());
    QCOMPARE(octets.first()->selectedText(), QStringLiteral("127"));
    child<QWidget>(editor, "pbtnAdd")->setFocus();
    octets.first()->deselect();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(QApplication::focusWidget(), octets.first());
    QCOMPARE(octets.first()->selectedText(), QStringLiteral("127"));
}

void TestAccessible::selectingARowShowsItsPrinter()
{
    PrinterListPage page(nullptr);
    page.refreshPrinterList();
    const QSignalSpy shown(&page, &PrinterListPage::currentItemChanged);
    QAccessibleActionInterface* actions = row(child<QListWidget>(page, "listPrinter"), 1)->actionInterface();
    QVERIFY(actions != nullptr);
    actions->doAction(QAccessibleActionInterface::toggleAction());
    QCOMPARE(shown.count(), 1);
    QCOMPARE(shown[0][0].toString(), QStringLiteral("B"));
    QCOMPARE(child<QListWidget>(page, "listPrinter")->currentRow(), 1);
}

QTEST_MAIN(TestAccessible)
#include "test_accessible.moc"
