#include "KSTAppListSortProxy.h"

#include "KSTAppListModel.h"

#include <QDateTime>

KSTAppListSortProxy::KSTAppListSortProxy(QObject *parent) : QSortFilterProxyModel(parent)
{
    m_collator.setCaseSensitivity(Qt::CaseInsensitive);
    m_collator.setNumericMode(true);
    setSortRole(KSTAppListModel::SortRole);
    setFilterKeyColumn(KSTAppListModel::NameColumn);
    setFilterCaseSensitivity(Qt::CaseInsensitive);
}

bool KSTAppListSortProxy::lessThan(const QModelIndex &left, const QModelIndex &right) const
{
    const int byValue = compareValues(left.data(sortRole()), right.data(sortRole()));
    if (byValue != 0)
        return byValue < 0;
    const QModelIndex leftName = left.siblingAtColumn(KSTAppListModel::NameColumn);
    const QModelIndex rightName = right.siblingAtColumn(KSTAppListModel::NameColumn);
    const int byName = compareValues(leftName.data(sortRole()), rightName.data(sortRole()));
    // Equal names keep their place in the inventory (the bundle paths tell them apart there).
    return byName != 0 ? byName < 0 : left.row() < right.row();
}

int KSTAppListSortProxy::compareValues(const QVariant &left, const QVariant &right) const
{
    if (left.typeId() == QMetaType::QString || right.typeId() == QMetaType::QString)
        return m_collator.compare(left.toString(), right.toString());
    if (left.typeId() == QMetaType::QDateTime || right.typeId() == QMetaType::QDateTime) {
        // A missing date (invalid) comes before every real one.
        const QDateTime a = left.toDateTime();
        const QDateTime b = right.toDateTime();
        if (a.isValid() != b.isValid())
            return a.isValid() ? 1 : -1;
        return a < b ? -1 : (b < a ? 1 : 0);
    }
    const qulonglong a = left.toULongLong();
    const qulonglong b = right.toULongLong();
    return a < b ? -1 : (b < a ? 1 : 0);
}
