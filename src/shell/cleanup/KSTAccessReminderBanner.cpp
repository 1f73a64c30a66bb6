#include "KSTAccessReminderBanner.h"

#include "KSTStyle.h"

#include <QPushButton>

KSTAccessReminderBanner::KSTAccessReminderBanner(QWidget *parent)
    : KSTBanner(QStringLiteral("lock.shield"), QStringLiteral("amber"), parent)
{
    setObjectName(QStringLiteral("accessReminderBanner"));
    QPushButton *openSettings =
        addButton(QStringLiteral("Open System Settings"), KSTStyle::SecondaryButton,
                  QStringLiteral("openFullDiskAccessSettings"));
    connect(openSettings, &QPushButton::clicked, this,
            &KSTAccessReminderBanner::openSettingsRequested);
}
