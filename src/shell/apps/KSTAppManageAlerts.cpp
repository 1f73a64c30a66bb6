#include "KSTAppManageAlerts.h"

#include "KSTAppUninstallSelection.h"

#include <QMessageBox>
#include <QPushButton>

namespace {

const QString Title = QStringLiteral("App Manage");
// Fallback when an error arrives without a description.
const QString UnknownFailure = QStringLiteral("The app could not be uninstalled.");

} // namespace

std::unique_ptr<QMessageBox> KSTAppManageAlerts::confirmationBox(QWidget *parent,
                                                                 const QString &message,
                                                                 const QString &informativeText)
{
    auto box = std::make_unique<QMessageBox>(parent);
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(Title);
    box->setText(message);
    box->setInformativeText(informativeText);
    QPushButton *uninstall = box->addButton(QStringLiteral("Uninstall"), QMessageBox::AcceptRole);
    QPushButton *cancel = box->addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(uninstall);
    box->setEscapeButton(cancel);
    return box;
}

bool KSTAppManageAlerts::askToUninstall(QWidget *parent, const QString &message,
                                        const QString &informativeText)
{
    const std::unique_ptr<QMessageBox> box = confirmationBox(parent, message, informativeText);
    box->exec();
    return box->clickedButton() == box->defaultButton();
}

QString KSTAppManageAlerts::outcomeText(const KSTAppUninstallOutcome &outcome)
{
    QString text = outcome.informativeText.isEmpty() ? UnknownFailure : outcome.informativeText;
    if (!outcome.failedPaths.isEmpty()) {
        text += QStringLiteral("\n\nLeft in place:");
        for (const QString &path : outcome.failedPaths)
            text += QStringLiteral("\n") + path;
    }
    return text;
}

std::unique_ptr<QMessageBox> KSTAppManageAlerts::outcomeBox(QWidget *parent,
                                                            const KSTAppUninstallOutcome &outcome)
{
    if (outcome.alert == KSTAppUninstallOutcome::Alert::None)
        return nullptr;
    auto box = std::make_unique<QMessageBox>(parent);
    box->setIcon(outcome.alert == KSTAppUninstallOutcome::Alert::Failed ? QMessageBox::Warning
                                                                        : QMessageBox::Information);
    box->setWindowTitle(Title);
    box->setText(outcome.message);
    box->setInformativeText(outcomeText(outcome));
    box->setStandardButtons(QMessageBox::Ok);
    return box;
}

void KSTAppManageAlerts::tellOutcome(QWidget *parent, const KSTAppUninstallOutcome &outcome)
{
    if (const std::unique_ptr<QMessageBox> box = outcomeBox(parent, outcome))
        box->exec();
}
