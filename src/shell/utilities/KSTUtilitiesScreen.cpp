#include "KSTUtilitiesScreen.h"

#include "KSTDefaultAppsPanel.h"
#include "KSTEncryptionPanel.h"
#include "KSTHomeSizesPanel.h"
#include "KSTPalette.h"
#include "KSTSecureErasePanel.h"
#include "KSTStartupItemsPanel.h"
#include "KSTTrashOriginsPanel.h"

#include <QGridLayout>
#include <QScrollArea>
#include <QVBoxLayout>

namespace {
constexpr int PanelMinimumHeight = 330;
constexpr int WideColumns = 3;
constexpr int NarrowColumns = 2;
// Below this width three cards would squeeze their menus and buttons.
constexpr int WideLayoutMinimumWidth = 980;
} // namespace

KSTUtilitiesScreen::KSTUtilitiesScreen(KSTUtilitiesManager &manager, QWidget *parent)
    : KSTToolScreen(parent)
{
    setObjectName(QStringLiteral("utilitiesScreen"));
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto *content = new QWidget(scroll);
    auto *grid = new QGridLayout(content);
    grid->setContentsMargins(28, 20, 28, 24);
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(14);

    m_startup = new KSTStartupItemsPanel(manager, m_alerts, content);
    m_erase = new KSTSecureErasePanel(manager, m_alerts, content);
    m_encryption = new KSTEncryptionPanel(manager, m_alerts, content);
    m_defaultApps = new KSTDefaultAppsPanel(manager, m_alerts, content);
    m_trash = new KSTTrashOriginsPanel(manager, content);
    m_homeSizes = new KSTHomeSizesPanel(manager, content);
    m_grid = grid;
    m_panels = {m_startup, m_erase, m_encryption, m_defaultApps, m_trash, m_homeSizes};
    for (QWidget *panel : std::as_const(m_panels))
        panel->setMinimumHeight(PanelMinimumHeight);
    arrange(WideColumns);
    scroll->setWidget(content);
    outer->addWidget(scroll);

    connect(m_startup, &KSTStartupItemsPanel::loaded, this, &KSTUtilitiesScreen::panelDidLoad);
    connect(m_defaultApps, &KSTDefaultAppsPanel::loaded, this, &KSTUtilitiesScreen::panelDidLoad);
    connect(m_trash, &KSTTrashOriginsPanel::loaded, this, &KSTUtilitiesScreen::panelDidLoad);
    connect(m_homeSizes, &KSTHomeSizesPanel::loaded, this, &KSTUtilitiesScreen::panelDidLoad);
    // What was erased may have been in the Trash or a launch agent; an archive may have been
    // written into the Trash.
    connect(m_erase, &KSTSecureErasePanel::jobFinished, m_trash, &KSTTrashOriginsPanel::refresh);
    connect(m_erase, &KSTSecureErasePanel::jobFinished, m_startup, &KSTStartupItemsPanel::rescan);
    connect(m_encryption, &KSTEncryptionPanel::jobFinished, m_trash,
            &KSTTrashOriginsPanel::refresh);
    connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, this,
            &KSTUtilitiesScreen::applyFieldStyle);
    applyFieldStyle();
}

bool KSTUtilitiesScreen::isContentReady() const
{
    return m_startup->hasLoaded() && m_defaultApps->hasLoaded() && m_trash->hasLoaded() &&
           m_homeSizes->hasLoaded();
}

void KSTUtilitiesScreen::setAlertPresenters(KSTUtilitiesAlerts::ConfirmationPresenter confirmation,
                                            KSTUtilitiesAlerts::MessagePresenter message)
{
    m_alerts.setPresenters(std::move(confirmation), std::move(message));
}

void KSTUtilitiesScreen::setPathPicker(const PathPicker &picker)
{
    m_erase->setPathPicker(picker);
    m_encryption->setPathPicker(picker);
}

void KSTUtilitiesScreen::showEvent(QShowEvent *event)
{
    KSTToolScreen::showEvent(event);
    // Agents and the Trash change behind the window's back; the type bindings and du's
    // figures are costlier and have their own Refresh.
    m_startup->rescan();
    m_trash->refresh();
    if (!m_shownOnce) {
        m_shownOnce = true;
        m_defaultApps->refresh();
        m_homeSizes->refresh();
    }
}

void KSTUtilitiesScreen::resizeEvent(QResizeEvent *event)
{
    KSTToolScreen::resizeEvent(event);
    arrange(width() >= WideLayoutMinimumWidth ? WideColumns : NarrowColumns);
}

void KSTUtilitiesScreen::arrange(int columns)
{
    if (columns == m_columns)
        return;
    m_columns = columns;
    for (QWidget *panel : std::as_const(m_panels))
        m_grid->removeWidget(panel);
    for (qsizetype index = 0; index < m_panels.size(); ++index)
        m_grid->addWidget(m_panels.at(index), int(index / columns), int(index % columns));
    for (int column = 0; column < WideColumns; ++column)
        m_grid->setColumnStretch(column, column < columns ? 1 : 0);
}

void KSTUtilitiesScreen::panelDidLoad()
{
    if (!m_announcedReady && isContentReady()) {
        m_announcedReady = true;
        Q_EMIT contentReady();
    }
}

void KSTUtilitiesScreen::applyFieldStyle()
{
    // Text fields and the menus' lists are not covered by the application's sheet; they
    // follow the palette here so the dark appearance stays readable.
    using P = KSTPalette;
    setStyleSheet(QStringLiteral("QLineEdit { background: %1; color: %2; border: 1px solid %3; "
                                 "border-radius: 6px; padding: 4px 8px; font-size: 12px; }\n"
                                 "QLineEdit:disabled { color: %4; }\n"
                                 "QComboBox QAbstractItemView { background: %1; color: %2; "
                                 "selection-background-color: %5; selection-color: white; }\n")
                      .arg(P::css(P::cardBackground()), P::css(P::primaryText()),
                           P::css(P::separator()), P::css(P::tertiaryText()), P::css(P::accent())));
}
