#include <QHBoxLayout>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QRegExpValidator>
#include <QTimer>

#include "tests/ui/ip_editor_support.h"
#include "tests/ui/panel_support.h"

namespace {

// Answers the warning box that setText brings up and keeps what it said.
class WarningWatch : public QObject
{
public:
    WarningWatch()
    {
        m_timer.setInterval(1);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr) {
                return;
            }
            ++count;
            title = box->windowTitle();
            text = box->text();
            buttons = box->standardButtons();
            icon = box->icon();
            parent = box->parentWidget();
            box->button(QMessageBox::Ok)->click();
        });
        m_timer.start();
    }

    int count = 0;
    QString title;
    QString text;
    QMessageBox::StandardButtons buttons;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QWidget* parent = nullptr;

private:
    QTimer m_timer;
};

// Where an image is black within a rectangle, row by row.
QList<QPoint> blackPixels(const QImage& image, const QRect& area)
{
    QList<QPoint> found;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (image.pixel(x, y) == qRgb(0, 0, 0)) {
                found << QPoint(x, y);
            }
        }
    }
    return found;
}

} // namespace

// What the address editor is made of, its texts and its painting.
class LineEditIpTest : public QObject
{
    Q_OBJECT

private slots:
    void layoutOfTheOctets();
    void octetEditors();
    void octetValidator_data();
    void octetValidator();
    void outerEditIsReadOnly();
    void signalAndSlot();
    void partIndexCountsFromTheLeft();

    void startsEmpty();
    void assembledText_data();
    void assembledText();
    void validAddresses_data();
    void validAddresses();
    void setTextSpreadsTheAddress_data();
    void setTextSpreadsTheAddress();
    void setTextSelectsTheFirstOctet();
    void invalidAddressIsWarnedOf_data();
    void invalidAddressIsWarnedOf();
    void clearEmptiesEveryOctet();
    void baseTextStaysEmpty();

    void dotsFallIntoTheGaps_data();
    void dotsFallIntoTheGaps();
};

void LineEditIpTest::layoutOfTheOctets()
{
    TLineEditIP ip(nullptr);
    auto* layout = qobject_cast<QHBoxLayout*>(ip.layout());
    QVERIFY(layout != nullptr);
    QCOMPARE(layout->spacing(), 4);
    QCOMPARE(layout->contentsMargins(), QMargins(4, 4, 2, 4));
    const QList<QLineEdit*> octets = ip.findChildren<QLineEdit*>();
    QCOMPARE(octets.size(), 4);
    QCOMPARE(layout->count(), 4);
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(layout->itemAt(i)->widget(), octets.at(i));
        QCOMPARE(layout->stretch(i), 0);
        QCOMPARE(layout->itemAt(i)->alignment(), Qt::Alignment());
    }
}

void LineEditIpTest::octetEditors()
{
    TLineEditIP ip(nullptr);
    QList<const QValidator*> validators;
    for (const QLineEdit* octet : ip.findChildren<QLineEdit*>()) {
        QCOMPARE(octet->parent(), &ip);
        QVERIFY(!octet->hasFrame());
        QCOMPARE(octet->maxLength(), 3);
        QCOMPARE(octet->textMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(octet->alignment(), Qt::Alignment(Qt::AlignCenter));
        QCOMPARE(octet->sizePolicy(),
                 QSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred, QSizePolicy::DefaultType));
        QCOMPARE(octet->styleSheet(), QStringLiteral("QLineEdit{border:none;}"));
        QVERIFY(!octet->testAttribute(Qt::WA_MacShowFocusRect));
        QCOMPARE(octet->contextMenuPolicy(), Qt::NoContextMenu);
        QCOMPARE(octet->validator()->parent(), &ip);
        QVERIFY(!validators.contains(octet->validator()));
        validators << octet->validator();
    }
    const auto* validator = qobject_cast<const QRegExpValidator*>(validators.value(0));
    QVERIFY(validator != nullptr);
    QCOMPARE(validator->regExp().pattern(), QStringLiteral("(2[0-5]{2}|2[0-4][0-9]|1?[0-9]{1,2})"));
    QCOMPARE(validator->regExp().caseSensitivity(), Qt::CaseSensitive);
    QCOMPARE(validator->regExp().patternSyntax(), QRegExp::RegExp);
}

