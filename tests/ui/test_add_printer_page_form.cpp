#include <QBoxLayout>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>

#include "tests/ui/fake_registry.h"
#include "tests/ui/panel_support.h"
#include "ui/add_printer_page/add_printer_page.h"
#include "ui/line_edit_ip/line_edit_ip.h"

// What the editor is made of: names, order, sizes, texts of any length.
class AddPrinterPageFormTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { fakeRegistry().reset(); }
    void formIsBuiltInOrder();
    void formSizesAndSpacings();
    void texts();
    void tabOrder();
    void slotsKeepTheirOrderAndSignatures();
    void isModal();
    void endlessModelIsShownByItsBeginningAndStoredWhole();
    void longestModelShownWholeIsShownAsEver();
};

void AddPrinterPageFormTest::formIsBuiltInOrder()
{
    AddPrinterPage page(nullptr);
    QCOMPARE(page.objectName(), QStringLiteral("AddPrinterPage"));
    QCOMPARE(childNames(&page),
             QStringList({"horizontalLayout_2", "listPrinter", "label_3", "cmbModel", "label", "ledtName",
                          "label_2", "ledtIP", "pbtnAdd", "pbtnDel", "pbtnOk"}));
    QCOMPARE(itemNames(page.layout()), QStringList({"listPrinter", "verticalLayout"}));
    QCOMPARE(itemNames(child<QLayout>(page, "verticalLayout")),
             QStringList({"formLayout", "horizontalLayout", "-"}));
    QCOMPARE(itemNames(child<QLayout>(page, "horizontalLayout")),
             QStringList({"-", "pbtnAdd", "pbtnDel", "pbtnOk", "-"}));
    const auto* form = child<QFormLayout>(page, "formLayout");
    QCOMPARE(form->rowCount(), 3);
    const QStringList labels{"label_3", "label", "label_2"};
    const QStringList fields{"cmbModel", "ledtName", "ledtIP"};
    for (int row = 0; row < 3; ++row) {
        QCOMPARE(form->itemAt(row, QFormLayout::LabelRole)->widget()->objectName(), labels.at(row));
        QCOMPARE(form->itemAt(row, QFormLayout::FieldRole)->widget()->objectName(), fields.at(row));
    }
}

void AddPrinterPageFormTest::formSizesAndSpacings()
{
    AddPrinterPage page(nullptr);
    QCOMPARE(page.size(), QSize(659, 246));
    QVERIFY(qobject_cast<QHBoxLayout*>(page.layout()) != nullptr);
    QCOMPARE(page.layout()->spacing(), 15);
    QCOMPARE(child<QVBoxLayout>(page, "verticalLayout")->spacing(), 30);
    const auto* form = child<QFormLayout>(page, "formLayout");
    QVERIFY(form->labelAlignment() & Qt::AlignRight);
    QVERIFY(form->labelAlignment() & Qt::AlignVCenter);
    QCOMPARE(form->horizontalSpacing(), 2);
    QCOMPARE(form->verticalSpacing(), 10);
    for (const char* name : {"cmbModel", "ledtName", "ledtIP", "pbtnAdd", "pbtnDel", "pbtnOk"}) {
        QCOMPARE(child<QWidget>(page, name)->minimumSize(), QSize(0, 30));
    }
    QLayout* buttons = child<QLayout>(page, "horizontalLayout");
    for (const int index : {0, 4}) {
        QSpacerItem* spacer = buttons->itemAt(index)->spacerItem();
        QCOMPARE(spacer->sizeHint(), QSize(40, 20));
        QCOMPARE(spacer->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
        QCOMPARE(spacer->sizePolicy().verticalPolicy(), QSizePolicy::Minimum);
    }
    QSpacerItem* below = child<QLayout>(page, "verticalLayout")->itemAt(2)->spacerItem();
    QCOMPARE(below->sizeHint(), QSize(20, 40));
    QCOMPARE(below->sizePolicy().horizontalPolicy(), QSizePolicy::Minimum);
    QCOMPARE(below->sizePolicy().verticalPolicy(), QSizePolicy::Expanding);
}

void AddPrinterPageFormTest::texts()
{
    AddPrinterPage page(nullptr);
    QCOMPARE(page.windowTitle(), QStringLiteral("添加打印机"));
    QCOMPARE(child<QLabel>(page, "label_3")->text(), QStringLiteral("型号："));
    QCOMPARE(child<QLabel>(page, "label")->text(), QStringLiteral("名称："));
    QCOMPARE(child<QLabel>(page, "label_2")->text(), QStringLiteral("IP："));
    QCOMPARE(child<QPushButton>(page, "pbtnAdd")->text(), QStringLiteral("添加"));
    QCOMPARE(child<QPushButton>(page, "pbtnDel")->text(), QStringLiteral("移除"));
    QCOMPARE(child<QPushButton>(page, "pbtnOk")->text(), QStringLiteral("确定"));
}

void AddPrinterPageFormTest::tabOrder()
{
    AddPrinterPage page(nullptr);
    const QStringList named{"listPrinter", "cmbModel", "ledtName", "ledtIP", "pbtnAdd", "pbtnDel", "pbtnOk"};
    QStringList chain;
    const QWidget* first = child<QWidget>(page, "listPrinter");
    const QWidget* widget = first;
    do {
        if ((widget->focusPolicy() & Qt::TabFocus) != 0) {
            chain << widget->objectName();
        }
        widget = widget->nextInFocusChain();
    } while (widget != first);
    QCOMPARE(chain.mid(0, named.size()), named); // the octets come after them
}

void AddPrinterPageFormTest::slotsKeepTheirOrderAndSignatures()
{
    const QMetaObject& meta = AddPrinterPage::staticMetaObject;
    QCOMPARE(ownMethods(meta), QStringList({"slot on_pbtnAdd_clicked()", "slot on_pbtnDel_clicked()",
                                            "slot on_pbtnOk_clicked()"}));
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).access(), QMetaMethod::Private);
    }
}

