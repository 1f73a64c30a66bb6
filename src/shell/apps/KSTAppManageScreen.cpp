#include "KSTAppManageScreen.h"

#include "KSTAppDetailPane.h"
#include "KSTAppInventoryEngine.h"
#include "KSTAppListModel.h"
#include "KSTAppListSortProxy.h"
#include "KSTAppManageAlerts.h"
#include "KSTAppManageStyle.h"
#include "KSTAppUninstaller.h"
#include "KSTBusyIndicator.h"
#include "KSTCardFrame.h"
#include "KSTFormatting.h"
#include "KSTRelatedPathLookup.h"
#include "KSTStorageBarView.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"
#include "KSTSystemInfo.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QTreeView>
#include <QVBoxLayout>

namespace {

constexpr int AgeRefreshMs = 30000;
constexpr int ProgressBarHeight = 8;

// Column widths that show every label of the fixed formats whole ("Intel & Apple Silicon",
// "Today, 09:41"); the name takes what is left.
const struct
{
    int column;
    int width;
} ColumnWidths[] = {
    {KSTAppListModel::VersionColumn, 52},     {KSTAppListModel::DeveloperColumn, 128},
    {KSTAppListModel::CategoryColumn, 120},   {KSTAppListModel::ArchitectureColumn, 146},
    {KSTAppListModel::SourceColumn, 78},      {KSTAppListModel::InstalledColumn, 104},
    {KSTAppListModel::LastOpenedColumn, 100}, {KSTAppListModel::SizeColumn, 70},
};

} // namespace

