#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QWidget>

class QLabel;
class QVBoxLayout;

/// A card's list of ranked rows, each a name, a detail on the right and a bar as long as its
/// fraction (0..1): the week's most used applications and the folders that changed. Without
/// rows it shows a plain sentence instead.
class KSTReporterBarList : public QWidget
{
    Q_OBJECT

public:
    struct Row
    {
        QString title;
        QString detail;
        double fraction = 0;
        QString colorName; ///< a named palette colour
        QString toolTip;
    };

    /// @p emptyText is what an empty list says.
    explicit KSTReporterBarList(const QString &emptyText, QWidget *parent = nullptr);

    /// What an empty list says from now on.
    void setEmptyText(const QString &emptyText);
    /// Replaces the rows (at most the first @p limit are shown).
    void setRows(const QList<Row> &rows, qsizetype limit);
    /// The titles of the rows shown, in order.
    QStringList shownTitles() const;

private:
    QVBoxLayout *m_rows = nullptr;
    QLabel *m_empty = nullptr;
    QStringList m_titles;
};
