#include "KSTUnavailableScreen.h"

#include "KSTSectionCatalog.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QLabel>
#include <QVBoxLayout>

KSTUnavailableScreen::KSTUnavailableScreen(int section, QWidget *parent)
    : KSTToolScreen(parent), m_section(section)
{
    setObjectName(QStringLiteral("unavailableScreen"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(40, 40, 40, 40);
    layout->setSpacing(0);
    layout->addStretch(2);

    auto *symbol =
        new KSTSymbolView(KSTSectionCatalog::symbolName(section), QStringLiteral("zinc"), 30, this);
    symbol->setTile(64);
    layout->addWidget(symbol, 0, Qt::AlignHCenter);
    layout->addSpacing(18);

    QLabel *title =
        KSTStyle::label(KSTSectionCatalog::contentTitle(section), KSTStyle::Title, this);
    title->setAlignment(Qt::AlignHCenter);
    layout->addWidget(title);
    layout->addSpacing(8);

    QLabel *message = KSTStyle::label(messageForSection(section), KSTStyle::Secondary, this);
    message->setObjectName(QStringLiteral("unavailableMessage"));
    message->setAlignment(Qt::AlignHCenter);
    message->setWordWrap(true);
    layout->addWidget(message);
    layout->addStretch(3);
}

QString KSTUnavailableScreen::messageForSection(int section)
{
    return QStringLiteral("%1 is not available in this version of Kestrel yet.")
        .arg(KSTSectionCatalog::sidebarTitle(section));
}
