#pragma once

#include "KSTToolScreen.h"

class QLabel;
class QPushButton;

/// The permission screen the window puts in front of a tool that needs folder access: the
/// reminder's title and message (KSTPermissionChecker's texts, which change once the user has
/// been sent to System Settings) and two choices, to open the Full Disk Access settings or to
/// be reminded later. A sandboxed build asks for the home folder instead.
///
/// The screen only reports the choice; the window (its delegate) acts on it.
class KSTFullDiskAccessScreen : public KSTToolScreen
{
    Q_OBJECT

public:
    /// A screen standing in for @p targetSection.
    explicit KSTFullDiskAccessScreen(int targetSection, QWidget *parent = nullptr);

    int targetSection() const { return m_targetSection; }

    /// Reads the reminder texts again (they depend on the current access status).
    void refreshTexts();

Q_SIGNALS:
    void didChooseOpenSettings(KSTFullDiskAccessScreen *screen);
    void didChooseRemindLater(KSTFullDiskAccessScreen *screen);

protected:
    void showEvent(QShowEvent *event) override;

private:
    int m_targetSection;
    QLabel *m_titleLabel = nullptr;
    QLabel *m_messageLabel = nullptr;
    QPushButton *m_openSettingsButton = nullptr;
    QPushButton *m_remindLaterButton = nullptr;
};
