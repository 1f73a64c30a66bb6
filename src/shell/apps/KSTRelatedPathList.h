#pragma once

#include <QTreeWidget>

class KSTAppUninstallSelection;

/// What an uninstall of the shown application would take: the bundle first (always part of
/// it, its box cannot be cleared), then each related file with why it matched and its size.
/// The boxes show the selection's ticks: strong matches that may be removed start ticked,
/// weak ones clear, paths that may never be removed cannot be ticked at all.
///
/// The list holds no ticks of its own: a click (anywhere on a row) or Space asks the
/// selection, which may refuse, and the boxes are redrawn from the selection whenever it
/// changes.
class KSTRelatedPathList : public QTreeWidget
{
    Q_OBJECT

public:
    enum Column { PathColumn, ReasonColumn, SizeColumn };

    /// @p selection must outlive the list.
    explicit KSTRelatedPathList(KSTAppUninstallSelection &selection, QWidget *parent = nullptr);

    /// The row of @p path; nullptr when it is not listed.
    QTreeWidgetItem *rowForPath(const QString &path) const;
    /// Asks the selection to flip the tick of @p row; false when it refused.
    bool toggleRow(QTreeWidgetItem *row);

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void selectionDidChange();
    void rebuild();
    void refreshTicks();

    KSTAppUninstallSelection &m_selection;
};
