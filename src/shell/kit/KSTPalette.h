#pragma once

#include <QColor>
#include <QObject>
#include <QString>
#include <QStringList>

/// The window's colours: the named colours the engines and screens refer to ("blue",
/// "emerald", …, the colour keys of the storage categories among them), each with a light and
/// a dark variant, and the surface and text colours of the two appearances.
///
/// The appearance follows the system colour scheme unless it is overridden (the screenshot
/// option does, so documentation pictures do not depend on the desktop they were taken on).
/// Colours are read at paint time, so a widget that paints from here follows a change as soon
/// as it repaints; appearanceChanged() says when to repaint and restyle.
///
/// Main thread only.
class KSTPalette : public QObject
{
    Q_OBJECT

public:
    enum class Appearance { System, Light, Dark };

    static KSTPalette &instance();

    /// Overrides the system's scheme (Light, Dark) or follows it again (System).
    static void setAppearance(Appearance appearance);
    static Appearance appearance();
    /// Whether the dark variants are in force now.
    static bool isDark();

    /// "zinc", "blue", "emerald", "violet", "purple", "rose", "sky", "amber", "orange".
    static QStringList colorNames();
    /// The named colour in the current appearance; zinc for a name not in colorNames().
    static QColor color(const QString &name);

    static QColor windowBackground();
    static QColor sidebarBackground();
    static QColor cardBackground();
    static QColor cardBorder();
    static QColor separator();
    static QColor primaryText();
    static QColor secondaryText();
    static QColor tertiaryText();
    static QColor accent();
    /// A row under the pointer, and the selected row of the sidebar.
    static QColor hoverFill();
    static QColor selectionFill();
    /// The empty part of a bar or gauge.
    static QColor trackFill();

    /// "#rrggbb" or "rgba(r, g, b, a)" for a style sheet.
    static QString css(const QColor &color);

Q_SIGNALS:
    /// The dark/light decision may have changed: repaint, restyle.
    void appearanceChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    KSTPalette();
    static bool systemIsDark();

    Appearance m_appearance = Appearance::System;
    bool m_lastDark = false;
};
