#pragma once

#include "KSTCardFrame.h"

class QLabel;
class QPushButton;

/// A tinted strip that tells the user Full Disk Access is still missing: the reminder's
/// title and message (KSTPermissionChecker's texts) and a button that asks for the settings.
/// It only shows what it is given; the screen decides when it is due.
class KSTAccessReminderBanner : public KSTCardFrame
{
    Q_OBJECT

public:
    explicit KSTAccessReminderBanner(QWidget *parent = nullptr);

    void setTexts(const QString &title, const QString &message);
    QString titleText() const;
    QString messageText() const;
    QPushButton *openSettingsButton() const { return m_openSettings; }

Q_SIGNALS:
    /// The user asked to open the Full Disk Access settings.
    void openSettingsRequested();

private:
    QLabel *m_title = nullptr;
    QLabel *m_message = nullptr;
    QPushButton *m_openSettings = nullptr;
};
