#include "KSTKeptAsideBanner.h"

#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

KSTKeptAsideBanner::KSTKeptAsideBanner(QWidget *parent) : KSTCardFrame(parent)
{
    setObjectName(QStringLiteral("keptAsideBanner"));
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
    texts->addWidget(KSTStyle::label(QStringLiteral("Your never-touch list was set aside"),
                                     KSTStyle::Headline, this));
    m_message = KSTStyle::label({}, KSTStyle::Secondary, this);
    m_message->setWordWrap(true);
    texts->addWidget(m_message);
    layout->addLayout(texts, 1);

    m_dismiss = new QPushButton(QStringLiteral("Dismiss"), this);
    m_dismiss->setObjectName(QStringLiteral("dismissKeptAside"));
    KSTStyle::setButtonRole(m_dismiss, KSTStyle::SecondaryButton);
    layout->addWidget(m_dismiss, 0, Qt::AlignVCenter);
    m_restore = new QPushButton(QStringLiteral("Restore"), this);
    m_restore->setObjectName(QStringLiteral("restoreKeptAside"));
    KSTStyle::setButtonRole(m_restore, KSTStyle::PrimaryButton);
    layout->addWidget(m_restore, 0, Qt::AlignVCenter);
    connect(m_restore, &QPushButton::clicked, this, &KSTKeptAsideBanner::restoreRequested);
    connect(m_dismiss, &QPushButton::clicked, this, &KSTKeptAsideBanner::dismissRequested);
    setVisible(false);
}

void KSTKeptAsideBanner::setPaths(const QStringList &paths)
{
    m_message->setText(
        QStringLiteral("Kestrel started with automation on and emptied the list. Until you "
                       "restore or dismiss it, these still protect their files: %1")
            .arg(paths.join(QStringLiteral(", "))));
    setVisible(!paths.isEmpty());
}

QString KSTKeptAsideBanner::messageText() const
{
    return m_message->text();
}
