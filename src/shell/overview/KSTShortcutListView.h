#pragma once

#include <QWidget>

class QPushButton;

/// The Overview's shortcuts to other tools: one row per tool (its symbol, a short name and a
/// chevron). Choosing a row asks for that tool's section; the window decides what to show.
class KSTShortcutListView : public QWidget
{
    Q_OBJECT

public:
    explicit KSTShortcutListView(QWidget *parent = nullptr);

    /// The sections offered, top to bottom.
    static QList<int> shortcutSections();

Q_SIGNALS:
    void didRequestSection(int section);
    /// The last row, the System Report, which is no section.
    void didRequestSystemReport();

private:
    QPushButton *addRow(QWidget *card, const QString &symbolName, const QString &colorName,
                        const QString &title, const QString &detail);
};
