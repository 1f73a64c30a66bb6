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

private:
    QLabel *m_subtitle = nullptr;
    QHBoxLayout *m_trailing = nullptr;
    KSTBusyIndicator *m_busy = nullptr;
    QVBoxLayout *m_body = nullptr;
};
