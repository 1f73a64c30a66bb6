#include "KSTDuplicateResultsView.h"

#include "KSTBusyIndicator.h"
#include "KSTCardFrame.h"
#include "KSTDuplicateFolderOptions.h"
#include "KSTDuplicateGroupDelegate.h"
#include "KSTDuplicateGroupListModel.h"
#include "KSTDuplicateOutcomeCard.h"
#include "KSTDuplicatePreview.h"
#include "KSTDuplicateReviewModel.h"
#include "KSTDuplicateSetupView.h"
#include "KSTFormatting.h"
#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolImage.h"
#include "KSTSymbolView.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QListView>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

// The colour of each category's symbol.
QString categoryColor(const QString &categoryType)
{
    static const QHash<QString, QString> colors = {
        {QStringLiteral("images"), QStringLiteral("sky")},
        {QStringLiteral("photos"), QStringLiteral("violet")},
        {QStringLiteral("videos"), QStringLiteral("rose")},
        {QStringLiteral("audios"), QStringLiteral("amber")},
        {QStringLiteral("archives"), QStringLiteral("orange")},
    };
    return colors.value(categoryType, QStringLiteral("zinc"));
}

} // namespace

KSTDuplicateResultsView::KSTDuplicateResultsView(KSTDuplicateReviewModel &review, QWidget *parent)
    : QWidget(parent), m_review(review)
{
    setObjectName(QStringLiteral("duplicateResults"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(14);
    layout->addWidget(buildSummaryCard());

    m_outcomeCard = new KSTDuplicateOutcomeCard(this);
    layout->addWidget(m_outcomeCard);

    m_body = new QStackedWidget(this);
    auto *lists = new QWidget(m_body);
    auto *columns = new QHBoxLayout(lists);
    columns->setContentsMargins(0, 0, 0, 0);
    columns->setSpacing(14);
    columns->addWidget(buildCategoryCard());
    columns->addWidget(buildGroupCard(), 5);
    m_preview = new KSTDuplicatePreview(m_review, lists);
    columns->addWidget(m_preview, 6);
    m_body->addWidget(lists);

    auto *empty = new KSTCardFrame(m_body);
    auto *emptyLayout = new QVBoxLayout(empty);
    emptyLayout->addStretch(1);
    auto *emptySymbol =
        new KSTSymbolView(QStringLiteral("checkmark"), QStringLiteral("emerald"), 28, empty);
    emptySymbol->setTile(60);
    emptyLayout->addWidget(emptySymbol, 0, Qt::AlignHCenter);
    auto *emptyText =
        KSTStyle::label(QStringLiteral("No duplicate files found"), KSTStyle::Title, empty);
    emptyText->setObjectName(QStringLiteral("emptyResults"));
    emptyLayout->addWidget(emptyText, 0, Qt::AlignHCenter);
    emptyLayout->addWidget(KSTStyle::label(QStringLiteral("Every file in these folders is the "
                                                          "only one with its content."),
                                           KSTStyle::Secondary, empty),
                           0, Qt::AlignHCenter);
    emptyLayout->addStretch(2);
    m_body->addWidget(empty);
    layout->addWidget(m_body, 1);
    layout->addWidget(buildFooter());

    connect(&m_review, &KSTDuplicateReviewModel::snapshotChanged, this,
            &KSTDuplicateResultsView::snapshotDidChange);
    connect(&m_review, &KSTDuplicateReviewModel::selectionChanged, this,
            &KSTDuplicateResultsView::selectionDidChange);
    connect(&m_review, &KSTDuplicateReviewModel::actionButtonsChanged, this,
            &KSTDuplicateResultsView::refreshButtons);
    connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, this, [this] {
        restyleLists();
        rebuildCategories();
    });
    restyleLists();
    snapshotDidChange();
}

QWidget *KSTDuplicateResultsView::buildSummaryCard()
{
    auto *card = new KSTCardFrame(this);
    auto *layout = new QHBoxLayout(card);
    layout->setContentsMargins(20, 14, 20, 14);
    layout->setSpacing(16);
    auto *symbol =
        new KSTSymbolView(QStringLiteral("doc.on.doc.fill"), QStringLiteral("blue"), 22, card);
    symbol->setTile(44);
    layout->addWidget(symbol);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(3);
    m_summary = KSTStyle::label({}, KSTStyle::Title, card);
    m_summary->setObjectName(QStringLiteral("resultSummary"));
    texts->addWidget(m_summary);
    m_detail = KSTStyle::label({}, KSTStyle::Secondary, card);
    m_detail->setObjectName(QStringLiteral("resultDetail"));
    texts->addWidget(m_detail);
    layout->addLayout(texts, 1);
    m_newScan = new QPushButton(QStringLiteral("Choose Folders…"), card);
    m_newScan->setObjectName(QStringLiteral("newScanButton"));
    KSTStyle::setButtonRole(m_newScan, KSTStyle::SecondaryButton);
    layout->addWidget(m_newScan);
    m_rescan = new QPushButton(QStringLiteral("Rescan"), card);
    m_rescan->setObjectName(QStringLiteral("rescanButton"));
    KSTStyle::setButtonRole(m_rescan, KSTStyle::SecondaryButton);
    layout->addWidget(m_rescan);
    connect(m_newScan, &QPushButton::clicked, this, &KSTDuplicateResultsView::newScanRequested);
    connect(m_rescan, &QPushButton::clicked, this, &KSTDuplicateResultsView::rescanRequested);
    return card;
}

QWidget *KSTDuplicateResultsView::buildCategoryCard()
{
    auto *card = new KSTCardFrame(this);
    card->setFixedWidth(220);
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(10, 14, 10, 10);
    layout->setSpacing(6);
    auto *header = KSTStyle::label(QStringLiteral("CATEGORIES"), KSTStyle::GroupHeader, card);
    header->setContentsMargins(10, 0, 0, 0);
    layout->addWidget(header);
    m_categories = new QListWidget(card);
    m_categories->setObjectName(QStringLiteral("categoryList"));
    m_categories->setIconSize(QSize(20, 20));
    m_categories->setSpacing(2);
    layout->addWidget(m_categories, 1);
    connect(m_categories, &QListWidget::currentRowChanged, this, [this](int row) {
        const auto snapshot = m_review.snapshot();
        if (m_syncing || !snapshot || row < 0 || row >= snapshot->categories.size())
            return;
        m_review.setSelectedCategoryType(snapshot->categories.at(row).categoryType);
    });
    return card;
}

QWidget *KSTDuplicateResultsView::buildGroupCard()
{
    auto *card = new KSTCardFrame(this);
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(10, 12, 10, 10);
    layout->setSpacing(6);
    auto *header = new QHBoxLayout;
    header->setContentsMargins(12, 0, 10, 0);
    m_allGroups = new QCheckBox(QStringLiteral("All groups"), card);
    m_allGroups->setObjectName(QStringLiteral("allGroupsBox"));
    m_allGroups->setTristate(true);
    header->addWidget(m_allGroups);
    header->addStretch(1);
    m_groupCount = KSTStyle::label({}, KSTStyle::Secondary, card);
    m_groupCount->setObjectName(QStringLiteral("groupCount"));
    header->addWidget(m_groupCount);
    layout->addLayout(header);

    m_groupModel = new KSTDuplicateGroupListModel(m_review, this);
    m_groups = new QListView(card);
    m_groups->setObjectName(QStringLiteral("groupList"));
    m_groups->setModel(m_groupModel);
    m_groups->setItemDelegate(new KSTDuplicateGroupDelegate(m_groups));
    m_groups->setUniformItemSizes(true);
    m_groups->setMouseTracking(true);
    m_groups->setSelectionMode(QAbstractItemView::SingleSelection);
    m_groups->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    layout->addWidget(m_groups, 1);

    connect(m_allGroups, &QCheckBox::clicked, this, [this] {
        // A click on a partly or fully ticked box clears, on an empty one ticks everything.
        const bool tickAll = m_groupModel->rowCount() > 0 && m_review.selectedGroupKeys().isEmpty();
        m_review.toggleAllGroups(tickAll ? Qt::Checked : Qt::Unchecked);
        selectionDidChange();
    });
    connect(m_groups->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex &current) {
                if (m_syncing || !current.isValid())
                    return;
                m_review.setSelectedGroup(
                    current.data(KSTDuplicateGroupListModel::HashKeyRole).toString());
            });
    return card;
}

