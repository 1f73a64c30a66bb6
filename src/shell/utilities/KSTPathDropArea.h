#pragma once

#include <QStringList>
#include <QWidget>

class QMimeData;

/// A dashed area that takes files, folders or volumes dropped from a file manager (local
/// paths only) and shows what it holds: its prompt while empty, else the names. It only
/// collects paths; the panel it sits in decides what happens to them.
class KSTPathDropArea : public QWidget
{
    Q_OBJECT

public:
    KSTPathDropArea(const QString &prompt, QWidget *parent = nullptr);

    /// Replaces the paths (an empty list shows the prompt again).
    void setPaths(const QStringList &paths);
    QStringList paths() const { return m_paths; }
    /// What the area reads now: the prompt, or "N item(s): a, b, …".
    QString text() const;

    QSize sizeHint() const override;

Q_SIGNALS:
    /// The user dropped paths (they are the area's paths now).
    void pathsDropped(const QStringList &paths);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    static QStringList localPaths(const QMimeData *mime);

    QString m_prompt;
    QStringList m_paths;
    bool m_hovered = false;
};
