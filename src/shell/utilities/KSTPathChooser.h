#pragma once

#include <QStringList>

class QWidget;

/// What a "Choose…" button of the Utilities asks with: a small menu under the button,
/// "Files…" or "Folder…" (a file dialog cannot offer both at once), then the dialog.
namespace KSTPathChooser {

/// The chosen paths; empty when the menu or the dialog was cancelled.
QStringList ask(QWidget *button, const QString &title);

} // namespace KSTPathChooser
