#include "KSTSecureErasePanel.h"

#include "KSTBusyIndicator.h"
#include "KSTDispatch.h"
#include "KSTPalette.h"
#include "KSTPathChooser.h"
#include "KSTPathDropArea.h"
#include "KSTPopUpMenu.h"
#include "KSTStyle.h"
#include "KSTUtilitiesAlerts.h"
#include "KSTUtilitiesManager.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTimer>

namespace {

QStringList pickWithDialog(QWidget *button)
{
    return KSTPathChooser::ask(button, QStringLiteral("Choose Items to Erase"));
}

} // namespace

KSTSecureErasePanel::KSTSecureErasePanel(KSTUtilitiesManager &manager,
                                         const KSTUtilitiesAlerts &alerts, QWidget *parent)
    : KSTUtilitiesPanel(QStringLiteral("trash.fill"), QStringLiteral("rose"),
                        QStringLiteral("Secure Erase"), parent),
      m_manager(manager), m_model(manager), m_alerts(alerts), m_picker(&pickWithDialog)
{
    setObjectName(QStringLiteral("secureErasePanel"));
    subtitleLabel()->setText(QStringLiteral("Overwrite, then delete for good"));

    m_dropArea = new KSTPathDropArea(KSTSecureEraseModel::dropAreaText(), this);
    m_dropArea->setObjectName(QStringLiteral("eraseDropArea"));
    connect(m_dropArea, &KSTPathDropArea::pathsDropped, this, &KSTSecureErasePanel::setPaths);
    body()->addWidget(m_dropArea, 1);

    auto *method = new QHBoxLayout;
    method->setSpacing(8);
    method->addWidget(KSTStyle::label(QStringLiteral("Erase Method"), KSTStyle::Secondary, this));
    m_method = new KSTPopUpMenu(this);
    m_method->setObjectName(QStringLiteral("eraseMethod"));
    m_method->addItems(KSTSecureEraseModel::methodMenuTitles());
    method->addWidget(m_method, 1);
    body()->addLayout(method);

    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    m_status = KSTStyle::label({}, KSTStyle::Secondary, this);
    m_status->setObjectName(QStringLiteral("eraseStatus"));
    m_status->setTextFormat(Qt::PlainText); // names paths and error texts
    m_status->setWordWrap(true);
    buttons->addWidget(m_status, 1);
    m_choose = new QPushButton(QStringLiteral("Choose…"), this);
    m_choose->setObjectName(QStringLiteral("eraseChooseButton"));
    KSTStyle::setButtonRole(m_choose, KSTStyle::SecondaryButton);
    connect(m_choose, &QPushButton::clicked, this, &KSTSecureErasePanel::choose);
    buttons->addWidget(m_choose);
    m_erase = new QPushButton(KSTSecureEraseModel::eraseButtonTitle(), this);
    m_erase->setObjectName(QStringLiteral("eraseButton"));
    KSTStyle::setButtonRole(m_erase, KSTStyle::PrimaryButton);
    connect(m_erase, &QPushButton::clicked, this, &KSTSecureErasePanel::requestErase);
    buttons->addWidget(m_erase);
    body()->addLayout(buttons);

    QLabel *honesty = KSTStyle::label(KSTSecureEraseModel::honestyText(), KSTStyle::Caption, this);
    honesty->setObjectName(QStringLiteral("eraseHonesty"));
    honesty->setWordWrap(true);
    body()->addWidget(honesty);
    refreshControls();
}

void KSTSecureErasePanel::setPaths(const QStringList &paths)
{
    if (m_model.isErasing() || m_counting)
        return;
    m_dropArea->setPaths(paths);
    m_status->clear();
    refreshControls();
}

void KSTSecureErasePanel::choose()
{
    if (!m_picker)
        return;
    const QStringList paths = m_picker(m_choose);
    if (!paths.isEmpty())
        setPaths(paths);
}

void KSTSecureErasePanel::requestErase()
{
    const QStringList paths = m_dropArea->paths();
    if (paths.isEmpty() || m_model.isErasing() || m_counting)
        return;
    // The protected test runs again in the job; refusing here keeps the alert from offering
    // what can never be done.
    if (const std::optional<QString> refusal = m_model.refusalForPaths(paths)) {
        showStatus(*refusal, QStringLiteral("rose"));
        m_alerts.tell(this, *refusal, {}, true);
        return;
    }
    // Counting what would be overwritten walks every chosen folder (a whole volume, perhaps):
    // a worker does it, and the question comes once the count is there.
    m_counting = true;
    showStatus(QStringLiteral("Counting…"), {});
    refreshControls();
    auto ask = KSTDispatch::onMainFor<QString>(
        this, [this, paths](const QString &preview) { confirmAndStart(paths, preview); });
    KSTUtilitiesManager *manager = &m_manager;
    manager->scanInBackground([manager, paths, ask = std::move(ask)] {
        const KSTSecureEraseModel counter(*manager);
        ask(KSTSecureEraseModel::previewText(counter.preview(paths)));
    });
}

void KSTSecureErasePanel::confirmAndStart(const QStringList &paths, const QString &preview)
{
    m_counting = false;
    showStatus(QString(), {});
    refreshControls();
    const KSTUtilitiesAlerts::Confirmation confirmation{
        KSTSecureEraseModel::confirmationMessage(), m_model.confirmationInformativeText(paths),
        preview, KSTSecureEraseModel::eraseButtonTitle()};
    if (!m_alerts.confirm(this, confirmation))
        return;
    const QPointer<KSTSecureErasePanel> guard(this);
    m_model.start(
        paths, m_method->currentIndex(),
        [guard](const QString &text) {
            if (guard)
                guard->showStatus(text, {});
        },
        [guard](bool success, const std::optional<KSTError> &error) {
            if (guard)
                guard->finish(success, error);
        });
    refreshControls();
}

void KSTSecureErasePanel::finish(bool success, const std::optional<KSTError> &error)
{
    const QString text = KSTSecureEraseModel::resultText(success, error);
    m_dropArea->setPaths({});
    refreshControls();
    showStatus(text, success ? QStringLiteral("emerald") : QStringLiteral("rose"));
    Q_EMIT jobFinished();
    // After the job's callback has returned: the alert runs a loop of its own.
    QTimer::singleShot(0, this, [this, text, success] { m_alerts.tell(this, text, {}, !success); });
}

void KSTSecureErasePanel::refreshControls()
{
    const bool erasing = m_model.isErasing() || m_counting;
    busyIndicator()->setRunning(erasing);
    m_dropArea->setEnabled(!erasing);
    m_method->setEnabled(!erasing);
    m_choose->setEnabled(!erasing);
    m_erase->setEnabled(!erasing && !m_dropArea->paths().isEmpty());
}

void KSTSecureErasePanel::showStatus(const QString &text, const QString &colorName)
{
    m_status->setText(text);
    m_status->setStyleSheet(
        colorName.isEmpty()
            ? QString()
            : QStringLiteral("color: %1;").arg(KSTPalette::css(KSTPalette::color(colorName))));
}
