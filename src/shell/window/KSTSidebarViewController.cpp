#include "KSTSidebarViewController.h"

#include "KSTAutoCleanManager.h"
#include "KSTCardFrame.h"
#include "KSTNavRowView.h"
#include "KSTNotificationCenter.h"
#include "KSTPalette.h"
#include "KSTSectionCatalog.h"
#include "KSTStyle.h"
#include "KSTSymbolImage.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

#include <algorithm>

KSTSidebarViewController::KSTSidebarViewController(KSTAutoCleanManager &autoCleanManager,
                                                   QWidget *parent)
    : QWidget(parent), m_autoCleanManager(autoCleanManager)
{
    setFixedWidth(Width);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 18, 12, 14);
    layout->setSpacing(0);

    auto *headerRow = new QHBoxLayout;
    headerRow->setContentsMargins(10, 0, 0, 0);
    headerRow->setSpacing(8);
    auto *icon = new QLabel(this);
    icon->setPixmap(KSTSymbolImage::applicationIcon().pixmap(QSize(22, 22), devicePixelRatioF()));
    headerRow->addWidget(icon);
    auto *header = new QLabel(QStringLiteral("Kestrel 3"), this);
    header->setObjectName(QStringLiteral("sidebarHeader"));
    header->setStyleSheet(QStringLiteral("font-size: 12px; font-weight: 700;"));
    headerRow->addWidget(header, 1);
    layout->addLayout(headerRow);
    layout->addSpacing(18);

    for (qsizetype index = 0; index < KSTSectionCatalog::SectionCount; ++index)
        m_navRows << nullptr;
    bool firstGroup = true;
    for (const KSTSectionCatalog::Group &group : KSTSectionCatalog::groups()) {
        if (!firstGroup)
            layout->addSpacing(16);
        firstGroup = false;
        QLabel *groupHeader = KSTStyle::label(group.title, KSTStyle::GroupHeader, this);
        groupHeader->setContentsMargins(10, 0, 0, 6);
        layout->addWidget(groupHeader);
        bool firstRow = true;
        for (int section : group.sections) {
            if (!firstRow)
                layout->addSpacing(2);
            firstRow = false;
            auto *row = new KSTNavRowView(section, KSTSectionCatalog::sidebarTitle(section),
                                          KSTSectionCatalog::symbolName(section), this);
            row->setBadgeText(QStringLiteral("ON"));
            connect(row, &KSTNavRowView::activated, this, &KSTSidebarViewController::navClicked);
            m_navRows[section] = row;
            layout->addWidget(row);
            if (KSTSectionCatalog::showsAutomationBadge(section))
                m_autoCleanRow = row;
        }
    }
    layout->addStretch(1);

    m_healthCard = new KSTCardFrame(this);
    m_healthCard->setObjectName(QStringLiteral("healthCard"));
    m_healthCard->setTintColorName(QStringLiteral("emerald"));
    auto *cardLayout = new QHBoxLayout(m_healthCard);
    cardLayout->setContentsMargins(12, 10, 12, 10);
    cardLayout->setSpacing(10);
    auto *shield = new KSTSymbolView(QStringLiteral("shield.fill"), QStringLiteral("emerald"), 18,
                                     m_healthCard);
    cardLayout->addWidget(shield);
    QLabel *healthText =
        KSTStyle::label(QStringLiteral("System Healthy"), KSTStyle::Headline, m_healthCard);
    healthText->setObjectName(QStringLiteral("healthText"));
    cardLayout->addWidget(healthText, 1);
    layout->addWidget(m_healthCard);

    KSTNotificationCenter::defaultCenter().addObserver(
        KSTAutoCleanManager::StateDidChangeNotification, this,
        [this](const KSTNotification &notification) {
            // Only our manager's changes matter (a test may run another beside it).
            if (notification.object == &m_autoCleanManager)
                autoCleanStateDidChange();
        });
    updateAutoCleanBadge();
}

void KSTSidebarViewController::selectSection(int section)
{
    m_selectedSection = KSTSectionCatalog::isValidSection(section) ? section : -1;
    for (KSTNavRowView *row : std::as_const(m_navRows))
        row->setSelected(row->sectionIndex() == section);
}

void KSTSidebarViewController::navClicked(int section)
{
    selectSection(section);
    Q_EMIT didSelectSection(section);
}

void KSTSidebarViewController::updateAutoCleanBadge()
{
    if (m_autoCleanRow)
        m_autoCleanRow->setBadgeVisible(m_autoCleanManager.isAutomationActive());
}

void KSTSidebarViewController::autoCleanStateDidChange()
{
    updateAutoCleanBadge();
}

void KSTSidebarViewController::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), KSTPalette::sidebarBackground());
    painter.fillRect(QRect(width() - 1, 0, 1, height()), KSTPalette::separator());
}
