#pragma once

#include <QPointer>
#include <QString>
#include <QWidget>

class QLabel;

/// The frame around a tool's screen: a toolbar with the tool's title over a soft gradient,
/// and the screen below it, filling the rest.
///
/// The shell does not own its screen for good: the window makes a new shell each time it
/// shows a section and takes the screen back (takeChild()) before it drops the old shell,
/// so the screen, created once, keeps its state.
class KSTContentShellViewController : public QWidget
{
    Q_OBJECT

public:
    static constexpr int ToolbarHeight = 56;

    /// Wraps @p child (reparented into the shell) under @p title.
    KSTContentShellViewController(QWidget *child, const QString &title, QWidget *parent = nullptr);
    /// A child still in the shell is destroyed with it; take it back first to keep it.
    ~KSTContentShellViewController() override;

    QWidget *childController() const { return m_child; }
    QString toolbarTitle() const { return m_title; }

    /// Hides the child and gives it to @p newParent; the shell is empty afterwards.
    QWidget *takeChild(QWidget *newParent);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QPointer<QWidget> m_child;
    QString m_title;
    QLabel *m_titleLabel = nullptr;
};
