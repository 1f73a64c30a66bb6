#pragma once

#include <QString>

#include <memory>

class QMessageBox;
class QWidget;
struct KSTAppUninstallOutcome;

/// The two alerts of an uninstall: the question before it ("Uninstall “Slack”?" with the item
/// count and size) and the outcome when something went wrong (a warning when nothing moved;
/// when some items stayed, the paths left in place are listed).
class KSTAppManageAlerts
{
public:
    /// The question, "Uninstall" and "Cancel" (the default is Uninstall, Escape cancels).
    static std::unique_ptr<QMessageBox> confirmationBox(QWidget *parent, const QString &message,
                                                        const QString &informativeText);
    /// Asks modally; true when the user chose "Uninstall".
    static bool askToUninstall(QWidget *parent, const QString &message,
                               const QString &informativeText);
    /// The outcome alert, or nullptr when everything chosen went to the Trash.
    static std::unique_ptr<QMessageBox> outcomeBox(QWidget *parent,
                                                   const KSTAppUninstallOutcome &outcome);
    /// The error's description, followed by the paths left in place, one a line.
    static QString outcomeText(const KSTAppUninstallOutcome &outcome);
    static void tellOutcome(QWidget *parent, const KSTAppUninstallOutcome &outcome);
};