void LineEditIpTest::octetValidator_data()
{
    QTest::addColumn<bool>("accepted");
    for (const char* text : {"0", "00", "07", "9", "99", "100", "199", "200", "249", "250", "255"}) {
        QTest::newRow(text) << true;
    }
    for (const char* text : {"256", "260", "300", "999", "001", "012", "1a", "-1", " 1", ""}) {
        QTest::newRow(*text != '\0' ? text : "empty") << false;
    }
}

void LineEditIpTest::octetValidator()
{
    QFETCH(bool, accepted);
    TLineEditIP ip(nullptr);
    QString text = QString::fromLatin1(QTest::currentDataTag());
    if (text == QLatin1String("empty")) {
        text.clear();
    }
    int position = 0;
    for (const QLineEdit* octet : ip.findChildren<QLineEdit*>()) {
        QCOMPARE(octet->validator()->validate(text, position) == QValidator::Acceptable, accepted);
    }
}

void LineEditIpTest::outerEditIsReadOnly()
{
    TLineEditIP ip(nullptr);
    QVERIFY(ip.isReadOnly());
    QCOMPARE(ip.contextMenuPolicy(), Qt::NoContextMenu);
}

void LineEditIpTest::signalAndSlot()
{
    QCOMPARE(QByteArray(TLineEditIP::staticMetaObject.className()), QByteArray("TLineEditIP"));
    QCOMPARE(ownMethods(TLineEditIP::staticMetaObject),
             QStringList({"signal signalTextChanged(QLineEdit*)", "slot slotTextChanged(QLineEdit*)"}));
    const QMetaObject& meta = TLineEditIP::staticMetaObject;
    QCOMPARE(meta.method(meta.methodOffset()).parameterNames(), QList<QByteArray>({"pEdit"}));
}

void LineEditIpTest::partIndexCountsFromTheLeft()
{
    TLineEditIP ip(nullptr);
    QLineEdit stranger;
    const QList<QLineEdit*> octets = ip.findChildren<QLineEdit*>();
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(ip.partIndex(octets.at(i)), i);
    }
    QCOMPARE(ip.partIndex(&stranger), -1);
    QCOMPARE(ip.partIndex(&ip), -1);
    QCOMPARE(ip.partIndex(nullptr), -1);
}

void LineEditIpTest::startsEmpty()
{
    TLineEditIP ip(nullptr);
    for (const QLineEdit* octet : ip.findChildren<QLineEdit*>()) {
        QCOMPARE(octet->text(), QString());
    }
    QCOMPARE(ip.text(), QString());
}

void LineEditIpTest::assembledText_data()
{
    QTest::addColumn<QString>("octets");
    QTest::addColumn<QString>("text");
    QTest::newRow("whole") << "1,2,3,4"
                           << "1.2.3.4";
    QTest::newRow("leading zero") << "01,2,3,4"
                                  << "01.2.3.4";
    QTest::newRow("zeros") << "0,0,00,0"
                           << "0.0.00.0";
    QTest::newRow("no first") << ",2,3,4"
                              << "";
    QTest::newRow("no second") << "1,,3,4"
                               << "";
    QTest::newRow("no third") << "1,2,,4"
                              << "";
    QTest::newRow("no fourth") << "1,2,3,"
                               << "";
}

void LineEditIpTest::assembledText()
{
    QFETCH(QString, octets);
    TLineEditIP ip(nullptr);
    const QStringList pieces = octets.split(',');
    for (int i = 0; i < 4; ++i) {
        ip.findChildren<QLineEdit*>().at(i)->setText(pieces.at(i));
    }
    QTEST(ip.text(), "text");
}

void LineEditIpTest::validAddresses_data()
{
    QTest::addColumn<bool>("valid");
    for (const char* address :
         {"1.2.3.4", "0.0.0.0", "255.255.255.255", "10.0.0.001", "192.168.01.09", "199.249.25.5"}) {
        QTest::newRow(address) << true;
    }
    for (const char* address : {"10.0.0", "10.0.0.", "256.1.1.1", "1.2.3.4.5", "1.2.3.4 ", " 1.2.3.4",
                                "a.b.c.d", "1..3.4", "1.2.3.0004", "1,2,3,4", "-1.2.3.4", "x"}) {
        QTest::newRow(address) << false;
    }
}

