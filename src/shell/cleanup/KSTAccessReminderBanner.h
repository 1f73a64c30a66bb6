#pragma once

#include "KSTBanner.h"

/// The strip that tells the user Full Disk Access is still missing: the reminder's title and
/// message (KSTPermissionChecker's texts) and a button that asks for the settings.
class KSTAccessReminderBanner : public KSTBanner
{
    Q_OBJECT

public:
    explicit KSTAccessReminderBanner(QWidget *parent = nullptr);

Q_SIGNALS:
    /// The user asked to open the Full Disk Access settings.
    void openSettingsRequested();
};
