#include "KSTUtilitiesAlerts.h"

#include <QMessageBox>
#include <QPushButton>

namespace {

const QString Title = QStringLiteral("Utilities");

bool askWithBox(QWidget *parent, const KSTUtilitiesAlerts::Confirmation &confirmation)
{
    const std::unique_ptr<QMessageBox> box =
        KSTUtilitiesAlerts::confirmationBox(parent, confirmation);
    box->exec();
    return box->clickedButton() == box->defaultButton();
}

void tellWithBox(QWidget *parent, const QString &message, const QString &informativeText,
                 bool warning)
{
    KSTUtilitiesAlerts::messageBox(parent, message, informativeText, warning)->exec();
}

} // namespace

KSTUtilitiesAlerts::KSTUtilitiesAlerts() : m_confirm(&askWithBox), m_tell(&tellWithBox) {}

bool KSTUtilitiesAlerts::confirm(QWidget *parent, const Confirmation &confirmation) const
{
    return m_confirm && m_confirm(parent, confirmation);
}

void KSTUtilitiesAlerts::tell(QWidget *parent, const QString &message,
                              const QString &informativeText, bool warning) const
{
    if (m_tell)
        m_tell(parent, message, informativeText, warning);
}

void KSTUtilitiesAlerts::setPresenters(ConfirmationPresenter confirmation, MessagePresenter message)
{
    m_confirm = std::move(confirmation);
    m_tell = std::move(message);
}

std::unique_ptr<QMessageBox> KSTUtilitiesAlerts::confirmationBox(QWidget *parent,
                                                                 const Confirmation &confirmation)
{
    auto box = std::make_unique<QMessageBox>(parent);
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(Title);
    box->setTextFormat(Qt::PlainText); // texts name the user's files
    box->setText(confirmation.message);
    box->setInformativeText(confirmation.detailText.isEmpty()
                                ? confirmation.informativeText
                                : confirmation.informativeText + QStringLiteral("\n\n") +
                                      confirmation.detailText);
    QPushButton *accept = box->addButton(confirmation.acceptTitle, QMessageBox::AcceptRole);
    QPushButton *cancel = box->addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(accept);
    box->setEscapeButton(cancel);
    return box;
}

std::unique_ptr<QMessageBox> KSTUtilitiesAlerts::messageBox(QWidget *parent, const QString &message,
                                                            const QString &informativeText,
                                                            bool warning)
{
    auto box = std::make_unique<QMessageBox>(parent);
    box->setIcon(warning ? QMessageBox::Warning : QMessageBox::Information);
    box->setWindowTitle(Title);
    box->setTextFormat(Qt::PlainText); // texts name the user's files
    box->setText(message);
    box->setInformativeText(informativeText);
    box->setStandardButtons(QMessageBox::Ok);
    return box;
}
