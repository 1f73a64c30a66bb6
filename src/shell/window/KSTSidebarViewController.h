#pragma once

#include <QList>
#include <QWidget>

class KSTAutoCleanManager;
class KSTCardFrame;
class KSTNavRowView;

/// The sidebar: the product name "Kestrel 3", the tools in the groups "MONITOR" (sections 0,
/// 1), "CLEAN" (2, 3, 4) and "MANAGE" (5, 6), and the health card at the bottom. 224 pixels
/// wide.
///
/// Exactly one row is selected at a time. The Auto Clean row carries the badge "ON" exactly
/// while the manager's isAutomationActive() is true; it follows the manager's
/// "KSTAutoCleanStateDidChangeNotification".
class KSTSidebarViewController : public QWidget
{
    Q_OBJECT

public:
    static constexpr int Width = 224;

    /// Observes @p autoCleanManager, which must outlive the sidebar.
    explicit KSTSidebarViewController(KSTAutoCleanManager &autoCleanManager,
                                      QWidget *parent = nullptr);

    /// Marks the row of @p section selected and every other row not (none for a number
    /// outside the table). Does not tell the delegate.
    void selectSection(int section);
    int selectedSection() const { return m_selectedSection; }

    /// A row was pressed: select it and tell the delegate (didSelectSection).
    void navClicked(int section);

    /// Shows "ON" on the Auto Clean row exactly when automation is active.
    void updateAutoCleanBadge();
    void autoCleanStateDidChange();

    /// One row per section, in section order.
    const QList<KSTNavRowView *> &navRows() const { return m_navRows; }
    KSTNavRowView *autoCleanRow() const { return m_autoCleanRow; }
    KSTCardFrame *healthCard() const { return m_healthCard; }

Q_SIGNALS:
    /// The user chose @p section (the delegate's sidebarDidSelectSection).
    void didSelectSection(int section);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    KSTAutoCleanManager &m_autoCleanManager;
    QList<KSTNavRowView *> m_navRows;
    KSTNavRowView *m_autoCleanRow = nullptr;
    KSTCardFrame *m_healthCard = nullptr;
    int m_selectedSection = -1;
};
