#include "KSTAppManageStyle.h"

#include "KSTPalette.h"

#include <QWidget>

QString KSTAppManageStyle::itemViewStyleSheet()
{
    using P = KSTPalette;
    return QStringLiteral(
               "QTreeView { background: transparent; border: none; outline: 0; color: %1; "
               "font-size: 13px; }\n"
               "QTreeView::item { padding: 3px 4px; border: none; }\n"
               "QTreeView::item:hover { background: %2; }\n"
               "QTreeView::item:selected { background: %3; color: %1; }\n"
               "QTreeView::item:disabled { color: %4; }\n"
               "QHeaderView { background: transparent; border: none; }\n"
               "QHeaderView::section { background: transparent; color: %4; border: none; "
               "border-bottom: 1px solid %5; padding: 4px 6px; font-size: 11px; "
               "font-weight: 600; }\n"
               "QHeaderView::section:hover { color: %1; }\n")
        .arg(P::css(P::primaryText()), P::css(P::hoverFill()), P::css(P::selectionFill()),
             P::css(P::tertiaryText()), P::css(P::separator()));
}

QString KSTAppManageStyle::filterStyleSheet()
{
    using P = KSTPalette;
    return QStringLiteral("QLineEdit { background: %1; color: %2; border: 1px solid %3; "
                          "border-radius: 7px; padding: 5px 9px; font-size: 13px; }\n"
                          "QLineEdit:focus { border-color: %4; }\n")
        .arg(P::css(P::windowBackground()), P::css(P::primaryText()), P::css(P::separator()),
             P::css(P::accent()));
}

void KSTAppManageStyle::follow(QWidget *widget, QString (*styleSheet)())
{
    widget->setStyleSheet(styleSheet());
    QObject::connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, widget,
                     [widget, styleSheet] { widget->setStyleSheet(styleSheet()); });
}
