#include "ui/toner_widget/toner_widget.h"

#include <QLatin1String>
#include <QPalette>
#include <QProgressBar>

#include "ui_toner_widget.h"

namespace {

struct BarStyle
{
    const char* color;
    const char* sheet;
};

// kept on purpose: the QProgressBar rule written twice, the blanks, the missing ";" before "color".
constexpr BarStyle kBarStyles[] = {
    {"magenta", "QProgressBar {   border: 1px solid grey;   border-radius: 5px;   background-color: "
                "#C0C0C0;}QProgressBar::chunk {   background-color: #E4007F;   width: 1px;}QProgressBar {   "
                "border: 2px solid grey;   border-radius: 5px;   text-align: center;}"},
    {"yellow", "QProgressBar {   border: 1px solid grey;   border-radius: 5px;   background-color: "
               "#C0C0C0;}QProgressBar::chunk {   background-color: #FFFF00;   width: 1px;}QProgressBar {   "
               "border: 2px solid grey;   border-radius: 5px;   text-align: center;}"},
    {"black", "QProgressBar {   border: 1px solid grey;   border-radius: 5px;   background-color: "
              "#C0C0C0;}QProgressBar::chunk {   background-color: #000000;   width: 1px;}QProgressBar {   "
              "border: 2px solid grey;   border-radius: 5px;   text-align: center;color:#ffffff}"},
    {"cyan", "QProgressBar {   border: 1px solid grey;   border-radius: 5px;   background-color: "
             "#C0C0C0;}QProgressBar::chunk {   background-color: #00FFFF;   width: 1px;}QProgressBar {   "
             "border: 2px solid grey;   border-radius: 5px;   text-align: center;}"},
    {"red", "QProgressBar {   border: 1px solid grey;   border-radius: 5px;   background-color: "
            "#C0C0C0;}QProgressBar::chunk {   background-color: #FF0000;   width: 1px;}QProgressBar {   "
            "border: 2px solid grey;   border-radius: 5px;   text-align: center;}"},
};

QString caption(QChar letter)
{
    return QStringLiteral("碳粉余量 (%1)").arg(letter);
}

// What is said of a bar to who does not see it.
QString levelText(int level, bool isKnown)
{
    if (level > 100) {
        return QStringLiteral("有余量，数值未知");
    }
    return isKnown && level >= 0 ? QStringLiteral("余量 %1%").arg(level) : QStringLiteral("余量未知");
}

void describe(QProgressBar* bar, const QString& text)
{
    if (bar->accessibleDescription() != text) { // a screen reader is told of every call
        bar->setAccessibleDescription(text);
    }
}

void setLevel(QProgressBar* bar, QChar letter, int level, bool showPercent)
{
    // QProgressBar ignores a value outside its range and would keep the level before it.
    bar->setValue(qBound(bar->minimum(), level, bar->maximum()));
    QString format = caption(letter) + QStringLiteral(" : ");
    if (level < 101 && showPercent) {
        format += QString::number(level) + QLatin1Char('%');
    }
    bar->setFormat(format);
    describe(bar, levelText(level, showPercent));
}

} // namespace

TonerWidget::TonerWidget(QWidget* parent) : QWidget(parent), ui(std::make_unique<Ui::TonerWidget>())
{
    // kept on purpose: the form's `label` goes on showing its placeholder text.
    ui->setupUi(this);
    initBar(ui->pbTonerBlack, QStringLiteral("black"), QLatin1Char('K'), QStringLiteral("黑色碳粉"));
    initBar(ui->pbTonerCyan, QStringLiteral("cyan"), QLatin1Char('C'), QStringLiteral("青色碳粉"));
    initBar(ui->pbTonerMagenta, QStringLiteral("magenta"), QLatin1Char('M'), QStringLiteral("品红色碳粉"));
    initBar(ui->pbTonerYellow, QStringLiteral("yellow"), QLatin1Char('Y'), QStringLiteral("黄色碳粉"));
    initBar(ui->pbTonerRed, QStringLiteral("red"), QLatin1Char('R'), QStringLiteral("红色碳粉"));
}

TonerWidget::~TonerWidget() = default;

void TonerWidget::initBar(QProgressBar* bar, const QString& color, QChar letter, const QString& spokenName)
{
    bar->setAccessibleName(spokenName);
    describe(bar, levelText(0, false));
    bar->setStyleSheet(styleSheetForColor(color));
    // The style sheets say what is behind the text, not its colour: a dark theme's would be white on yellow.
    QPalette readable;
    readable.setColor(QPalette::Text, Qt::black);
    bar->setPalette(readable);
    bar->setMaximum(100);
    bar->setValue(100);
    bar->setFormat(caption(letter));
    // kept on purpose: right and horizontally centred at once.
    bar->setAlignment(Qt::AlignRight | Qt::AlignHCenter | Qt::AlignVCenter);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the class's interface
QString TonerWidget::styleSheetForColor(QString color)
{
    for (const BarStyle& style : kBarStyles) {
        if (color == QLatin1String(style.color)) {
            return QString::fromLatin1(style.sheet);
        }
    }
    return QString();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the class's interface
void TonerWidget::setColorMode(QString mode)
{
    const bool color = mode == QLatin1String("color");
    const bool blackWhite = mode == QLatin1String("blackWhite");
    const bool redBlack = mode == QLatin1String("redBlack");
    ui->pbTonerBlack->setVisible(color || blackWhite || redBlack);
    ui->pbTonerCyan->setVisible(color);
    ui->pbTonerMagenta->setVisible(color);
    ui->pbTonerYellow->setVisible(color);
    ui->pbTonerRed->setVisible(redBlack);
}

void TonerWidget::setBlackToner(int level, bool showPercent)
{
    setLevel(ui->pbTonerBlack, QLatin1Char('K'), level, showPercent);
}

void TonerWidget::setCyanToner(int level, bool showPercent)
{
    setLevel(ui->pbTonerCyan, QLatin1Char('C'), level, showPercent);
}

void TonerWidget::setMagentaToner(int level, bool showPercent)
{
    setLevel(ui->pbTonerMagenta, QLatin1Char('M'), level, showPercent);
}

void TonerWidget::setYellowToner(int level, bool showPercent)
{
    setLevel(ui->pbTonerYellow, QLatin1Char('Y'), level, showPercent);
}

void TonerWidget::setRedToner(int level, bool showPercent)
{
    setLevel(ui->pbTonerRed, QLatin1Char('R'), level, showPercent);
}

void TonerWidget::setPageCount(int count)
{
    // kept on purpose: four blanks behind the colon.
    ui->labelPageCount->setText(QStringLiteral("打印总页数:    %1页").arg(count));
}

void TonerWidget::clearPageCount()
{
    ui->labelPageCount->setText(QString());
}
