#pragma once

#include <QString>

class QWidget;

/// The look of App Manage's item views and its filter field in the current appearance: the
/// application style sheet styles labels and buttons only, and these widgets sit on a card.
class KSTAppManageStyle
{
public:
    /// A list on a card: transparent surface, hover and selection fills, header and check
    /// boxes in the palette's colours.
    static QString itemViewStyleSheet();
    /// The name filter's field.
    static QString filterStyleSheet();
    /// Applies @p styleSheet() to @p widget now and whenever the appearance changes.
    static void follow(QWidget *widget, QString (*styleSheet)());
};