KSTAppManageScreen::KSTAppManageScreen(KSTSystemInfo &systemInfo, KSTAppInventoryEngine &engine,
                                       QWidget *parent)
    : KSTToolScreen(parent), m_engine(engine), m_model(systemInfo), m_selection(engine),
      m_confirm(&KSTAppManageAlerts::askToUninstall), m_tell(&KSTAppManageAlerts::tellOutcome)
{
    setObjectName(QStringLiteral("appManageScreen"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 20, 28, 24);
    layout->setSpacing(14);
    layout->addWidget(buildSummaryCard());

    auto *splitter = new QSplitter(Qt::Vertical, this);
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(14);
    splitter->setStyleSheet(QStringLiteral("QSplitter::handle { background: transparent; }"));
    splitter->addWidget(buildListCard());
    m_detailPane = new KSTAppDetailPane(m_selection, splitter);
    m_detailPane->setMinimumHeight(250);
    splitter->addWidget(m_detailPane);
    splitter->setStretchFactor(0, 5);
    splitter->setStretchFactor(1, 6);
    layout->addWidget(splitter, 1);

    m_ageTimer.setInterval(AgeRefreshMs);
    connect(&m_ageTimer, &QTimer::timeout, this, &KSTAppManageScreen::refreshSummary);
    connect(&m_model, &KSTAppInventoryModel::snapshotChanged, this,
            &KSTAppManageScreen::snapshotDidChange);
    connect(&m_selection, &KSTAppUninstallSelection::uninstallFinished, this,
            &KSTAppManageScreen::uninstallDidFinish);
    connect(&m_selection, &KSTAppUninstallSelection::uninstallingChanged, this,
            [this](bool uninstalling) {
                m_rescanButton->setEnabled(!uninstalling);
                // The pane shows the app being uninstalled until it is done.
                m_list->setEnabled(!uninstalling);
                refreshPutBack();
            });
    connect(m_detailPane, &KSTAppDetailPane::uninstallRequested, this,
            &KSTAppManageScreen::requestUninstall);
    snapshotDidChange();
    refreshPutBack();
}

QWidget *KSTAppManageScreen::buildSummaryCard()
{
    auto *card = new KSTCardFrame(this);
    auto *layout = new QHBoxLayout(card);
    layout->setContentsMargins(20, 14, 20, 14);
    layout->setSpacing(16);
    auto *symbol = new KSTSymbolView(QStringLiteral("square.grid.2x2.fill"),
                                     QStringLiteral("violet"), 22, card);
    symbol->setTile(44);
    layout->addWidget(symbol);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(3);
    m_summary = KSTStyle::label({}, KSTStyle::Title, card);
    m_summary->setObjectName(QStringLiteral("appManageSummary"));
    texts->addWidget(m_summary);
    m_detail = KSTStyle::label({}, KSTStyle::Secondary, card);
    m_detail->setObjectName(QStringLiteral("appManageDetail"));
    texts->addWidget(m_detail);
    m_progress = new KSTStorageBarView(card);
    m_progress->setObjectName(QStringLiteral("scanProgress"));
    m_progress->setFixedHeight(ProgressBarHeight);
    m_progress->setMaximumWidth(360);
    texts->addWidget(m_progress);
    layout->addLayout(texts, 1);

    m_scanIndicator = new KSTBusyIndicator(18, card);
    layout->addWidget(m_scanIndicator);
    m_filter = new QLineEdit(card);
    m_filter->setObjectName(QStringLiteral("appFilter"));
    m_filter->setPlaceholderText(QStringLiteral("Filter by name"));
    m_filter->setClearButtonEnabled(true);
    m_filter->setFixedWidth(220);
    KSTAppManageStyle::follow(m_filter, &KSTAppManageStyle::filterStyleSheet);
    layout->addWidget(m_filter);
    m_putBackButton = new QPushButton(QStringLiteral("Put Back"), card);
    m_putBackButton->setObjectName(QStringLiteral("putBackButton"));
    m_putBackButton->setToolTip(QStringLiteral("Move what the last uninstall put in the Trash "
                                               "back where it was"));
    KSTStyle::setButtonRole(m_putBackButton, KSTStyle::SecondaryButton);
    connect(m_putBackButton, &QPushButton::clicked, this, &KSTAppManageScreen::requestPutBack);
    layout->addWidget(m_putBackButton);
    m_rescanButton = new QPushButton(QStringLiteral("Rescan"), card);
    m_rescanButton->setObjectName(QStringLiteral("rescanButton"));
    KSTStyle::setButtonRole(m_rescanButton, KSTStyle::SecondaryButton);
    connect(m_rescanButton, &QPushButton::clicked, this, &KSTAppManageScreen::rescan);
    layout->addWidget(m_rescanButton);
    return card;
}

QWidget *KSTAppManageScreen::buildListCard()
{
    auto *card = new KSTCardFrame(this);
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(14, 10, 14, 10);
    layout->setSpacing(6);

    m_listModel = new KSTAppListModel(this);
    m_proxy = new KSTAppListSortProxy(this);
    m_proxy->setSourceModel(m_listModel);

    m_list = new QTreeView(card);
    m_list->setObjectName(QStringLiteral("appList"));
    m_list->setModel(m_proxy);
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->setAllColumnsShowFocus(true);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setIconSize(QSize(20, 20));
    m_list->setMouseTracking(true);
    m_list->setTextElideMode(Qt::ElideRight);
    // The inventory's own order (by size once sized) until a column is chosen.
    m_list->header()->setSortIndicator(-1, Qt::AscendingOrder);
    m_list->setSortingEnabled(true);
    m_list->header()->setSectionsMovable(false);
    m_list->header()->setStretchLastSection(false);
    m_list->header()->setMinimumSectionSize(30);
    for (const auto &column : ColumnWidths)
        m_list->header()->resizeSection(column.column, column.width);
    m_list->header()->setSectionResizeMode(KSTAppListModel::NameColumn, QHeaderView::Stretch);
    KSTAppManageStyle::follow(m_list, &KSTAppManageStyle::itemViewStyleSheet);
    connect(m_list->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex &current) { currentRowDidChange(current); });
    layout->addWidget(m_list, 1);

    m_emptyLabel = KSTStyle::label({}, KSTStyle::Secondary, card);
    m_emptyLabel->setObjectName(QStringLiteral("appListEmpty"));
    m_emptyLabel->setAlignment(Qt::AlignCenter);
    m_emptyLabel->hide();
    layout->addWidget(m_emptyLabel);

    connect(m_filter, &QLineEdit::textChanged, this, [this](const QString &text) {
        m_proxy->setFilterFixedString(text.trimmed());
        refreshSummary();
    });
    return card;
}

bool KSTAppManageScreen::isContentReady() const
{
    if (!m_model.isScanComplete())
        return false;
    return m_chosenPath.isEmpty() || m_detailPane->isShowingLoadedApp();
}

void KSTAppManageScreen::setAlertPresenters(ConfirmationPresenter confirmation,
                                            OutcomePresenter outcome)
{
    m_confirm = std::move(confirmation);
    m_tell = std::move(outcome);
}

void KSTAppManageScreen::chooseApp(const QString &bundlePath)
{
    if (bundlePath == m_chosenPath)
        return;
    m_chosenPath = bundlePath;
    selectChosenRow();
    showChosenApp();
    announceIfReady();
}

void KSTAppManageScreen::requestUninstall()
{
    if (!m_detailPane->isShowingLoadedApp() || !m_selection.canUninstall() || !m_confirm)
        return;
    if (!m_confirm(this, m_selection.confirmationMessage(),
                   m_selection.confirmationInformativeText()))
        return;
    m_selection.startUninstall();
}

