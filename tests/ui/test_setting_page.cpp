#include <QButtonGroup>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QRegExpValidator>
#include <QtTest>

#include "tests/ui/panel_support.h"
#include "ui/setting_page/setting_page.h"

namespace {

const char* const kIntervalButtons[] = {"rbtnOneMinute", "rbtnFiveMinutes", "rbtnTenMinutes", "rbtnCustom"};

bool isChecked(const SettingPage& page, const char* name)
{
    return child<QRadioButton>(page, name)->isChecked();
}

void click(const SettingPage& page, const char* name)
{
    child<QAbstractButton>(page, name)->click();
}

// What the field holds after those keys were typed into it, empty at first.
QString typed(const SettingPage& page, const char* keys)
{
    auto* field = child<QLineEdit>(page, "lineEdit");
    field->clear();
    QTest::keyClicks(field, QString::fromLatin1(keys));
    return field->text();
}

} // namespace

class TestSettingPage : public QObject
{
    Q_OBJECT

private slots:
    void formHasItsSizesTitleAndTexts();
    void widgetsComeInCreationOrder();
    void rowsHoldTheirWidgets();
    void methodsComeInIndexOrder();
    void flagsAreTheCloseButtonAlone();
    void groupsGiveTheirIds();
    void groupsAndValidatorBelongToTheDialog();
    void freshFieldIsDisabledWithTipAndPlaceholder();
    void validatorHasItsPattern();
    void fieldTakesOneToThirtyOnly_data();
    void fieldTakesOneToThirtyOnly();
    void customEnablesTheField();
    void anyOtherIntervalPutsOneAndDisables_data();
    void anyOtherIntervalPutsOneAndDisables();
    void clicksOutsideTheIntervalGroupLeaveTheField();
    void resetChecksTheDefaults();
    void okClosesAndReopeningShowsTheDefaults_data();
    void okClosesAndReopeningShowsTheDefaults();
    void okOnDefaultsCloses();
    void okOnEmptyCustomFieldCloses();
    void okChangesNothingThatIsStored();
    void cancelCloses();
    void closingKeepsTheObject();
};

void TestSettingPage::formHasItsSizesTitleAndTexts()
{
    const SettingPage page(nullptr);
    QCOMPARE(page.objectName(), QStringLiteral("SettingPage"));
    QCOMPARE(page.windowTitle(), QStringLiteral("设置"));
    QCOMPARE(page.size(), QSize(450, 278));
    auto* field = child<QLineEdit>(page, "lineEdit");
    QCOMPARE(field->minimumHeight(), 30);
    QCOMPARE(field->maximumWidth(), 50);
    QCOMPARE(field->maximumHeight(), QWIDGETSIZE_MAX);
    QCOMPARE(child<QPushButton>(page, "pbtnSet")->minimumHeight(), 30);
    QCOMPARE(child<QPushButton>(page, "pbtnCancel")->minimumHeight(), 30);

    const QList<QPair<const char*, QString>> labels = {{"label", QStringLiteral("时间间隔：")},
                                                       {"label_2", QStringLiteral("开启监视：")},
                                                       {"label_3", QStringLiteral("分钟")},
                                                       {"label_4", QStringLiteral("开机启动：")}};
    for (const auto& [name, text] : labels) {
        QCOMPARE(child<QLabel>(page, name)->text(), text);
    }
    const QList<QPair<const char*, QString>> buttons = {{"rbtnOneMinute", QStringLiteral("1分钟")},
                                                        {"rbtnFiveMinutes", QStringLiteral("5分钟")},
                                                        {"rbtnTenMinutes", QStringLiteral("10分钟")},
                                                        {"rbtnCustom", QStringLiteral("自定义")},
                                                        {"rbtnYes", QStringLiteral("是")},
                                                        {"rbtnNo", QStringLiteral("否")},
                                                        {"rbtnAutoStartYes", QStringLiteral("是")},
                                                        {"rbtnAutoStartNo", QStringLiteral("否")},
                                                        {"pbtnSet", QStringLiteral("确定")},
                                                        {"pbtnCancel", QStringLiteral("取消")}};
    for (const auto& [name, text] : buttons) {
        QCOMPARE(child<QAbstractButton>(page, name)->text(), text);
    }
}

