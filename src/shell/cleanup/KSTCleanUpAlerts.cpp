#include "KSTCleanUpAlerts.h"

#include "KSTCleanUpSelectionModel.h"

#include <QMessageBox>
#include <QPushButton>

std::unique_ptr<QMessageBox> KSTCleanUpAlerts::confirmationBox(QWidget *parent,
                                                               const QString &message,
                                                               const QString &informativeText)
{
    auto box = std::make_unique<QMessageBox>(parent);
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(QStringLiteral("Clean Up"));
    box->setText(message);
    box->setInformativeText(informativeText);
    QPushButton *clean = box->addButton(QStringLiteral("Clean"), QMessageBox::AcceptRole);
    QPushButton *cancel = box->addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(clean);
    box->setEscapeButton(cancel);
    return box;
}

bool KSTCleanUpAlerts::askToClean(QWidget *parent, const QString &message,
                                  const QString &informativeText)
{
    const std::unique_ptr<QMessageBox> box = confirmationBox(parent, message, informativeText);
    box->exec();
    return box->clickedButton() == box->defaultButton();
}

std::unique_ptr<QMessageBox> KSTCleanUpAlerts::outcomeBox(QWidget *parent,
                                                          const KSTCleanUpOutcome &outcome)
{
    if (outcome.alert == KSTCleanUpOutcome::Alert::None)
        return nullptr;
    auto box = std::make_unique<QMessageBox>(parent);
    box->setIcon(outcome.alert == KSTCleanUpOutcome::Alert::Failed ? QMessageBox::Warning
                                                                   : QMessageBox::Information);
    box->setWindowTitle(QStringLiteral("Clean Up"));
    box->setText(outcome.message);
    box->setInformativeText(outcome.informativeText);
    box->setStandardButtons(QMessageBox::Ok);
    return box;
}

void KSTCleanUpAlerts::tellOutcome(QWidget *parent, const KSTCleanUpOutcome &outcome)
{
    if (const std::unique_ptr<QMessageBox> box = outcomeBox(parent, outcome))
        box->exec();
}
