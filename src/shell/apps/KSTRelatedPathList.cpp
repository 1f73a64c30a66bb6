#include "KSTRelatedPathList.h"

#include "KSTAppManageStyle.h"
#include "KSTAppUninstallSelection.h"
#include "KSTFormatting.h"
#include "KSTRelatedPathDelegate.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QMouseEvent>

using Delegate = KSTRelatedPathDelegate;

namespace {

constexpr int SizeColumnWidth = 84;

QString toolTipFor(const KSTAppUninstallRow &row)
{
    if (row.isBundle)
        return QStringLiteral("The application itself: always moved to the Trash.");
    if (!row.isRemovable)
        return QStringLiteral("Kestrel never removes files in this place; it is listed only.");
    if (!row.isTickable)
        return QStringLiteral("Another copy of this app is installed and may use this file.");
    if (!row.isStrongMatch)
        return QStringLiteral("A weak match: it may belong to another app. Tick it only if it "
                              "is this app's.");
    return QStringLiteral("Belongs to this app.");
}

QString reasonFor(const KSTAppUninstallRow &row)
{
    if (row.isBundle)
        return QStringLiteral("Application bundle");
    // What decides the box comes first, so that a narrow column still shows it.
    if (!row.isRemovable)
        return QStringLiteral("Never removed · ") + row.explanation;
    if (!row.isStrongMatch)
        return QStringLiteral("Weak match · ") + row.explanation;
    return row.explanation;
}

} // namespace

KSTRelatedPathList::KSTRelatedPathList(KSTAppUninstallSelection &selection, QWidget *parent)
    : QTreeWidget(parent), m_selection(selection)
{
    setObjectName(QStringLiteral("relatedPathList"));
    setColumnCount(3);
    setHeaderLabels(
        {QStringLiteral("Item"), QStringLiteral("Matched because"), QStringLiteral("Size")});
    header()->setSectionsMovable(false);
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(PathColumn, QHeaderView::Stretch);
    header()->setSectionResizeMode(ReasonColumn, QHeaderView::Interactive);
    header()->setSectionResizeMode(SizeColumn, QHeaderView::Fixed);
    header()->resizeSection(SizeColumn, SizeColumnWidth);
    headerItem()->setTextAlignment(SizeColumn, Qt::AlignRight | Qt::AlignVCenter);
    setRootIsDecorated(false);
    setIndentation(0);
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::NoSelection);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setMouseTracking(true);
    setItemDelegate(new Delegate(this));
    KSTAppManageStyle::follow(this, &KSTAppManageStyle::itemViewStyleSheet);
    connect(&m_selection, &KSTAppUninstallSelection::selectionChanged, this,
            &KSTRelatedPathList::selectionDidChange);
    connect(&m_selection, &KSTAppUninstallSelection::uninstallingChanged, this,
            &KSTRelatedPathList::refreshTicks);
    rebuild();
}

QTreeWidgetItem *KSTRelatedPathList::rowForPath(const QString &path) const
{
    for (int index = 0; index < topLevelItemCount(); ++index) {
        QTreeWidgetItem *row = topLevelItem(index);
        if (row->data(PathColumn, Delegate::PathRole).toString() == path)
            return row;
    }
    return nullptr;
}

bool KSTRelatedPathList::toggleRow(QTreeWidgetItem *row)
{
    if (!row)
        return false;
    const QString path = row->data(PathColumn, Delegate::PathRole).toString();
    return m_selection.setTicked(path, !m_selection.isTicked(path));
}

void KSTRelatedPathList::selectionDidChange()
{
    // A tick keeps the rows (and the scroll position); another app rebuilds them.
    const QList<KSTAppUninstallRow> rows = m_selection.rows();
    bool same = rows.size() == topLevelItemCount();
    for (int index = 0; same && index < rows.size(); ++index)
        same = topLevelItem(index)->data(PathColumn, Delegate::PathRole).toString() ==
               rows.at(index).path;
    if (same)
        refreshTicks();
    else
        rebuild();
}

void KSTRelatedPathList::rebuild()
{
    clear();
    if (m_selection.app().bundlePath.isEmpty())
        return;
    for (const KSTAppUninstallRow &record : m_selection.rows()) {
        auto *row = new QTreeWidgetItem(this);
        // Not user-checkable: a tick goes to the selection, never straight into the item.
        row->setFlags(Qt::ItemIsEnabled);
        row->setText(PathColumn, record.displayPath);
        row->setText(ReasonColumn, reasonFor(record));
        row->setText(SizeColumn, record.bytes == 0 ? QStringLiteral("—")
                                                   : KSTFormatting::formatBytes(record.bytes));
        row->setData(PathColumn, Delegate::PathRole, record.path);
        row->setData(PathColumn, Delegate::RemovableRole, record.isRemovable);
        const QString tip = toolTipFor(record);
        for (int column = 0; column < columnCount(); ++column)
            row->setToolTip(column,
                            column == PathColumn ? record.path + QLatin1Char('\n') + tip : tip);
    }
    refreshTicks();
}

void KSTRelatedPathList::refreshTicks()
{
    const QList<KSTAppUninstallRow> rows = m_selection.rows();
    for (int index = 0; index < topLevelItemCount() && index < rows.size(); ++index) {
        QTreeWidgetItem *row = topLevelItem(index);
        row->setData(PathColumn, Delegate::TickedRole, rows.at(index).isTicked);
        row->setData(PathColumn, Delegate::TickableRole,
                     rows.at(index).isTickable && !m_selection.isUninstalling());
    }
    viewport()->update();
}

void KSTRelatedPathList::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && isEnabled())
        toggleRow(itemAt(event->position().toPoint()));
    QTreeWidget::mouseReleaseEvent(event);
}

void KSTRelatedPathList::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space) {
        toggleRow(currentItem());
        event->accept();
        return;
    }
    QTreeWidget::keyPressEvent(event);
}

void KSTRelatedPathList::resizeEvent(QResizeEvent *event)
{
    QTreeWidget::resizeEvent(event);
    // The reason gets two fifths of the room; the path the rest.
    header()->resizeSection(ReasonColumn,
                            qMax(140, (viewport()->width() - SizeColumnWidth) * 2 / 5));
}
