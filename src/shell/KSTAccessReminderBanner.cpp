#include "KSTAccessReminderBanner.h"

#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

KSTAccessReminderBanner::KSTAccessReminderBanner(QWidget *parent) : KSTCardFrame(parent)
{
    setObjectName(QStringLiteral("accessReminderBanner"));
    setTintColorName(QStringLiteral("amber"));
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(18, 12, 18, 12);
    layout->setSpacing(14);
    auto *symbol =
        new KSTSymbolView(QStringLiteral("lock.shield"), QStringLiteral("amber"), 18, this);
    symbol->setTile(36);
    layout->addWidget(symbol, 0, Qt::AlignVCenter);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(2);
    m_title = KSTStyle::label({}, KSTStyle::Headline, this);
    texts->addWidget(m_title);
    m_message = KSTStyle::label({}, KSTStyle::Secondary, this);
    m_message->setWordWrap(true);
    texts->addWidget(m_message);
    layout->addLayout(texts, 1);

    m_openSettings = new QPushButton(QStringLiteral("Open System Settings"), this);
    m_openSettings->setObjectName(QStringLiteral("openFullDiskAccessSettings"));
    KSTStyle::setButtonRole(m_openSettings, KSTStyle::SecondaryButton);
    layout->addWidget(m_openSettings, 0, Qt::AlignVCenter);
    connect(m_openSettings, &QPushButton::clicked, this,
            &KSTAccessReminderBanner::openSettingsRequested);
}

void KSTAccessReminderBanner::setTexts(const QString &title, const QString &message)
{
    m_title->setText(title);
    m_message->setText(message);
}

QString KSTAccessReminderBanner::titleText() const
{
    return m_title->text();
}

QString KSTAccessReminderBanner::messageText() const
{
    return m_message->text();
}
