#include "KSTDuplicateGroupListModel.h"

#include "KSTDuplicateReviewModel.h"
#include "KSTFormatting.h"

KSTDuplicateGroupListModel::KSTDuplicateGroupListModel(KSTDuplicateReviewModel &review,
                                                       QObject *parent)
    : QAbstractListModel(parent), m_review(review)
{
    connect(&m_review, &KSTDuplicateReviewModel::snapshotChanged, this,
            &KSTDuplicateGroupListModel::reviewDidChange);
    connect(&m_review, &KSTDuplicateReviewModel::selectionChanged, this,
            &KSTDuplicateGroupListModel::reviewDidChange);
    connect(&m_review, &KSTDuplicateReviewModel::actionButtonsChanged, this,
            &KSTDuplicateGroupListModel::reviewDidChange);
    reviewDidChange();
}

void KSTDuplicateGroupListModel::reviewDidChange()
{
    const auto snapshot = m_review.snapshot();
    if (snapshot != m_shownSnapshot || m_review.selectedCategoryType() != m_shownCategoryType) {
        beginResetModel();
        m_shownSnapshot = snapshot;
        m_shownCategoryType = m_review.selectedCategoryType();
        m_groups = m_review.groupsForSelectedCategory();
        endResetModel();
        return;
    }
    // Ticks, and whether ticking is possible, changed at most.
    if (!m_groups.isEmpty())
        Q_EMIT dataChanged(index(0), index(int(m_groups.size()) - 1), {Qt::CheckStateRole});
}

int KSTDuplicateGroupListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_groups.size());
}

QVariant KSTDuplicateGroupListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_groups.size())
        return {};
    const KSTDuplicateGroup &group = m_groups.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return group.fileName;
    case Qt::ToolTipRole:
        return group.files.isEmpty() ? group.fileName : group.files.first().path;
    case Qt::CheckStateRole:
        return m_review.selectedGroupKeys().contains(group.hashKey) ? Qt::Checked : Qt::Unchecked;
    case HashKeyRole:
        return group.hashKey;
    case DetailRole:
        return QStringLiteral("%1 copies · %2 each")
            .arg(group.files.size())
            .arg(KSTFormatting::formatBytesShort(group.fileSize));
    case ReclaimableRole:
        return KSTFormatting::formatBytesShort(group.reclaimableBytes);
    default:
        return {};
    }
}

bool KSTDuplicateGroupListModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::CheckStateRole || !index.isValid() || index.row() >= m_groups.size() ||
        m_review.isBusy())
        return false;
    // The review model's signal repaints the box.
    m_review.toggleGroupSelection(m_groups.at(index.row()),
                                  value.value<Qt::CheckState>() == Qt::Checked);
    return true;
}

Qt::ItemFlags KSTDuplicateGroupListModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    if (!m_review.isBusy())
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

QHash<int, QByteArray> KSTDuplicateGroupListModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert(HashKeyRole, "hashKey");
    names.insert(DetailRole, "detail");
    names.insert(ReclaimableRole, "reclaimable");
    return names;
}

int KSTDuplicateGroupListModel::rowOfGroup(const QString &hashKey) const
{
    // The rows are the listed category's groups of the shown snapshot, in order, so the
    // review model's index answers without a walk over tens of thousands of rows.
    if (m_shownSnapshot && m_shownSnapshot == m_review.snapshot()) {
        const auto position = m_review.positionOfGroup(hashKey);
        if (!position ||
            m_shownSnapshot->categories.at(position->category).categoryType != m_shownCategoryType)
            return -1;
        return position->group < m_groups.size() ? int(position->group) : -1;
    }
    for (qsizetype row = 0; row < m_groups.size(); ++row) {
        if (m_groups.at(row).hashKey == hashKey)
            return int(row);
    }
    return -1;
}