void LineEditIpTest::validAddresses()
{
    const TLineEditIP ip(nullptr);
    QTEST(ip.isTextValid(QString::fromLatin1(QTest::currentDataTag())), "valid");
    QVERIFY(!ip.isTextValid(QString()));
}

void LineEditIpTest::setTextSpreadsTheAddress_data()
{
    QTest::addColumn<QString>("octets");
    QTest::newRow("192.168.1.20") << "192,168,1,20";
    QTest::newRow("10.0.0.001") << "10,0,0,001";
    QTest::newRow("0.0.0.0") << "0,0,0,0";
}

void LineEditIpTest::setTextSpreadsTheAddress()
{
    IpBench bench;
    const QString address = QString::fromLatin1(QTest::currentDataTag());
    WarningWatch warning;
    bench.ip->setText(address);
    QCOMPARE(warning.count, 0);
    QTEST(bench.texts(), "octets");
    QCOMPARE(bench.ip->text(), address);
}

void LineEditIpTest::setTextSelectsTheFirstOctet()
{
    IpBench bench;
    bench.ip->setText("192.168.1.20");
    QCOMPARE(bench.octets.at(0)->selectedText(), QStringLiteral("192"));
    for (int i = 1; i < 4; ++i) {
        QVERIFY(!bench.octets.at(i)->hasSelectedText());
    }
}

void LineEditIpTest::invalidAddressIsWarnedOf_data()
{
    QTest::addColumn<QString>("address");
    QTest::newRow("three octets") << "10.0.0";
    QTest::newRow("too great") << "10.0.0.256";
    QTest::newRow("empty") << "";
}

void LineEditIpTest::invalidAddressIsWarnedOf()
{
    QFETCH(QString, address);
    IpBench bench;
    bench.ip->setText("1.2.3.4");
    WarningWatch warning;
    bench.ip->setText(address);
    QCOMPARE(warning.count, 1);
    QCOMPARE(warning.title, QStringLiteral("Attention"));
    QCOMPARE(warning.text, QStringLiteral("Your IP Address is Invalid!"));
    QCOMPARE(warning.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(warning.icon, QMessageBox::Warning);
    QCOMPARE(warning.parent, bench.ip);
    QCOMPARE(bench.texts(), QStringLiteral("1,2,3,4"));
}

void LineEditIpTest::clearEmptiesEveryOctet()
{
    IpBench bench;
    bench.ip->setText("1.2.3.4");
    bench.ip->clear();
    QCOMPARE(bench.texts(), QStringLiteral(",,,"));
    QCOMPARE(bench.ip->text(), QString());
}

void LineEditIpTest::baseTextStaysEmpty()
{
    IpBench bench;
    bench.ip->setText("1.2.3.4");
    QCOMPARE(bench.ip->QLineEdit::text(), QString());
}

void LineEditIpTest::dotsFallIntoTheGaps_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("even height") << QSize(240, 40);
    QTest::newRow("odd height") << QSize(201, 33);
    QTest::newRow("wide") << QSize(500, 60);
}

void LineEditIpTest::dotsFallIntoTheGaps()
{
    QFETCH(QSize, size);
    TLineEditIP ip(nullptr);
    ip.resize(size);
    ip.show();
    QVERIFY(QTest::qWaitForWindowExposed(&ip));
    QCOMPARE(ip.size(), size);
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    ip.render(&image);

    const QList<QLineEdit*> octets = ip.findChildren<QLineEdit*>();
    int x = 0;
    for (int k = 0; k < 3; ++k) {
        const int gap = octets.at(k)->geometry().right() + 1;
        x += (k == 0 ? 4 : 5) + octets.at(k)->width();
        QCOMPARE(x, gap + k); // one pixel further into its gap each time
        QCOMPARE(blackPixels(image, QRect(gap, 4, 4, size.height() - 8)).value(0),
                 QPoint(x, size.height() / 2 - 1));
    }
}

QTEST_MAIN(LineEditIpTest)
#include "test_line_edit_ip.moc"
