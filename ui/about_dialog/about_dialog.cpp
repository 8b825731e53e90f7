#include "ui/about_dialog/about_dialog.h"

#include <QCloseEvent>

#include "ui_about_dialog.h"

AboutDialog::AboutDialog(QWidget* parent) : QDialog(parent), ui(new Ui::AboutDialog)
{
    ui->setupUi(this);
}

AboutDialog::~AboutDialog()
{
    delete ui;
}

void AboutDialog::setTexts(const QString& name, const QString& version, const QString& company)
{
    ui->labelName->setText(name);
    ui->labelVersion->setText(version);
    ui->labelCompany->setText(company);
}

void AboutDialog::closeEvent(QCloseEvent* event)
{
    hide();
    event->ignore();
}

void AboutDialog::on_pushButtonCancel_clicked()
{
    close();
}