void TestSettingPage::widgetsComeInCreationOrder()
{
    const SettingPage page(nullptr);
    QCOMPARE(childNames(&page),
             QStringList({"gridLayout", "label", "rbtnOneMinute", "rbtnFiveMinutes", "rbtnTenMinutes",
                          "rbtnCustom", "lineEdit", "label_3", "label_2", "rbtnYes", "rbtnNo", "label_4",
                          "rbtnAutoStartYes", "rbtnAutoStartNo", "pbtnSet", "pbtnCancel"}));
}

void TestSettingPage::rowsHoldTheirWidgets()
{
    const SettingPage page(nullptr);
    QVERIFY(qobject_cast<QGridLayout*>(page.layout()) != nullptr);
    QCOMPARE(itemNames(page.layout()), QStringList({"verticalLayout"}));
    QCOMPARE(itemNames(child<QLayout>(page, "verticalLayout")),
             QStringList({"label", "hlTimeInterval", "label_2", "horizontalLayout", "label_4",
                          "horizontalLayout_2", "horizontalLayout_3"}));
    QCOMPARE(itemNames(child<QLayout>(page, "hlTimeInterval")),
             QStringList({"rbtnOneMinute", "rbtnFiveMinutes", "rbtnTenMinutes", "rbtnCustom", "lineEdit",
                          "label_3"}));
    QCOMPARE(itemNames(child<QLayout>(page, "horizontalLayout")), QStringList({"rbtnYes", "rbtnNo"}));
    QCOMPARE(itemNames(child<QLayout>(page, "horizontalLayout_2")),
             QStringList({"rbtnAutoStartYes", "rbtnAutoStartNo"}));
    QCOMPARE(itemNames(child<QLayout>(page, "horizontalLayout_3")), QStringList({"pbtnSet", "pbtnCancel"}));
}

void TestSettingPage::methodsComeInIndexOrder()
{
    QCOMPARE(ownMethods(SettingPage::staticMetaObject),
             QStringList({"slot TimeIntervalChanged(int)", "slot on_pbtnSet_clicked()",
                          "slot on_pbtnCancel_clicked()"}));
}

void TestSettingPage::flagsAreTheCloseButtonAlone()
{
    SettingPage page(nullptr);
    // Qt completes what was set by the window type and what carries a close button.
    QCOMPARE(page.windowFlags(),
             Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint);
}

void TestSettingPage::groupsGiveTheirIds()
{
    const SettingPage page(nullptr);
    const auto idOf = [&page](const char* name) {
        auto* button = child<QAbstractButton>(page, name);
        return button->group() != nullptr ? button->group()->id(button) : -1;
    };
    for (int id = 0; id < 4; ++id) {
        QCOMPARE(idOf(kIntervalButtons[id]), id);
    }
    QCOMPARE(idOf("rbtnYes"), 0);
    QCOMPARE(idOf("rbtnNo"), 1);
    QCOMPARE(idOf("rbtnAutoStartYes"), 0);
    QCOMPARE(idOf("rbtnAutoStartNo"), 1);
    const QSet<QButtonGroup*> groups = {child<QAbstractButton>(page, "rbtnCustom")->group(),
                                        child<QAbstractButton>(page, "rbtnYes")->group(),
                                        child<QAbstractButton>(page, "rbtnAutoStartYes")->group()};
    QCOMPARE(groups.size(), 3);
}

void TestSettingPage::groupsAndValidatorBelongToTheDialog()
{
    const SettingPage page(nullptr);
    QCOMPARE(page.findChildren<QButtonGroup*>(QString(), Qt::FindDirectChildrenOnly).size(), 3);
    QCOMPARE(page.findChildren<QRegExpValidator*>(QString(), Qt::FindDirectChildrenOnly).size(), 1);
}

