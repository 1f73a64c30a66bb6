#include "KSTFullDiskAccessScreen.h"

#include "KSTCardFrame.h"
#include "KSTPermissionChecker.h"
#include "KSTSectionCatalog.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

KSTFullDiskAccessScreen::KSTFullDiskAccessScreen(int targetSection, QWidget *parent)
    : KSTToolScreen(parent), m_targetSection(targetSection)
{
    setObjectName(QStringLiteral("fullDiskAccessScreen"));
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(28, 24, 28, 28);
    outer->addStretch(2);

    auto *card = new KSTCardFrame(this);
    card->setFixedWidth(540);
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(36, 32, 36, 30);
    layout->setSpacing(0);

    auto *symbol =
        new KSTSymbolView(QStringLiteral("lock.shield"), QStringLiteral("amber"), 30, card);
    symbol->setTile(60);
    layout->addWidget(symbol, 0, Qt::AlignHCenter);
    layout->addSpacing(18);

    m_titleLabel = KSTStyle::label({}, KSTStyle::Title, card);
    m_titleLabel->setObjectName(QStringLiteral("accessTitle"));
    m_titleLabel->setAlignment(Qt::AlignHCenter);
    layout->addWidget(m_titleLabel);
    layout->addSpacing(10);

    m_messageLabel = KSTStyle::label({}, KSTStyle::Body, card);
    m_messageLabel->setObjectName(QStringLiteral("accessMessage"));
    m_messageLabel->setWordWrap(true);
    m_messageLabel->setAlignment(Qt::AlignHCenter);
    layout->addWidget(m_messageLabel);
    layout->addSpacing(8);

    const QString tool = KSTSectionCatalog::sidebarTitle(targetSection);
    if (!tool.isEmpty()) {
        QLabel *reason =
            KSTStyle::label(QStringLiteral("%1 reads folders that macOS protects.").arg(tool),
                            KSTStyle::Secondary, card);
        reason->setAlignment(Qt::AlignHCenter);
        reason->setWordWrap(true);
        layout->addWidget(reason);
    }
    layout->addSpacing(24);

    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(10);
    buttons->addStretch(1);
    m_remindLaterButton = new QPushButton(QStringLiteral("Remind Me Later"), card);
    m_remindLaterButton->setObjectName(QStringLiteral("remindLater"));
    KSTStyle::setButtonRole(m_remindLaterButton, KSTStyle::SecondaryButton);
    m_openSettingsButton = new QPushButton(card);
    m_openSettingsButton->setObjectName(QStringLiteral("openAccessSettings"));
    KSTStyle::setButtonRole(m_openSettingsButton, KSTStyle::PrimaryButton);
    m_openSettingsButton->setDefault(true);
    buttons->addWidget(m_remindLaterButton);
    buttons->addWidget(m_openSettingsButton);
    buttons->addStretch(1);
    layout->addLayout(buttons);

    outer->addWidget(card, 0, Qt::AlignHCenter);
    outer->addStretch(3);

    connect(m_openSettingsButton, &QPushButton::clicked, this,
            [this] { Q_EMIT didChooseOpenSettings(this); });
    connect(m_remindLaterButton, &QPushButton::clicked, this,
            [this] { Q_EMIT didChooseRemindLater(this); });
    refreshTexts();
}

void KSTFullDiskAccessScreen::refreshTexts()
{
    if (KSTPermissionChecker::requiredAccessGrant() == KSTAccessGrant::HomeFolder) {
        m_titleLabel->setText(QStringLiteral("Allow Access to Your Home Folder"));
        m_messageLabel->setText(QStringLiteral(
            "Select your user (home) folder so Kestrel can scan your files and apps."));
        m_openSettingsButton->setText(QStringLiteral("Grant Access…"));
        return;
    }
    m_titleLabel->setText(KSTPermissionChecker::fullDiskAccessReminderTitle());
    m_messageLabel->setText(KSTPermissionChecker::fullDiskAccessReminderMessage());
    m_openSettingsButton->setText(QStringLiteral("Open System Settings"));
}

void KSTFullDiskAccessScreen::showEvent(QShowEvent *event)
{
    refreshTexts();
    KSTToolScreen::showEvent(event);
}
