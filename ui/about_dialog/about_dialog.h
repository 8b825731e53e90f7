#pragma once

#include <QDialog>

namespace Ui {
class AboutDialog;
}

// AboutDialog shows three centred lines: display name, version and copyright.
//
// Invariants
//  (1) Closing only hides it, however it is closed: its owner shows the same object again.
// Threading: GUI thread only.
class AboutDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit AboutDialog(QWidget* parent = nullptr);
    ~AboutDialog() override;

    void setTexts(const QString& name, const QString& version, const QString& company);

protected:
    void closeEvent(QCloseEvent* event) override;

private slots:
    void on_pushButtonCancel_clicked();

private:
    Ui::AboutDialog* ui; // owned
};
