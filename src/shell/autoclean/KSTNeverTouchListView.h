#pragma once

#include <QStringList>
#include <QWidget>

class QLabel;
class QPushButton;
class QVBoxLayout;

/// The Auto Clean screen's never-touch list: one row per path (in the manager's display form,
/// "~/Documents") with a button to remove it, and a button to add a folder. The view only
/// reports what the user asked for; the screen asks the manager and shows its answer.
class KSTNeverTouchListView : public QWidget
{
    Q_OBJECT

public:
    explicit KSTNeverTouchListView(QWidget *parent = nullptr);

    void setPaths(const QStringList &paths);
    QStringList paths() const { return m_paths; }
    /// A one-line notice under the list (why an addition was refused); empty hides it.
    void setNotice(const QString &notice);
    QString notice() const;

    /// The remove button of @p path's row; nullptr when the path is not listed.
    QPushButton *removeButtonForPath(const QString &path) const;

Q_SIGNALS:
    void addRequested();
    void removeRequested(const QString &path);

private:
    void refreshIcons();

    QVBoxLayout *m_rows = nullptr;
    QLabel *m_notice = nullptr;
    QPushButton *m_addButton = nullptr;
    QStringList m_paths;
};
