#include "ui/setting_page/setting_page.h"

#include <QButtonGroup>
#include <QMutexLocker>
#include <QRegExpValidator>
#include <QVariant>

#include "ui_setting_page.h"

namespace {

constexpr int kCustomInterval = 3; // id of rbtnCustom in the interval group

} // namespace

SettingPage::SettingPage(QWidget* parent) : QDialog(parent), ui(new Ui::SettingPage)
{
    ui->setupUi(this);
    setWindowFlags(Qt::WindowCloseButtonHint);

    createButtonGroups();
    ui->lineEdit->setEnabled(false);
    // The successor idClicked(int) is announced beside it; this one is the dialog's contract.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    connect(m_intervalGroup, QOverload<int>::of(&QButtonGroup::buttonClicked), this,
            &SettingPage::TimeIntervalChanged);
    QT_WARNING_POP

    ui->lineEdit->setValidator(
        new QRegExpValidator(QRegExp(QStringLiteral("[1-9]|[1-2][0-9]|30{0,1}")), this));
    ui->lineEdit->setToolTip(QStringLiteral("输入范围1-30"));
    ui->lineEdit->setPlaceholderText(QStringLiteral("1-30"));
}

SettingPage::~SettingPage()
{
    delete ui;
}

void SettingPage::createButtonGroups()
{
    m_intervalGroup = new QButtonGroup(this);
    m_intervalGroup->addButton(ui->rbtnOneMinute, 0);
    m_intervalGroup->addButton(ui->rbtnFiveMinutes, 1);
    m_intervalGroup->addButton(ui->rbtnTenMinutes, 2);
    m_intervalGroup->addButton(ui->rbtnCustom, kCustomInterval);

    m_monitoringGroup = new QButtonGroup(this);
    m_monitoringGroup->addButton(ui->rbtnYes, 0);
    m_monitoringGroup->addButton(ui->rbtnNo, 1);

    m_autoStartGroup = new QButtonGroup(this);
    m_autoStartGroup->addButton(ui->rbtnAutoStartYes, 0);
    m_autoStartGroup->addButton(ui->rbtnAutoStartNo, 1);
}

void SettingPage::resetToDefaults()
{
    m_intervalMinutes = 1;
    m_monitoring = false;
    m_autoStart = false;

    ui->rbtnNo->setChecked(true);
    (m_autoStart ? ui->rbtnAutoStartYes : ui->rbtnAutoStartNo)->setChecked(true);
    showInterval();
}

void SettingPage::showInterval()
{
    const bool custom = m_intervalMinutes != 1 && m_intervalMinutes != 5 && m_intervalMinutes != 10;
    ui->rbtnOneMinute->setChecked(m_intervalMinutes == 1);
    ui->rbtnFiveMinutes->setChecked(m_intervalMinutes == 5);
    ui->rbtnTenMinutes->setChecked(m_intervalMinutes == 10);
    ui->rbtnCustom->setChecked(custom);
    ui->lineEdit->setEnabled(custom);
    if (custom) {
        ui->lineEdit->setText(QString::number(m_intervalMinutes));
    }
}

void SettingPage::TimeIntervalChanged(int id)
{
    if (id == kCustomInterval) {
        ui->lineEdit->setEnabled(true);
        return;
    }
    // kept on purpose: "1", whatever button was clicked.
    ui->lineEdit->setText(QString::number(1));
    ui->lineEdit->setEnabled(false);
}

int SettingPage::chosenIntervalMinutes() const
{
    const int id = m_intervalGroup->checkedId();
    if (id == kCustomInterval) {
        return ui->lineEdit->text().toInt();
    }
    return id == 0 ? 1 : id * 5;
}

void SettingPage::on_pbtnSet_clicked()
{
    const QMutexLocker lock(&m_mutex);
    const bool monitoring = m_monitoringGroup->checkedId() == 0;
    const bool autoStart = m_autoStartGroup->checkedId() == 0;
    const int intervalMinutes = chosenIntervalMinutes();
    if (intervalMinutes == m_intervalMinutes && monitoring == m_monitoring && autoStart == m_autoStart) {
        close();
        return;
    }
    // kept on purpose: the choices are packed, then dropped; nothing is stored or applied.
    const QVariant choices[] = {intervalMinutes, monitoring, autoStart};
    close();
    Q_UNUSED(choices)
}

void SettingPage::on_pbtnCancel_clicked()
{
    close();
}