QWidget *KSTDuplicateResultsView::buildFooter()
{
    auto *card = new KSTCardFrame(this);
    auto *layout = new QHBoxLayout(card);
    layout->setContentsMargins(20, 10, 20, 10);
    layout->setSpacing(10);
    layout->addWidget(KSTStyle::label(QStringLiteral("Removed copies go to the Trash, where they "
                                                     "can be put back."),
                                      KSTStyle::Secondary, card),
                      1);
    m_removing = new KSTBusyIndicator(16, card);
    layout->addWidget(m_removing);
    m_cloneSelected = new QPushButton(QStringLiteral("Replace with Clones…"), card);
    m_cloneSelected->setObjectName(QStringLiteral("cloneSelectedButton"));
    m_cloneSelected->setToolTip(
        QStringLiteral("Keep every path: each ticked copy that would be removed becomes a clone of "
                       "the kept copy, sharing its data on disk"));
    KSTStyle::setButtonRole(m_cloneSelected, KSTStyle::SecondaryButton);
    layout->addWidget(m_cloneSelected);
    m_removeCurrent = new QPushButton(card);
    m_removeCurrent->setObjectName(QStringLiteral("removeCurrentButton"));
    KSTStyle::setButtonRole(m_removeCurrent, KSTStyle::SecondaryButton);
    layout->addWidget(m_removeCurrent);
    m_removeSelected = new QPushButton(card);
    m_removeSelected->setObjectName(QStringLiteral("removeSelectedButton"));
    m_removeSelected->setMinimumWidth(200);
    KSTStyle::setButtonRole(m_removeSelected, KSTStyle::PrimaryButton);
    layout->addWidget(m_removeSelected);
    connect(m_removeCurrent, &QPushButton::clicked, this,
            &KSTDuplicateResultsView::removeCurrentRequested);
    connect(m_removeSelected, &QPushButton::clicked, this,
            &KSTDuplicateResultsView::removeSelectedRequested);
    connect(m_cloneSelected, &QPushButton::clicked, this,
            &KSTDuplicateResultsView::cloneSelectedRequested);
    return card;
}

