#pragma once

#include <QDialog>
#include <QMutex>

class QButtonGroup;

namespace Ui {
class SettingPage;
}

// SettingPage lets the user choose a polling interval, monitoring and start at boot.
//
// Invariants
//  (1) kept on purpose: the choices are applied nowhere; they are neither stored nor handed on.
//  (2) After resetToDefaults() the stored values are 1 minute, no monitoring, no start at boot, and never
//  change.
// Threading: GUI thread only.
class SettingPage final : public QDialog
{
    Q_OBJECT

public:
    explicit SettingPage(QWidget* parent = nullptr);
    ~SettingPage() override;

    // Called before each showing: the dialog always opens on its defaults.
    void resetToDefaults();

public slots:
    // id is the clicked button's in the interval group.
    void TimeIntervalChanged(int id);

private slots:
    void on_pbtnSet_clicked();
    void on_pbtnCancel_clicked();

private:
    void createButtonGroups();
    void showInterval();
    [[nodiscard]] int chosenIntervalMinutes() const;

    Ui::SettingPage* ui; // owned
    QButtonGroup* m_intervalGroup = nullptr;
    QButtonGroup* m_monitoringGroup = nullptr;
    QButtonGroup* m_autoStartGroup = nullptr;
    QMutex m_mutex; // held while the choices are read
    int m_intervalMinutes = 1;
    bool m_monitoring = false;
    bool m_autoStart = false;
};