void KSTAppManageScreen::rescan()
{
    if (m_selection.isUninstalling())
        return;
    m_relatedByPath.clear();
    m_model.rescan();
}

void KSTAppManageScreen::requestPutBack()
{
    const qsizetype count = KSTAppUninstallHistory::lastUninstallItems().size();
    if (count == 0 || m_puttingBack || m_selection.isUninstalling() || !m_confirm)
        return;
    if (!m_confirm(this, QStringLiteral("Put back the last uninstall?"),
                   QStringLiteral("%1 item(s) will be moved back from the Trash where nothing "
                                  "has taken their place.")
                       .arg(count)))
        return;
    m_puttingBack = true;
    refreshPutBack();
    QPointer<KSTAppManageScreen> self(this);
    // The answer arrives on the main thread, where the pointer is checked.
    KSTAppUninstaller(m_engine).putBackLastUninstall(
        [self](const KSTAppUninstallHistory::PutBackResult &result) {
            if (self)
                self->putBackDidFinish(result);
        });
}

void KSTAppManageScreen::putBackDidFinish(const KSTAppUninstallHistory::PutBackResult &result)
{
    m_puttingBack = false;
    m_lastOutcome = QStringLiteral("Put back %1 item(s)").arg(result.restoredPaths.size());
    if (!result.skippedPaths.isEmpty())
        m_lastOutcome += QStringLiteral(", %1 left in the Trash").arg(result.skippedPaths.size());
    refreshPutBack();
    if (!result.restoredPaths.isEmpty())
        rescan();
    refreshSummary();
}

void KSTAppManageScreen::refreshPutBack()
{
    const bool available = !KSTAppUninstallHistory::lastUninstallItems().isEmpty();
    m_putBackButton->setVisible(available);
    m_putBackButton->setEnabled(!m_puttingBack && !m_selection.isUninstalling());
}

void KSTAppManageScreen::snapshotDidChange()
{
    const KSTAppInventoryModel::SnapshotPtr snapshot = m_model.snapshot();
    m_listModel->setApps(snapshot ? snapshot->apps : QList<KSTInstalledAppRecord>());
    if (!m_chosenPath.isEmpty() && !m_model.appWithBundlePath(m_chosenPath))
        m_chosenPath.clear();
    if (m_chosenPath.isEmpty() && m_model.isScanComplete() && m_proxy->rowCount() > 0 &&
        !m_announcedReady) {
        // The first whole inventory opens on its first app, so the pane is never blank.
        m_chosenPath = m_proxy->index(0, 0).data(KSTAppListModel::BundlePathRole).toString();
    }
    selectChosenRow();
    showChosenApp();
    refreshSummary();
    announceIfReady();
}

void KSTAppManageScreen::refreshSummary()
{
    const KSTAppInventoryModel::SnapshotPtr snapshot = m_model.snapshot();
    const bool done = m_model.isScanComplete();
    m_summary->setText(m_model.summaryText());
    m_scanIndicator->setRunning(!done);
    if (!snapshot) {
        m_detail->setText(QStringLiteral("Discovering applications…"));
    } else if (!done) {
        m_detail->setText(snapshot->statusText);
    } else {
        QString text = QStringLiteral("Scan complete");
        if (const std::optional<double> seconds = m_model.scanSeconds())
            text += QStringLiteral(" in ") + KSTFormatting::formatDuration(*seconds);
        text += QStringLiteral(" · Scanned ") +
                KSTFormatting::formatRelativeScanTime(snapshot->scanDate);
        if (!m_lastOutcome.isEmpty())
            text += QStringLiteral(" · ") + m_lastOutcome;
        m_detail->setText(text);
    }
    const bool measuring = snapshot && !done && snapshot->totalCount > 0;
    m_progress->setVisible(measuring);
    if (measuring)
        m_progress->setSegments({{QStringLiteral("blue"), snapshot->scannedCount}},
                                snapshot->totalCount);

    const bool filteredOut = m_listModel->rowCount() > 0 && m_proxy->rowCount() == 0;
    const bool none = done && m_listModel->rowCount() == 0;
    m_emptyLabel->setVisible(filteredOut || none);
    if (filteredOut)
        m_emptyLabel->setText(
            QStringLiteral("No app’s name contains “%1”.").arg(m_filter->text().trimmed()));
    else if (none)
        m_emptyLabel->setText(QStringLiteral("No applications found."));
}