void KSTDuplicateResultsView::restyleLists()
{
    const QString sheet =
        QStringLiteral("QListView { background: transparent; border: none; outline: 0; }"
                       "QListWidget::item { border-radius: 7px; padding: 6px 6px; }"
                       "QListWidget::item:selected { background: %1; color: %2; }"
                       "QListWidget::item:hover:!selected { background: %3; }")
            .arg(KSTPalette::css(KSTPalette::selectionFill()),
                 KSTPalette::css(KSTPalette::primaryText()),
                 KSTPalette::css(KSTPalette::hoverFill()));
    m_categories->setStyleSheet(sheet);
    m_groups->setStyleSheet(sheet);
    KSTDuplicateSetupView::paintOnCard(m_allGroups);
}

void KSTDuplicateResultsView::snapshotDidChange()
{
    const auto snapshot = m_review.snapshot();
    if (!snapshot || snapshot->isScanning)
        return;
    if (snapshot->totalGroupCount == 0) {
        m_summary->setText(
            snapshot->statusText.value_or(QStringLiteral("No duplicate files found")));
    } else {
        m_summary->setText(
            QStringLiteral("%1 can be freed")
                .arg(KSTFormatting::formatBytesShort(snapshot->totalReclaimableBytes)));
    }
    QStringList folders;
    for (const QString &path : snapshot->scanPaths)
        folders << KSTDuplicateFolderOptions::displayPathFor(path);
    const QString groups = snapshot->totalGroupCount == 1
                               ? QStringLiteral("1 group of duplicates")
                               : QStringLiteral("%1 groups of duplicates")
                                     .arg(KSTFormatting::formatCount(snapshot->totalGroupCount));
    const QString files = snapshot->filesScanned == 1
                              ? QStringLiteral("1 file compared")
                              : QStringLiteral("%1 files compared")
                                    .arg(KSTFormatting::formatCount(snapshot->filesScanned));
    m_detail->setText(groups + QStringLiteral(" · ") + files + QStringLiteral(" in ") +
                      folders.join(QStringLiteral(", ")));
    m_body->setCurrentIndex(snapshot->totalGroupCount == 0 ? 1 : 0);
    rebuildCategories();
    selectionDidChange();
}