void TestSettingPage::freshFieldIsDisabledWithTipAndPlaceholder()
{
    const SettingPage page(nullptr);
    auto* field = child<QLineEdit>(page, "lineEdit");
    QVERIFY(!field->isEnabled());
    QCOMPARE(field->toolTip(), QStringLiteral("输入范围1-30"));
    QCOMPARE(field->placeholderText(), QStringLiteral("1-30"));
    QCOMPARE(field->text(), QString());
}

void TestSettingPage::validatorHasItsPattern()
{
    const SettingPage page(nullptr);
    const auto* validator =
        qobject_cast<const QRegExpValidator*>(child<QLineEdit>(page, "lineEdit")->validator());
    QVERIFY(validator != nullptr);
    QCOMPARE(validator->regExp(), QRegExp(QStringLiteral("[1-9]|[1-2][0-9]|30{0,1}"), Qt::CaseSensitive));
}

void TestSettingPage::fieldTakesOneToThirtyOnly_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QString>("result");
    QTest::newRow("zero") << QByteArray("0") << QString();
    QTest::newRow("31") << QByteArray("31") << QStringLiteral("3");
    QTest::newRow("40") << QByteArray("40") << QStringLiteral("4");
    QTest::newRow("300") << QByteArray("300") << QStringLiteral("30");
    QTest::newRow("letters") << QByteArray("ab") << QString();
    QTest::newRow("sign") << QByteArray("-5") << QStringLiteral("5");
    QTest::newRow("leading zero") << QByteArray("07") << QStringLiteral("7");
    for (int value = 1; value <= 30; ++value) {
        QTest::addRow("%d", value) << QByteArray::number(value) << QString::number(value);
    }
}

void TestSettingPage::fieldTakesOneToThirtyOnly()
{
    QFETCH(QByteArray, keys);
    QFETCH(QString, result);
    SettingPage page(nullptr);
    page.resetToDefaults();
    page.show();
    click(page, "rbtnCustom");
    QCOMPARE(typed(page, keys), result);
    QVERIFY(result.isEmpty() || child<QLineEdit>(page, "lineEdit")->hasAcceptableInput());
}

void TestSettingPage::customEnablesTheField()
{
    SettingPage page(nullptr);
    page.resetToDefaults();
    page.show();
    QVERIFY(!child<QLineEdit>(page, "lineEdit")->isEnabled());
    QTest::mouseClick(child<QRadioButton>(page, "rbtnCustom"), Qt::LeftButton, {}, QPoint(8, 8));
    QVERIFY(isChecked(page, "rbtnCustom"));
    QVERIFY(child<QLineEdit>(page, "lineEdit")->isEnabled());
    QCOMPARE(child<QLineEdit>(page, "lineEdit")->text(), QString());
}

void TestSettingPage::anyOtherIntervalPutsOneAndDisables_data()
{
    QTest::addColumn<int>("id");
    QTest::newRow("1") << 0;
    QTest::newRow("5") << 1;
    QTest::newRow("10") << 2;
}

void TestSettingPage::anyOtherIntervalPutsOneAndDisables()
{
    QFETCH(int, id);
    SettingPage page(nullptr);
    page.resetToDefaults();
    page.show();
    click(page, "rbtnCustom");
    QCOMPARE(typed(page, "17"), QStringLiteral("17"));
    click(page, kIntervalButtons[id]);
    QCOMPARE(child<QLineEdit>(page, "lineEdit")->text(), QStringLiteral("1"));
    QVERIFY(!child<QLineEdit>(page, "lineEdit")->isEnabled());
}

