#include "KSTAppListModel.h"

#include "KSTFormatting.h"
#include "KSTIconLoader.h"
#include "KSTLayoutWords.h"
#include "KSTPalette.h"

#include <QBrush>

namespace {

bool sameApplications(const QList<KSTInstalledAppRecord> &a, const QList<KSTInstalledAppRecord> &b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype index = 0; index < a.size(); ++index) {
        if (a.at(index).bundlePath != b.at(index).bundlePath)
            return false;
    }
    return true;
}

QDateTime dateKey(const std::optional<QDateTime> &date)
{
    return date ? *date : QDateTime();
}

} // namespace

KSTAppListModel::KSTAppListModel(QObject *parent) : QAbstractTableModel(parent)
{
    connect(&KSTIconLoader::shared(), &KSTIconLoader::iconLoaded, this,
            &KSTAppListModel::iconLoaded);
}

void KSTAppListModel::iconLoaded(const QString &path)
{
    for (int row = 0; row < m_apps.size(); ++row) {
        if (m_apps.at(row).icon == path) {
            const QModelIndex cell = index(row, NameColumn);
            Q_EMIT dataChanged(cell, cell, {Qt::DecorationRole});
        }
    }
}

void KSTAppListModel::setApps(const QList<KSTInstalledAppRecord> &apps)
{
    if (sameApplications(m_apps, apps)) {
        m_apps = apps;
        if (!m_apps.isEmpty())
            Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
        return;
    }
    beginResetModel();
    m_apps = apps;
    endResetModel();
}

int KSTAppListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_apps.size());
}

int KSTAppListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant KSTAppListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_apps.size())
        return {};
    const KSTInstalledAppRecord &app = m_apps.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return displayText(app, index.column());
    case Qt::DecorationRole:
        return index.column() == NameColumn ? QVariant(iconFor(app)) : QVariant();
    case Qt::ToolTipRole:
        if (index.column() == LastOpenedColumn && app.isUnused())
            return QStringLiteral("Not opened for 30 days: unused");
        return index.column() == NameColumn ? QVariant(app.bundlePath) : QVariant();
    case Qt::ForegroundRole:
        // An unused app's date stands out: the first candidates for an uninstall.
        if (index.column() == LastOpenedColumn && app.isUnused())
            return QBrush(KSTPalette::color(QStringLiteral("orange")));
        return {};
    case Qt::TextAlignmentRole:
        return index.column() == SizeColumn ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                                            : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    case SortRole:
        return sortKey(app, index.column());
    case BundlePathRole:
        return app.bundlePath;
    default:
        return {};
    }
}

QVariant KSTAppListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole)
        return section == SizeColumn ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                                     : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    if (role == Qt::InitialSortOrderRole) {
        // Figures and dates open with the largest and the latest; texts from A.
        const bool descending =
            section == SizeColumn || section == InstalledColumn || section == LastOpenedColumn;
        return int(descending ? Qt::DescendingOrder : Qt::AscendingOrder);
    }
    if (role != Qt::DisplayRole)
        return {};
    switch (section) {
    case NameColumn:
        return QStringLiteral("Name");
    case VersionColumn:
        return QStringLiteral("Version");
    case DeveloperColumn:
        return QStringLiteral("Developer");
    case CategoryColumn:
        return QStringLiteral("Category");
    case ArchitectureColumn:
        return QStringLiteral("Architecture");
    case SourceColumn:
        return QStringLiteral("Source");
    case InstalledColumn:
        return QStringLiteral("Installed");
    case LastOpenedColumn:
        return QStringLiteral("Last Opened");
    case SizeColumn:
        return QStringLiteral("Size");
    default:
        return QString();
    }
}

QString KSTAppListModel::sizeText(const KSTInstalledAppRecord &app)
{
    const quint64 bytes = app.totalSizeBytes != 0 ? app.totalSizeBytes : app.bundleSizeBytes;
    return bytes == 0 ? QStringLiteral("—") : KSTFormatting::formatBytes(bytes);
}

QIcon KSTAppListModel::iconFor(const KSTInstalledAppRecord &app) const
{
    return KSTIconLoader::shared().applicationIcon(app.icon);
}

QVariant KSTAppListModel::displayText(const KSTInstalledAppRecord &app, int column)
{
    switch (column) {
    case NameColumn:
        return app.name;
    case VersionColumn:
        return app.version;
    case DeveloperColumn:
        return app.developer;
    case CategoryColumn:
        return app.category;
    case ArchitectureColumn:
        return app.architectureLabel;
    case SourceColumn:
        return KSTLayoutWords::current().appSourceLabel(app.source);
    case InstalledColumn:
        return KSTFormatting::formatAppManageInstalledDate(app.installedDate);
    case LastOpenedColumn:
        return KSTFormatting::formatAppManageLastOpened(app.lastOpenedDate);
    case SizeColumn:
        return sizeText(app);
    default:
        return {};
    }
}

QVariant KSTAppListModel::sortKey(const KSTInstalledAppRecord &app, int column)
{
    switch (column) {
    case InstalledColumn:
        return dateKey(app.installedDate);
    case LastOpenedColumn:
        return dateKey(app.lastOpenedDate);
    case SizeColumn:
        return qulonglong(app.totalSizeBytes != 0 ? app.totalSizeBytes : app.bundleSizeBytes);
    default:
        // Texts sort as they read.
        return displayText(app, column);
    }
}
