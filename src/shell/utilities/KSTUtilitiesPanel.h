#pragma once

#include "KSTCardFrame.h"

class KSTBusyIndicator;
class QHBoxLayout;
class QLabel;
class QVBoxLayout;

/// One card of the Utilities screen: a tinted symbol, a title and a line under it, room on
/// the right of the header for a figure or a button, and the body below.
class KSTUtilitiesPanel : public KSTCardFrame
{
    Q_OBJECT

public:
    KSTUtilitiesPanel(const QString &symbolName, const QString &colorName, const QString &title,
                      QWidget *parent = nullptr);

protected:
    /// The line under the title.
    QLabel *subtitleLabel() const { return m_subtitle; }
    /// The header's right-hand side (a busy indicator is already there).
    QHBoxLayout *headerTrailing() const { return m_trailing; }
    KSTBusyIndicator *busyIndicator() const { return m_busy; }
    QVBoxLayout *body() const { return m_body; }

    /// Adds a scrolling list of rows, @p spacing apart, to the body; called once.
    void addRowList(int spacing);
    /// The widget rows are made in.
    QWidget *rowContainer() const { return m_rows; }
    /// Adds @p row at the end of the list.
    void appendRow(QWidget *row);
    /// Takes every row out of the list. They are deleted later: a row's own button or menu
    /// may be what is being handled now.
    void clearRows();

private:
    QLabel *m_subtitle = nullptr;
    QHBoxLayout *m_trailing = nullptr;
    KSTBusyIndicator *m_busy = nullptr;
    QVBoxLayout *m_body = nullptr;
    QWidget *m_rows = nullptr;
    QVBoxLayout *m_rowsLayout = nullptr;
};