void TestSettingPage::clicksOutsideTheIntervalGroupLeaveTheField()
{
    SettingPage page(nullptr);
    page.resetToDefaults();
    page.show();
    click(page, "rbtnCustom");
    QCOMPARE(typed(page, "17"), QStringLiteral("17"));
    click(page, "rbtnYes");
    click(page, "rbtnAutoStartYes");
    QCOMPARE(child<QLineEdit>(page, "lineEdit")->text(), QStringLiteral("17"));
    QVERIFY(child<QLineEdit>(page, "lineEdit")->isEnabled());
    QVERIFY(isChecked(page, "rbtnCustom") && isChecked(page, "rbtnYes") &&
            isChecked(page, "rbtnAutoStartYes"));
}

void TestSettingPage::resetChecksTheDefaults()
{
    SettingPage page(nullptr);
    click(page, "rbtnCustom");
    click(page, "rbtnYes");
    click(page, "rbtnAutoStartYes");
    page.resetToDefaults();
    QVERIFY(isChecked(page, "rbtnOneMinute"));
    QVERIFY(isChecked(page, "rbtnNo"));
    QVERIFY(isChecked(page, "rbtnAutoStartNo"));
    QVERIFY(!child<QLineEdit>(page, "lineEdit")->isEnabled());
}

void TestSettingPage::okClosesAndReopeningShowsTheDefaults_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::newRow("5 minutes") << QByteArray("rbtnFiveMinutes");
    QTest::newRow("10 minutes") << QByteArray("rbtnTenMinutes");
    QTest::newRow("custom") << QByteArray("rbtnCustom");
    QTest::newRow("monitoring") << QByteArray("rbtnYes");
    QTest::newRow("start at boot") << QByteArray("rbtnAutoStartYes");
}

void TestSettingPage::okClosesAndReopeningShowsTheDefaults()
{
    QFETCH(QByteArray, button);
    SettingPage page(nullptr);
    page.resetToDefaults();
    page.show();
    click(page, button);
    QVERIFY(isChecked(page, button));
    QTest::mouseClick(child<QPushButton>(page, "pbtnSet"), Qt::LeftButton);
    QVERIFY(page.isHidden());

    page.resetToDefaults();
    page.show();
    QVERIFY(isChecked(page, "rbtnOneMinute"));
    QVERIFY(isChecked(page, "rbtnNo"));
    QVERIFY(isChecked(page, "rbtnAutoStartNo"));
}

void TestSettingPage::okOnDefaultsCloses()
{
    SettingPage page(nullptr);
    page.resetToDefaults();
    page.show();
    click(page, "pbtnSet");
    QVERIFY(page.isHidden());
}

void TestSettingPage::okOnEmptyCustomFieldCloses()
{
    SettingPage page(nullptr);
    page.resetToDefaults();
    page.show();
    click(page, "rbtnCustom");
    click(page, "pbtnSet");
    QVERIFY(page.isHidden());
}

void TestSettingPage::okChangesNothingThatIsStored()
{
    SettingPage page(nullptr);
    page.resetToDefaults();
    // Twice in a row: the lock of the first press is gone by the second.
    for (int press = 0; press < 2; ++press) {
        page.show();
        click(page, "rbtnTenMinutes");
        click(page, "pbtnSet");
        QVERIFY(page.isHidden());
        QVERIFY(isChecked(page, "rbtnTenMinutes"));
    }
    page.resetToDefaults();
    QVERIFY(isChecked(page, "rbtnOneMinute"));
}

void TestSettingPage::cancelCloses()
{
    SettingPage page(nullptr);
    page.resetToDefaults();
    page.show();
    QTest::mouseClick(child<QPushButton>(page, "pbtnCancel"), Qt::LeftButton);
    QVERIFY(page.isHidden());
}

void TestSettingPage::closingKeepsTheObject()
{
    SettingPage page(nullptr);
    const QSignalSpy destroyed(&page, &QObject::destroyed);
    page.show();
    page.close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(destroyed.count(), 0);
    page.show();
    QVERIFY(page.isVisible());
}

QTEST_MAIN(TestSettingPage)
#include "test_setting_page.moc"
