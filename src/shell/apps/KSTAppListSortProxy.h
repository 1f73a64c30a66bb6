#pragma once

#include <QCollator>
#include <QSortFilterProxyModel>

/// The App Manage list's order and filter: by the chosen column's value (KSTAppListModel's
/// SortRole), texts compared as the inventory compares names (case-insensitive, in the
/// user's locale, digits as numbers), equal values by name; rows whose name contains the
/// filter text, case ignored. No column chosen: the inventory's own order.
class KSTAppListSortProxy : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit KSTAppListSortProxy(QObject *parent = nullptr);

protected:
    bool lessThan(const QModelIndex &left, const QModelIndex &right) const override;

private:
    int compareValues(const QVariant &left, const QVariant &right) const;

    QCollator m_collator;
};