void KSTDuplicateResultsView::rebuildCategories()
{
    const auto snapshot = m_review.snapshot();
    m_syncing = true;
    m_categories->clear();
    if (snapshot) {
        for (const KSTDuplicateCategorySummary &category : snapshot->categories) {
            const QIcon icon(KSTSymbolImage::pixmap(
                category.symbol, KSTPalette::color(categoryColor(category.categoryType)), 20,
                devicePixelRatioF()));
            const QString detail =
                category.groupCount == 0
                    ? QStringLiteral("No duplicates")
                    : QStringLiteral("%1 · %2").arg(
                          category.groupCount == 1
                              ? QStringLiteral("1 group")
                              : QStringLiteral("%1 groups").arg(category.groupCount),
                          KSTFormatting::formatBytesShort(category.reclaimableBytes));
            auto *row =
                new QListWidgetItem(icon, category.name + QLatin1Char('\n') + detail, m_categories);
            row->setData(Qt::UserRole, category.categoryType);
        }
    }
    m_syncing = false;
    selectionDidChange();
}

void KSTDuplicateResultsView::selectionDidChange()
{
    const auto snapshot = m_review.snapshot();
    if (!snapshot || snapshot->isScanning)
        return;
    m_syncing = true;
    for (int row = 0; row < m_categories->count(); ++row) {
        if (m_categories->item(row)->data(Qt::UserRole).toString() ==
            m_review.selectedCategoryType())
            m_categories->setCurrentRow(row);
    }
    const std::optional<KSTDuplicateGroup> &group = m_review.selectedGroup();
    const int groupRow = group ? m_groupModel->rowOfGroup(group->hashKey) : -1;
    if (groupRow >= 0) {
        const QModelIndex index = m_groupModel->index(groupRow);
        m_groups->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        m_groups->scrollTo(index);
    } else {
        m_groups->selectionModel()->clearSelection();
    }
    const int listed = m_groupModel->rowCount();
    const qsizetype ticked = m_review.selectedGroupCountInSelectedCategory();
    m_allGroups->setCheckState(ticked == 0        ? Qt::Unchecked
                               : ticked == listed ? Qt::Checked
                                                  : Qt::PartiallyChecked);
    m_groupCount->setText(listed == 1 ? QStringLiteral("1 group")
                                      : QStringLiteral("%1 groups").arg(listed));
    m_syncing = false;
    refreshButtons();
}

void KSTDuplicateResultsView::refreshButtons()
{
    const bool busy = m_review.isBusy();
    m_removeCurrent->setText(m_review.removeCurrentButtonTitle());
    m_removeCurrent->setEnabled(m_review.isRemoveCurrentButtonEnabled());
    m_removeSelected->setText(m_review.removeSelectedButtonTitle());
    m_removeSelected->setEnabled(m_review.isRemoveSelectedButtonEnabled());
    // Cloning takes the same copies as the bulk removal.
    m_cloneSelected->setEnabled(m_review.isRemoveSelectedButtonEnabled());
    m_removing->setRunning(m_review.isRemoving());
    m_rescan->setEnabled(!busy);
    m_newScan->setEnabled(!busy);
    m_allGroups->setEnabled(!busy && m_groupModel->rowCount() > 0);
    // A removal shows the group after the one it took away in the category listed when it
    // began; the lists wait until it is done.
    m_categories->setEnabled(!busy);
    m_groups->setEnabled(!busy);
}

void KSTDuplicateResultsView::showOutcome(const KSTDuplicateRemovalOutcome &outcome)
{
    m_outcomeCard->showRemoval(outcome);
}

void KSTDuplicateResultsView::showLinkOutcome(const KSTDuplicateLinkOutcome &outcome)
{
    m_outcomeCard->showLinking(outcome);
}

void KSTDuplicateResultsView::clearOutcome()
{
    m_outcomeCard->hide();
}
