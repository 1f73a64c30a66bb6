#pragma once

#include "KSTCardFrame.h"

class KSTBusyIndicator;
class QHBoxLayout;
class QLabel;
class QPushButton;

/// The card at the top of a report screen: a tiled symbol, a title over a secondary line, a
/// busy indicator, then the screen's buttons, with the standard margins.
class KSTHeaderCard : public KSTCardFrame
{
    Q_OBJECT

public:
    /// The labels get @p titleName and @p subtitleName as object names.
    KSTHeaderCard(const QString &symbolName, const QString &colorName, const QString &titleName,
                  const QString &subtitleName, QWidget *parent = nullptr);

    QLabel *titleLabel() const { return m_title; }
    QLabel *subtitleLabel() const { return m_subtitle; }
    KSTBusyIndicator *busyIndicator() const { return m_busy; }

    /// A button after the existing ones, named @p objectName, in a KSTStyle button @p role.
    QPushButton *addButton(const QString &text, const QString &objectName, const char *role);

private:
    QHBoxLayout *m_layout = nullptr;
    QLabel *m_title = nullptr;
    QLabel *m_subtitle = nullptr;
    KSTBusyIndicator *m_busy = nullptr;
};
