#include "KSTEncryptionPanel.h"

#include "KSTBusyIndicator.h"
#include "KSTPalette.h"
#include "KSTPathChooser.h"
#include "KSTPathDropArea.h"
#include "KSTStyle.h"
#include "KSTUtilitiesAlerts.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTimer>

namespace {

QStringList pickToEncrypt(QWidget *button)
{
    return KSTPathChooser::ask(button, QStringLiteral("Choose Items to Encrypt"));
}

QLineEdit *passwordField(const QString &placeholder, const QString &objectName, QWidget *parent)
{
    auto *field = new QLineEdit(parent);
    field->setObjectName(objectName);
    field->setEchoMode(QLineEdit::Password);
    field->setPlaceholderText(placeholder);
    // Nothing typed here may reach a clipboard, an input method's memory or an undo stack.
    field->setAttribute(Qt::WA_InputMethodEnabled, false);
    field->setContextMenuPolicy(Qt::NoContextMenu);
    return field;
}

} // namespace

KSTEncryptionPanel::KSTEncryptionPanel(KSTUtilitiesManager &manager,
                                       const KSTUtilitiesAlerts &alerts, QWidget *parent)
    : KSTUtilitiesPanel(QStringLiteral("lock.shield"), QStringLiteral("blue"),
                        QStringLiteral("Encrypted Archives"), parent),
      m_model(manager), m_alerts(alerts), m_picker(&pickToEncrypt)
{
    setObjectName(QStringLiteral("encryptionPanel"));
    subtitleLabel()->setText(QStringLiteral("Password-protected .zip files"));

    m_dropArea = new KSTPathDropArea(KSTEncryptionModel::dropAreaText(), this);
    m_dropArea->setObjectName(QStringLiteral("encryptDropArea"));
    connect(m_dropArea, &KSTPathDropArea::pathsDropped, this, &KSTEncryptionPanel::setPaths);
    body()->addWidget(m_dropArea, 1);

    auto *fields = new QHBoxLayout;
    fields->setSpacing(8);
    m_password = passwordField(QStringLiteral("Password"), QStringLiteral("encryptPassword"), this);
    m_confirmation = passwordField(QStringLiteral("Confirm password"),
                                   QStringLiteral("encryptConfirmation"), this);
    fields->addWidget(m_password);
    fields->addWidget(m_confirmation);
    body()->addLayout(fields);

    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    m_status = KSTStyle::label({}, KSTStyle::Secondary, this);
    m_status->setObjectName(QStringLiteral("encryptStatus"));
    m_status->setTextFormat(Qt::PlainText); // names paths and error texts
    m_status->setWordWrap(true);
    buttons->addWidget(m_status, 1);
    m_choose = new QPushButton(QStringLiteral("Choose…"), this);
    m_choose->setObjectName(QStringLiteral("encryptChooseButton"));
    KSTStyle::setButtonRole(m_choose, KSTStyle::SecondaryButton);
    connect(m_choose, &QPushButton::clicked, this, &KSTEncryptionPanel::choose);
    buttons->addWidget(m_choose);
    m_encrypt = new QPushButton(KSTEncryptionModel::encryptButtonTitle(), this);
    m_encrypt->setObjectName(QStringLiteral("encryptButton"));
    KSTStyle::setButtonRole(m_encrypt, KSTStyle::PrimaryButton);
    connect(m_encrypt, &QPushButton::clicked, this, &KSTEncryptionPanel::requestEncrypt);
    buttons->addWidget(m_encrypt);
    body()->addLayout(buttons);
    refreshControls();
}

void KSTEncryptionPanel::setPaths(const QStringList &paths)
{
    if (m_model.isEncrypting())
        return;
    m_dropArea->setPaths(paths);
    m_status->clear();
    refreshControls();
}

void KSTEncryptionPanel::choose()
{
    if (!m_picker)
        return;
    const QStringList paths = m_picker(m_choose);
    if (!paths.isEmpty())
        setPaths(paths);
}

void KSTEncryptionPanel::requestEncrypt()
{
    const QStringList paths = m_dropArea->paths();
    if (paths.isEmpty() || m_model.isEncrypting())
        return;
    if (const std::optional<QString> refusal =
            KSTEncryptionModel::passwordRefusal(m_password->text(), m_confirmation->text())) {
        showStatus(*refusal, QStringLiteral("rose"));
        m_alerts.tell(this, *refusal, {}, true);
        return;
    }
    const KSTUtilitiesAlerts::Confirmation confirmation{
        KSTEncryptionModel::confirmationMessage(),
        KSTEncryptionModel::confirmationInformativeText(),
        {},
        KSTEncryptionModel::encryptButtonTitle()};
    if (!m_alerts.confirm(this, confirmation))
        return;
    const QPointer<KSTEncryptionPanel> guard(this);
    m_model.start(
        paths, m_password->text(),
        [guard](const QString &text) {
            if (guard)
                guard->showStatus(text, {});
        },
        [guard](quint64 created, const std::optional<KSTError> &error) {
            if (guard)
                guard->finish(created, error);
        });
    // The job holds its own copy; the fields let go of theirs at once.
    m_password->clear();
    m_confirmation->clear();
    showStatus(QStringLiteral("Encrypting…"), {});
    refreshControls();
}

void KSTEncryptionPanel::finish(quint64 created, const std::optional<KSTError> &error)
{
    const KSTEncryptionModel::Result result = KSTEncryptionModel::result(created, error);
    m_dropArea->setPaths({});
    refreshControls();
    showStatus(result.informativeText.isEmpty()
                   ? result.message
                   : result.message + QLatin1Char(' ') + result.informativeText,
               result.succeeded ? QStringLiteral("emerald") : QStringLiteral("rose"));
    Q_EMIT jobFinished();
    // After the job's callback has returned: the alert runs a loop of its own.
    QTimer::singleShot(0, this, [this, result] {
        m_alerts.tell(this, result.message, result.informativeText, !result.succeeded);
    });
}

void KSTEncryptionPanel::refreshControls()
{
    const bool encrypting = m_model.isEncrypting();
    busyIndicator()->setRunning(encrypting);
    m_dropArea->setEnabled(!encrypting);
    m_password->setEnabled(!encrypting);
    m_confirmation->setEnabled(!encrypting);
    m_choose->setEnabled(!encrypting);
    m_encrypt->setEnabled(!encrypting && !m_dropArea->paths().isEmpty());
}

void KSTEncryptionPanel::showStatus(const QString &text, const QString &colorName)
{
    m_status->setText(text);
    m_status->setStyleSheet(
        colorName.isEmpty()
            ? QString()
            : QStringLiteral("color: %1;").arg(KSTPalette::css(KSTPalette::color(colorName))));
}