void AddPrinterPageFormTest::isModal()
{
    AddPrinterPage page(nullptr);
    QVERIFY(page.isModal());
    QCOMPARE(page.windowModality(), Qt::ApplicationModal);
}

// Measuring and drawing some megabytes would stop the window.
void AddPrinterPageFormTest::endlessModelIsShownByItsBeginningAndStoredWhole()
{
    const QString endless = QStringLiteral("型").repeated(2'000'000);
    fakeRegistry().models = {"M", endless.toStdString(), (endless + QLatin1Char('2')).toStdString()};
    AddPrinterPage page(nullptr);
    page.setAttribute(Qt::WA_DeleteOnClose, false);
    page.show();
    QCOMPARE(page.size(), QSize(659, 246));
    auto* box = child<QComboBox>(page, "cmbModel");
    QCOMPARE(box->count(), 3);
    QCOMPARE(box->itemText(0), QStringLiteral("M"));
    QCOMPARE(box->itemText(2), endless.left(4096));
    box->showPopup();
    box->hidePopup();
    child<QLineEdit>(page, "ledtName")->setText(QStringLiteral("A"));
    for (auto* octet : child<TLineEditIP>(page, "ledtIP")->findChildren<QLineEdit*>()) {
        octet->setText(QStringLiteral("1"));
    }
    box->setCurrentIndex(2);
    child<QPushButton>(page, "pbtnAdd")->click();
    child<QLineEdit>(page, "ledtName")->setText(QStringLiteral("B"));
    box->setCurrentIndex(0);
    child<QPushButton>(page, "pbtnAdd")->click();
    child<QPushButton>(page, "pbtnOk")->click();
    QCOMPARE(fakeRegistry().saved.size(), std::size_t(1));
    QCOMPARE(fakeRegistry().saved.back().size(), std::size_t(2));
    QVERIFY(fakeRegistry().saved.back()[0].model == fakeRegistry().models[2]);
    QCOMPARE(fakeRegistry().saved.back()[1].model, std::string("M"));
}

void AddPrinterPageFormTest::longestModelShownWholeIsShownAsEver()
{
    fakeRegistry().models = {std::string(4096, 'M')};
    AddPrinterPage page(nullptr);
    const auto* box = child<QComboBox>(page, "cmbModel");
    QCOMPARE(box->itemText(0).size(), 4096);
    QVERIFY(!box->itemData(0).isValid());
    QCOMPARE(box->sizeAdjustPolicy(), QComboBox::AdjustToContentsOnFirstShow);
}

QTEST_MAIN(AddPrinterPageFormTest)
#include "test_add_printer_page_form.moc"
