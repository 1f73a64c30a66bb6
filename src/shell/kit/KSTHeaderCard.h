#pragma once

#include "KSTCardFrame.h"

#include "KSTStyle.h"

class KSTBusyIndicator;
class QHBoxLayout;
class QLabel;
class QLayout;
class QPushButton;
class QVBoxLayout;

/// The card at the top of a screen: a tiled symbol, a title over a secondary line (and any
/// further lines), a busy indicator (hidden until started, taking no room meanwhile), then the
/// screen's buttons or other controls, with the standard margins.
class KSTHeaderCard : public KSTCardFrame
{
    Q_OBJECT

public:
    /// What a screen may change of the standard header.
    struct Look
    {
        int symbolSize = 22;
        int tileSize = 44;
        /// Where the symbol sits in the row's height (the centre by default).
        Qt::Alignment symbolAlignment = {};
        const char *titleRole = KSTStyle::Title;
        const char *subtitleRole = KSTStyle::Secondary;
        /// The margin above and below the row (20 on either side).
        int verticalMargin = 14;
        /// The space between the lines of text.
        int lineSpacing = 3;
    };

    /// The labels get @p titleName and @p subtitleName as object names.
    KSTHeaderCard(const QString &symbolName, const QString &colorName, const QString &titleName,
                  const QString &subtitleName, QWidget *parent = nullptr);
    KSTHeaderCard(const QString &symbolName, const QString &colorName, const QString &titleName,
                  const QString &subtitleName, const Look &look, QWidget *parent = nullptr);

    QLabel *titleLabel() const { return m_title; }
    QLabel *subtitleLabel() const { return m_subtitle; }
    KSTBusyIndicator *busyIndicator() const { return m_busy; }

    /// A button after the existing ones, named @p objectName, in a KSTStyle button @p role.
    QPushButton *addButton(const QString &text, const QString &objectName, const char *role);
    /// @p widget (made a child of the card) after the existing ones, placed by @p alignment.
    void addTrailingWidget(QWidget *widget, Qt::Alignment alignment = {});
    /// @p layout after the existing widgets.
    void addTrailingLayout(QLayout *layout);
    /// A further line of text below the others, in the KSTStyle role @p role.
    QLabel *addTextLine(const char *role);

private:
    QHBoxLayout *m_layout = nullptr;
    QVBoxLayout *m_texts = nullptr;
    QLabel *m_title = nullptr;
    QLabel *m_subtitle = nullptr;
    KSTBusyIndicator *m_busy = nullptr;
};
