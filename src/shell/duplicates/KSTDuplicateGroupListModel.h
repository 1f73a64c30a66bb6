#pragma once

#include "KSTDuplicateSnapshot.h"

#include <QAbstractListModel>
#include <QList>
#include <QString>

#include <memory>

class KSTDuplicateReviewModel;

/// The groups of the review model's listed category as a list for a view: one row per group,
/// its file name (DisplayRole) over "N copies · size each" and what removing its extra copies
/// frees, and a check box that ticks the group for bulk removal.
///
/// Holds no selection of its own: a check box change asks the review model
/// (toggleGroupSelection), and check states are read from its selectedGroupKeys(). The rows are
/// reset only when the listed groups change (a new snapshot, another category); a tick only
/// repaints the check boxes, so a list of 50,000 groups stays smooth.
class KSTDuplicateGroupListModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        HashKeyRole = Qt::UserRole + 1, ///< the group's hashKey
        DetailRole,                     ///< "3 copies · 2 MB each"
        ReclaimableRole,                ///< "4 MB", what its extra copies take
    };

    /// @p review must outlive the list model.
    explicit KSTDuplicateGroupListModel(KSTDuplicateReviewModel &review, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QHash<int, QByteArray> roleNames() const override;

    /// The row of the group with @p hashKey; -1 when it is not listed.
    int rowOfGroup(const QString &hashKey) const;
    /// The listed group at @p row (bounds are the caller's).
    const KSTDuplicateGroup &groupAt(int row) const { return m_groups.at(row); }

private:
    void reviewDidChange();

    KSTDuplicateReviewModel &m_review;
    // What the rows were built from: a change of either resets the rows.
    std::shared_ptr<const KSTDuplicateSnapshot> m_shownSnapshot;
    QString m_shownCategoryType;
    QList<KSTDuplicateGroup> m_groups;
};
