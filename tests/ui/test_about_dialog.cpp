#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

#include "tests/ui/panel_support.h"
#include "ui/about_dialog/about_dialog.h"

class TestAboutDialog : public QObject
{
    Q_OBJECT

private slots:
    void formHasItsSizeTitleAndTexts();
    void widgetsComeInCreationOrder();
    void rowsSitInTheGridAsGiven();
    void everyLineIsCentredBetweenTwoSpacers();
    void slotIsTheOnlyMethod();
    void textsGoToNameVersionCompany();
    void closeButtonHidesOnly();
    void closingTheWindowHidesAndShowsTheSameObjectAgain();
    void escapeHides();
};

void TestAboutDialog::formHasItsSizeTitleAndTexts()
{
    const AboutDialog dialog(nullptr);
    QCOMPARE(dialog.objectName(), QStringLiteral("AboutDialog"));
    QCOMPARE(dialog.size(), QSize(379, 154));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("关于"));
    QCOMPARE(child<QLabel>(dialog, "labelName")->text(), QStringLiteral("TextLabel"));
    QCOMPARE(child<QLabel>(dialog, "labelVersion")->text(), QStringLiteral("TextLabel"));
    QCOMPARE(child<QLabel>(dialog, "labelCompany")->text(), QStringLiteral("TextLabel"));
    QCOMPARE(child<QPushButton>(dialog, "pushButtonCancel")->text(), QStringLiteral("关闭"));
}

void TestAboutDialog::widgetsComeInCreationOrder()
{
    const AboutDialog dialog(nullptr);
    QCOMPARE(childNames(&dialog),
             QStringList({"gridLayout", "labelName", "labelVersion", "labelCompany", "pushButtonCancel"}));
    QCOMPARE(itemNames(dialog.layout()), QStringList({"horizontalLayout_4", "horizontalLayout_2",
                                                      "horizontalLayout_3", "horizontalLayout"}));
}

void TestAboutDialog::rowsSitInTheGridAsGiven()
{
    const AboutDialog dialog(nullptr);
    auto* grid = qobject_cast<QGridLayout*>(dialog.layout());
    QVERIFY(grid != nullptr);
    const QList<QList<int>> places = {{0, 1, 1, 1}, {1, 1, 1, 1}, {2, 1, 1, 1}, {3, 0, 1, 2}};
    for (int i = 0; i < places.size(); ++i) {
        int row = 0;
        int column = 0;
        int rowSpan = 0;
        int columnSpan = 0;
        grid->getItemPosition(i, &row, &column, &rowSpan, &columnSpan);
        QCOMPARE(QList<int>({row, column, rowSpan, columnSpan}), places[i]);
    }
}

void TestAboutDialog::everyLineIsCentredBetweenTwoSpacers()
{
    const AboutDialog dialog(nullptr);
    const QStringList widgets = {"labelName", "labelVersion", "labelCompany", "pushButtonCancel"};
    for (int i = 0; i < widgets.size(); ++i) {
        QLayout* line = dialog.layout()->itemAt(i)->layout();
        QVERIFY(line != nullptr);
        QCOMPARE(itemNames(line), QStringList({"-", widgets[i], "-"}));
        for (const int end : {0, 2}) {
            const QSpacerItem* spacer = line->itemAt(end)->spacerItem();
            QCOMPARE(spacer->sizeHint(), QSize(40, 20));
            QCOMPARE(spacer->sizePolicy(), QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Minimum));
        }
    }
}

void TestAboutDialog::slotIsTheOnlyMethod()
{
    QCOMPARE(ownMethods(AboutDialog::staticMetaObject), QStringList({"slot on_pushButtonCancel_clicked()"}));
}

void TestAboutDialog::textsGoToNameVersionCompany()
{
    AboutDialog dialog(nullptr);
    dialog.setTexts(QStringLiteral("名"), QStringLiteral("版"), QStringLiteral("司"));
    QCOMPARE(child<QLabel>(dialog, "labelName")->text(), QStringLiteral("名"));
    QCOMPARE(child<QLabel>(dialog, "labelVersion")->text(), QStringLiteral("版"));
    QCOMPARE(child<QLabel>(dialog, "labelCompany")->text(), QStringLiteral("司"));
}

void TestAboutDialog::closeButtonHidesOnly()
{
    AboutDialog dialog(nullptr);
    const QSignalSpy destroyed(&dialog, &QObject::destroyed);
    dialog.show();
    QTest::mouseClick(child<QPushButton>(dialog, "pushButtonCancel"), Qt::LeftButton);
    QVERIFY(dialog.isHidden());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(destroyed.count(), 0);
}

void TestAboutDialog::closingTheWindowHidesAndShowsTheSameObjectAgain()
{
    AboutDialog dialog(nullptr);
    // Even an owner who asks for deletion on close keeps the object: the close is refused, the window hidden.
    dialog.setAttribute(Qt::WA_DeleteOnClose);
    const QSignalSpy destroyed(&dialog, &QObject::destroyed);
    dialog.setTexts(QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"));
    dialog.show();
    QVERIFY(!dialog.close());
    QVERIFY(dialog.isHidden());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(destroyed.count(), 0);

    dialog.setTexts(QStringLiteral("d"), QStringLiteral("e"), QStringLiteral("f"));
    dialog.show();
    QVERIFY(dialog.isVisible());
    QCOMPARE(child<QLabel>(dialog, "labelName")->text(), QStringLiteral("d"));
    QCOMPARE(child<QLabel>(dialog, "labelVersion")->text(), QStringLiteral("e"));
    QCOMPARE(child<QLabel>(dialog, "labelCompany")->text(), QStringLiteral("f"));
}

void TestAboutDialog::escapeHides()
{
    AboutDialog dialog(nullptr);
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QVERIFY(dialog.isHidden());
}

QTEST_MAIN(TestAboutDialog)
#include "test_about_dialog.moc"
