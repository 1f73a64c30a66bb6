#pragma once

#include "KSTAppInventorySnapshot.h"

#include <QAbstractTableModel>
#include <QIcon>
#include <QList>

/// The rows of the App Manage list: one application each, in the inventory's order, with
/// the columns below as display texts (the shared formats of sizes, dates and sources) and
/// as sort keys (SortRole: names and labels as text, dates as date-times, sizes as numbers),
/// so that a sort proxy orders by value, not by the text shown.
///
/// setApps() keeps the rows (and so the view's selection and scroll position) when the same
/// applications arrive again in the same order with new figures, and resets the rows when
/// the list itself changed.
class KSTAppListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    /// The icon is drawn in the name's cell.
    enum Column {
        NameColumn,
        VersionColumn,
        DeveloperColumn,
        CategoryColumn,
        ArchitectureColumn,
        SourceColumn,
        InstalledColumn,
        LastOpenedColumn,
        SizeColumn,
        ColumnCount
    };
    enum Role {
        SortRole = Qt::UserRole + 1,
        BundlePathRole, ///< the row's bundle path, whatever the column
    };

    explicit KSTAppListModel(QObject *parent = nullptr);

    void setApps(const QList<KSTInstalledAppRecord> &apps);
    const QList<KSTInstalledAppRecord> &apps() const { return m_apps; }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    /// What the size column shows: the total with related files when known, else the
    /// bundle's size, "—" while it is not computed.
    static QString sizeText(const KSTInstalledAppRecord &app);
    /// The bundle's icon file as KSTIconLoader draws it (read when first shown, cached),
    /// else the generic application symbol, also while the file is being read: the rows
    /// showing it are redrawn once it has been.
    QIcon iconFor(const KSTInstalledAppRecord &app) const;

private:
    void iconLoaded(const QString &path);

    static QVariant displayText(const KSTInstalledAppRecord &app, int column);
    static QVariant sortKey(const KSTInstalledAppRecord &app, int column);

    QList<KSTInstalledAppRecord> m_apps;
};
