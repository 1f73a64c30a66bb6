#pragma once

#include <QString>

#include <memory>

class QMessageBox;
class QWidget;
struct KSTCleanUpOutcome;

/// The alerts of the Clean Up screen, built as the Mac's alerts are worded: the confirmation
/// before a removal and the result after it. The builders return the box unshown, so its
/// texts and buttons can be checked without anyone answering it; ask() and tell() run them.
class KSTCleanUpAlerts
{
public:
    /// @p message ("Clean 1.2 GB?") and @p informativeText, a warning with the buttons
    /// "Clean" (first, the default) and "Cancel" (also what Escape does).
    static std::unique_ptr<QMessageBox> confirmationBox(QWidget *parent, const QString &message,
                                                        const QString &informativeText);
    /// Runs confirmationBox(); true only when "Clean" was chosen.
    static bool askToClean(QWidget *parent, const QString &message, const QString &informativeText);

    /// The result alert the outcome asks for: a warning for "Clean failed", an informational
    /// alert for a partial clean, each with one "OK"; nullptr when no alert is due.
    static std::unique_ptr<QMessageBox> outcomeBox(QWidget *parent,
                                                   const KSTCleanUpOutcome &outcome);
    /// Runs outcomeBox() when there is one.
    static void tellOutcome(QWidget *parent, const KSTCleanUpOutcome &outcome);
};
