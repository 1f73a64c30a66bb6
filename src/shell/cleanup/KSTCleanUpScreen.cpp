#include "KSTCleanUpScreen.h"

#include "KSTAccessReminderBanner.h"
#include "KSTBusyIndicator.h"
#include "KSTCardFrame.h"
#include "KSTCleanUpAlerts.h"
#include "KSTCleanUpCategoryCard.h"
#include "KSTCleanUpReviewList.h"
#include "KSTFormatting.h"
#include "KSTLayoutWords.h"
#include "KSTNotificationCenter.h"
#include "KSTPermissionChecker.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"
#include "KSTSystemInfo.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int CategoryCount = 4;
constexpr int AgeRefreshMs = 30000;

QWidget *separatorLine(QWidget *parent)
{
    auto *line = new QWidget(parent);
    line->setFixedHeight(1);
    line->setProperty("kstRole", QStringLiteral("separator"));
    line->setAttribute(Qt::WA_StyledBackground);
    return line;
}

} // namespace

KSTCleanUpScreen::KSTCleanUpScreen(KSTSystemInfo &systemInfo, QWidget *parent)
    : KSTToolScreen(parent), m_systemInfo(systemInfo), m_model(systemInfo),
      m_confirm(&KSTCleanUpAlerts::askToClean), m_tell(&KSTCleanUpAlerts::tellOutcome)
{
    setObjectName(QStringLiteral("cleanUpScreen"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 20, 28, 24);
    layout->setSpacing(14);

    m_banner = new KSTAccessReminderBanner(this);
    m_banner->setObjectName(QStringLiteral("accessReminderBanner"));
    m_banner->hide();
    connect(m_banner, &KSTAccessReminderBanner::openSettingsRequested, this,
            &KSTCleanUpScreen::didRequestFullDiskAccessSettings);
    layout->addWidget(m_banner);
    layout->addWidget(buildSummaryCard());

    auto *cards = new QHBoxLayout;
    cards->setSpacing(14);
    for (int index = 0; index < CategoryCount; ++index) {
        auto *card = new KSTCleanUpCategoryCard(this);
        card->setObjectName(QStringLiteral("categoryCard%1").arg(index));
        m_cards << card;
        cards->addWidget(card, 1);
    }
    layout->addLayout(cards);
    layout->addWidget(buildReviewCard(), 1);

    m_ageTimer.setInterval(AgeRefreshMs);
    connect(&m_ageTimer, &QTimer::timeout, this, &KSTCleanUpScreen::refreshSummary);
    connect(&m_model, &KSTCleanUpSelectionModel::snapshotChanged, this,
            &KSTCleanUpScreen::snapshotDidChange);
    connect(&m_model, &KSTCleanUpSelectionModel::selectionChanged, this,
            &KSTCleanUpScreen::refreshControls);
    connect(&m_model, &KSTCleanUpSelectionModel::cleaningChanged, this,
            &KSTCleanUpScreen::refreshControls);
    connect(&m_model, &KSTCleanUpSelectionModel::cleanFinished, this,
            &KSTCleanUpScreen::cleaningDidFinish);
    KSTNotificationCenter::defaultCenter().addObserver(
        KSTPermissionChecker::FolderAccessStatusDidChangeNotification, this,
        [this](const KSTNotification &) { refreshReminderBanner(); });
    snapshotDidChange();
}

QWidget *KSTCleanUpScreen::buildSummaryCard()
{
    auto *card = new KSTCardFrame(this);
    auto *layout = new QHBoxLayout(card);
    layout->setContentsMargins(20, 14, 20, 14);
    layout->setSpacing(16);
    auto *symbol = new KSTSymbolView(QStringLiteral("sparkles"), QStringLiteral("blue"), 22, card);
    symbol->setTile(44);
    layout->addWidget(symbol);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(3);
    m_summary = KSTStyle::label({}, KSTStyle::Title, card);
    m_summary->setObjectName(QStringLiteral("cleanUpSummary"));
    texts->addWidget(m_summary);
    m_detail = KSTStyle::label({}, KSTStyle::Secondary, card);
    m_detail->setObjectName(QStringLiteral("cleanUpDetail"));
    texts->addWidget(m_detail);
    layout->addLayout(texts, 1);

    m_scanIndicator = new KSTBusyIndicator(18, card);
    layout->addWidget(m_scanIndicator);
    m_rescanButton = new QPushButton(QStringLiteral("Rescan"), card);
    m_rescanButton->setObjectName(QStringLiteral("rescanButton"));
    KSTStyle::setButtonRole(m_rescanButton, KSTStyle::SecondaryButton);
    connect(m_rescanButton, &QPushButton::clicked, this, &KSTCleanUpScreen::rescan);
    layout->addWidget(m_rescanButton);
    return card;
}

QWidget *KSTCleanUpScreen::buildReviewCard()
{
    auto *card = new KSTCardFrame(this);
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(20, 16, 20, 14);
    layout->setSpacing(0);
    layout->addWidget(KSTStyle::label(QStringLiteral("Review"), KSTStyle::Headline, card));
    layout->addSpacing(2);
    layout->addWidget(KSTStyle::label(
        QStringLiteral("Tick what to remove. Items are moved to the Trash; the %1 is emptied "
                       "for good.")
            .arg(KSTLayoutWords::current().trash),
        KSTStyle::Secondary, card));
    layout->addSpacing(8);

    m_reviewList = new KSTCleanUpReviewList(m_model, card);
    m_reviewList->setObjectName(QStringLiteral("reviewList"));
    layout->addWidget(m_reviewList, 1);
    layout->addSpacing(10);
    layout->addWidget(separatorLine(card));
    layout->addSpacing(12);

    auto *footer = new QHBoxLayout;
    footer->setSpacing(10);
    m_selection = KSTStyle::label({}, KSTStyle::Body, card);
    m_selection->setObjectName(QStringLiteral("selectedTotal"));
    footer->addWidget(m_selection, 1);
    m_cleanIndicator = new KSTBusyIndicator(16, card);
    m_cleanIndicator->setObjectName(QStringLiteral("cleanProgress"));
    footer->addWidget(m_cleanIndicator);
    m_cleaningLabel = KSTStyle::label(QStringLiteral("Cleaning…"), KSTStyle::Secondary, card);
    m_cleaningLabel->hide();
    footer->addWidget(m_cleaningLabel);
    footer->addSpacing(6);
    m_cleanButton = new QPushButton(QStringLiteral("Clean"), card);
    m_cleanButton->setObjectName(QStringLiteral("cleanButton"));
    m_cleanButton->setMinimumWidth(96);
    KSTStyle::setButtonRole(m_cleanButton, KSTStyle::PrimaryButton);
    connect(m_cleanButton, &QPushButton::clicked, this, &KSTCleanUpScreen::requestClean);
    footer->addWidget(m_cleanButton);
    layout->addLayout(footer);
    return card;
}

bool KSTCleanUpScreen::isContentReady() const
{
    return m_model.hasCompleteSnapshot();
}

void KSTCleanUpScreen::setAlertPresenters(ConfirmationPresenter confirmation,
                                          OutcomePresenter outcome)
{
    m_confirm = std::move(confirmation);
    m_tell = std::move(outcome);
}

void KSTCleanUpScreen::refreshSnapshot()
{
    m_model.refresh();
}

void KSTCleanUpScreen::rescan()
{
    if (m_model.isCleaning())
        return;
    m_systemInfo.invalidateCleanUpCache();
    refreshSnapshot();
}

void KSTCleanUpScreen::requestClean()
{
    if (!m_model.canClean() || !m_confirm)
        return;
    if (!m_confirm(this, m_model.confirmationMessage(), m_model.confirmationInformativeText()))
        return;
    m_model.startCleaning();
}

void KSTCleanUpScreen::cleaningDidFinish(const KSTCleanUpOutcome &outcome)
{
    // The model has dropped the cached scan; what is left is scanned again at once.
    refreshSnapshot();
    if (outcome.alert == KSTCleanUpOutcome::Alert::None || !m_tell)
        return;
    // After the removal's own signal has returned: the alert runs a loop of its own.
    QTimer::singleShot(0, this, [this, outcome] { m_tell(this, outcome); });
}

void KSTCleanUpScreen::refreshReminderBanner()
{
    // Access may have been switched on in System Settings since the answer was cached.
    KSTPermissionChecker::invalidateFullDiskAccessCache();
    const bool due = KSTPermissionChecker::needsFullDiskAccessReminder();
    if (due) {
        m_banner->setTexts(KSTPermissionChecker::fullDiskAccessReminderTitle(),
                           KSTPermissionChecker::fullDiskAccessReminderMessage());
    }
    m_banner->setVisible(due);
}

void KSTCleanUpScreen::snapshotDidChange()
{
    const auto snapshot = m_model.snapshot();
    for (int index = 0; index < m_cards.size(); ++index) {
        KSTCleanUpCategoryCard *card = m_cards.at(index);
        card->setVisible(snapshot && index < snapshot->categories.size());
        if (card->isVisibleTo(this))
            card->setCategory(snapshot->categories.at(index), snapshot->isPartial);
    }
    refreshSummary();
    refreshControls();
    if (!m_announcedReady && isContentReady()) {
        m_announcedReady = true;
        Q_EMIT contentReady();
    }
}

void KSTCleanUpScreen::refreshSummary()
{
    const auto snapshot = m_model.snapshot();
    const bool scanning = !snapshot || snapshot->isPartial;
    m_scanIndicator->setRunning(scanning);
    if (scanning) {
        m_summary->setText(
            QStringLiteral("Scanning %1…").arg(KSTLayoutWords::current().yourComputer));
        m_detail->setText(
            QStringLiteral("Looking through caches, logs, the Trash, downloads and large files."));
        return;
    }
    m_summary->setText(
        snapshot->totalReclaimableBytes == 0
            ? QStringLiteral("Nothing to clean")
            : QStringLiteral("%1 can be cleaned")
                  .arg(KSTFormatting::formatBytesShort(snapshot->totalReclaimableBytes)));
    const QString files = snapshot->filesAnalyzed == 1
                              ? QStringLiteral("1 file analyzed")
                              : QStringLiteral("%1 files analyzed")
                                    .arg(KSTFormatting::formatCount(snapshot->filesAnalyzed));
    m_detail->setText(files + QStringLiteral(" · Scanned ") +
                      KSTFormatting::formatRelativeScanTime(snapshot->scanDate));
}

void KSTCleanUpScreen::refreshControls()
{
    const bool cleaning = m_model.isCleaning();
    const QList<KSTCleanUpItem> chosen = m_model.itemsToRemove();
    if (chosen.isEmpty()) {
        m_selection->setText(QStringLiteral("No items selected"));
    } else {
        m_selection->setText(QStringLiteral("%1 selected · %2")
                                 .arg(KSTFormatting::formatBytesShort(m_model.selectedBytes()),
                                      chosen.size() == 1
                                          ? QStringLiteral("1 item")
                                          : QStringLiteral("%1 items").arg(chosen.size())));
    }
    m_cleanButton->setEnabled(m_model.canClean());
    m_rescanButton->setEnabled(!cleaning);
    m_reviewList->setEnabled(!cleaning);
    m_cleanIndicator->setRunning(cleaning);
    m_cleaningLabel->setVisible(cleaning);
}

void KSTCleanUpScreen::showEvent(QShowEvent *event)
{
    KSTToolScreen::showEvent(event);
    refreshReminderBanner();
    refreshSnapshot();
    refreshSummary();
    m_ageTimer.start();
}

void KSTCleanUpScreen::hideEvent(QHideEvent *event)
{
    m_ageTimer.stop();
    KSTToolScreen::hideEvent(event);
}
