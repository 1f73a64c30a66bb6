#include "KSTKeptAsideBanner.h"

#include "KSTStyle.h"

#include <QPushButton>

KSTKeptAsideBanner::KSTKeptAsideBanner(QWidget *parent)
    : KSTBanner(QStringLiteral("lock.shield"), QStringLiteral("amber"), parent)
{
    setObjectName(QStringLiteral("keptAsideBanner"));
    QPushButton *dismiss = addButton(QStringLiteral("Dismiss"), KSTStyle::SecondaryButton,
                                     QStringLiteral("dismissKeptAside"));
    QPushButton *restore = addButton(QStringLiteral("Restore"), KSTStyle::PrimaryButton,
                                     QStringLiteral("restoreKeptAside"));
    connect(restore, &QPushButton::clicked, this, &KSTKeptAsideBanner::restoreRequested);
    connect(dismiss, &QPushButton::clicked, this, &KSTKeptAsideBanner::dismissRequested);
    setVisible(false);
}

void KSTKeptAsideBanner::setPaths(const QStringList &paths)
{
    setTexts(QStringLiteral("Your never-touch list was set aside"),
             QStringLiteral("Kestrel started with automation on and emptied the list. Until you "
                            "restore or dismiss it, these still protect their files: %1")
                 .arg(paths.join(QStringLiteral(", "))));
    setVisible(!paths.isEmpty());
}
