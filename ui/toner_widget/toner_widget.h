#pragma once

#include <QString>
#include <QWidget>

#include <memory>

class QProgressBar;

namespace Ui {
class TonerWidget;
}

// TonerWidget shows what is left of up to five toners as coloured bars, and the printer's page count.
//
// Invariants
//  (1) Which bars are visible follows from the colour mode alone, never from a level.
//  (2) A bar's accessible description says what its length and number say.
//  (3) Until the first colour mode all five bars are visible and full.
// Threading: GUI thread only.
// Ownership: owns its form; the bars belong to Qt's parentage.
class TonerWidget : public QWidget
{
    Q_OBJECT

public:
    explicit TonerWidget(QWidget* parent = nullptr);
    ~TonerWidget() override;

    // The style sheet of the bar of that colour ("black", "cyan", "magenta", "yellow", "red"), else empty.
    QString styleSheetForColor(QString color);
    // "color", "blackWhite" or "redBlack", compared exactly; any other text hides every bar.
    void setColorMode(QString mode);

    // level in per cent, taken into 0..100 for the bar. The number is written behind the caption only when
    // showPercent is set and the level is below 101: 101 and more stand for "some left, nobody knows how
    // much".
    void setBlackToner(int level, bool showPercent);
    void setCyanToner(int level, bool showPercent);
    void setMagentaToner(int level, bool showPercent);
    void setYellowToner(int level, bool showPercent);
    void setRedToner(int level, bool showPercent);

    void setPageCount(int count);
    void clearPageCount();

private:
    void initBar(QProgressBar* bar, const QString& color, QChar letter, const QString& spokenName);

    std::unique_ptr<Ui::TonerWidget> ui;
};
