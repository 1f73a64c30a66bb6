#pragma once

#include <QFont>
#include <QString>

class QLabel;
class QPushButton;
class QWidget;

/// The window's typography and the style sheet of its standard widgets, built from
/// KSTPalette. Sizes are in pixels, as the Mac's points are, so a screen keeps its proportions
/// on a desktop whose fonts are scaled otherwise.
///
/// Labels and buttons take a role (the dynamic property "kstRole") that the style sheet
/// styles; custom-painted widgets take their fonts from font().
class KSTStyle
{
public:
    /// Text roles of labels.
    static constexpr const char *LargeTitle = "largeTitle";   // 22 px bold
    static constexpr const char *Title = "title";             // 17 px semibold
    static constexpr const char *Headline = "headline";       // 14 px semibold
    static constexpr const char *Body = "body";               // 13 px
    static constexpr const char *Secondary = "secondary";     // 12 px, secondary colour
    static constexpr const char *Caption = "caption";         // 11 px, tertiary colour
    static constexpr const char *Value = "value";             // 24 px semibold
    static constexpr const char *GroupHeader = "groupHeader"; // 11 px semibold, tertiary
    /// Button roles.
    static constexpr const char *PrimaryButton = "primary";
    static constexpr const char *SecondaryButton = "secondaryButton";
    static constexpr const char *PlainButton = "plain";

    /// The family the window uses: the platform's own on the Mac; elsewhere Inter when it is
    /// installed, else the desktop's default.
    static QString fontFamily();
    static QFont font(int pixelSize, QFont::Weight weight = QFont::Normal);

    /// The application-wide style sheet for the current appearance.
    static QString applicationStyleSheet();
    /// Sets the application font and style sheet; call again when the appearance changes.
    static void applyToApplication();

    /// A label of @p role with @p text.
    static QLabel *label(const QString &text, const char *role, QWidget *parent = nullptr);
    /// Gives @p button the role (and a pointing-hand cursor).
    static void setButtonRole(QPushButton *button, const char *role);
};