void KSTAppManageScreen::currentRowDidChange(const QModelIndex &current)
{
    if (!current.isValid())
        return;
    chooseApp(current.data(KSTAppListModel::BundlePathRole).toString());
}

void KSTAppManageScreen::selectChosenRow()
{
    QItemSelectionModel *selection = m_list->selectionModel();
    if (m_chosenPath.isEmpty()) {
        selection->clear();
        return;
    }
    const QModelIndexList found =
        m_proxy->match(m_proxy->index(0, KSTAppListModel::NameColumn),
                       KSTAppListModel::BundlePathRole, m_chosenPath, 1, Qt::MatchExactly);
    if (found.isEmpty() || selection->currentIndex().row() == found.first().row())
        return;
    selection->setCurrentIndex(found.first(),
                               QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

void KSTAppManageScreen::showChosenApp()
{
    std::optional<KSTInstalledAppRecord> record = m_model.appWithBundlePath(m_chosenPath);
    if (!record) {
        if (!m_selection.isUninstalling())
            m_detailPane->showNothing();
        return;
    }
    if (!record->relatedPathsLoaded) {
        const auto known = m_relatedByPath.constFind(record->bundlePath);
        if (known != m_relatedByPath.cend())
            KSTRelatedPathLookup::applyRelatedPaths(*record, *known);
    }
    const bool loaded = record->relatedPathsLoaded;
    // While an uninstall runs the selection is what it acts on: leave it as it is.
    if (!m_selection.isUninstalling()) {
        const bool sameApp = m_selection.app().bundlePath == record->bundlePath &&
                             m_selection.app().relatedPathsLoaded && loaded;
        QHash<QString, bool> ticks;
        if (sameApp) {
            for (const KSTAppUninstallRow &row : m_selection.rows())
                ticks.insert(row.path, row.isTicked);
        }
        m_selection.setApp(*record, m_model.snapshot()->apps);
        // New figures for the same app keep the user's ticks.
        for (auto tick = ticks.cbegin(); tick != ticks.cend(); ++tick) {
            if (m_selection.isTickable(tick.key()))
                m_selection.setTicked(tick.key(), tick.value());
        }
    }
    m_detailPane->showApp(*record, m_listModel->iconFor(*record), loaded);
    if (loaded || m_lookingUpPath == record->bundlePath)
        return;
    m_lookingUpPath = record->bundlePath;
    QPointer<KSTAppManageScreen> self(this);
    const QString path = record->bundlePath;
    // The answer arrives on the main thread, where the pointer is checked.
    m_engine.relatedPaths().loadRelatedPathsForApp(
        *record, [self, path](const QList<KSTInstalledAppRelatedPath> &paths) {
            if (self)
                self->relatedPathsDidLoad(path, paths);
        });
}

void KSTAppManageScreen::relatedPathsDidLoad(const QString &bundlePath,
                                             const QList<KSTInstalledAppRelatedPath> &paths)
{
    m_relatedByPath.insert(bundlePath, paths);
    if (m_lookingUpPath == bundlePath)
        m_lookingUpPath.clear();
    if (bundlePath == m_chosenPath)
        showChosenApp();
    announceIfReady();
}

void KSTAppManageScreen::uninstallDidFinish(const KSTAppUninstallOutcome &outcome)
{
    if (outcome.success) {
        m_lastOutcome = QStringLiteral("%1: %2 item(s) moved to the Trash")
                            .arg(outcome.message)
                            .arg(outcome.removedCount);
        // Related files were looked up with an index the uninstall cleared.
        m_relatedByPath.clear();
        m_chosenPath.clear();
        m_detailPane->showNothing();
    }
    m_model.uninstallDidFinish(outcome);
    snapshotDidChange();
    if (outcome.alert == KSTAppUninstallOutcome::Alert::None || !m_tell)
        return;
    // After the uninstall's own signal has returned: the alert runs a loop of its own.
    QTimer::singleShot(0, this, [this, outcome] { m_tell(this, outcome); });
}

void KSTAppManageScreen::announceIfReady()
{
    if (!m_announcedReady && isContentReady()) {
        m_announcedReady = true;
        Q_EMIT contentReady();
    }
}

void KSTAppManageScreen::showEvent(QShowEvent *event)
{
    KSTToolScreen::showEvent(event);
    m_model.refresh();
    refreshSummary();
    refreshPutBack();
    m_ageTimer.start();
}

void KSTAppManageScreen::hideEvent(QHideEvent *event)
{
    m_ageTimer.stop();
    m_model.cancel();
    KSTToolScreen::hideEvent(event);
}
