#include "KSTAccessReminderBanner.h"

#include "KSTStyle.h"

#include <QPushButton>

KSTAccessReminderBanner::KSTAccessReminderBanner(QWidget *parent)
    : KSTBanner(QStringLiteral("lock.shield"), QStringLiteral("amber"), parent)
{
    setObjectName(QStringLiteral("accessReminderBanner"));
    m_openSettings = addButton(QStringLiteral("Open System Settings"), KSTStyle::SecondaryButton,
                               QStringLiteral("openFullDiskAccessSettings"));
    connect(m_openSettings, &QPushButton::clicked, this,
            &KSTAccessReminderBanner::openSettingsRequested);
}
