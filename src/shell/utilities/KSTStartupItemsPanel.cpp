#include "KSTStartupItemsPanel.h"

#include "KSTBusyIndicator.h"
#include "KSTElidedLabel.h"
#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTUtilitiesAlerts.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace {

QString impactColorName(const QString &impact)
{
    if (impact == QLatin1String("High"))
        return QStringLiteral("rose");
    if (impact == QLatin1String("Medium"))
        return QStringLiteral("amber");
    return QStringLiteral("emerald");
}

} // namespace

KSTStartupItemsPanel::KSTStartupItemsPanel(KSTUtilitiesManager &manager,
                                           const KSTUtilitiesAlerts &alerts, QWidget *parent)
    : KSTUtilitiesPanel(QStringLiteral("laptopcomputer"), QStringLiteral("violet"),
                        QStringLiteral("Startup Items"), parent),
      m_model(manager), m_alerts(alerts)
{
    setObjectName(QStringLiteral("startupItemsPanel"));
    m_bootImpact = subtitleLabel();
    m_bootImpact->setObjectName(QStringLiteral("bootImpact"));
    m_rescan = new QPushButton(QStringLiteral("Rescan"), this);
    m_rescan->setObjectName(QStringLiteral("startupRescanButton"));
    KSTStyle::setButtonRole(m_rescan, KSTStyle::SecondaryButton);
    connect(m_rescan, &QPushButton::clicked, this, &KSTStartupItemsPanel::rescan);
    headerTrailing()->addWidget(m_rescan);

    m_empty = KSTStyle::label(KSTStartupItemsPanelModel::emptyText(), KSTStyle::Secondary, this);
    m_empty->setObjectName(QStringLiteral("startupEmpty"));
    m_empty->setWordWrap(true);
    m_empty->hide();
    body()->addWidget(m_empty);

    addRowList(2);
    redraw();
}

void KSTStartupItemsPanel::rescan()
{
    if (m_model.isScanning())
        return;
    busyIndicator()->setRunning(true);
    m_rescan->setEnabled(false);
    m_model.rescanAsync(this, [this] {
        m_loaded = true;
        redraw();
        Q_EMIT loaded();
    });
}

void KSTStartupItemsPanel::redraw()
{
    const bool scanning = m_model.isScanning();
    busyIndicator()->setRunning(scanning);
    m_rescan->setEnabled(!scanning);
    m_bootImpact->setText(m_loaded ? KSTStartupItemsPanelModel::bootImpactLabel() +
                                         QLatin1Char(' ') + m_model.bootImpact()
                                   : QStringLiteral("Looking for startup items…"));
    clearRows();
    for (const KSTStartupItemRecord &item : m_model.items())
        appendRow(rowFor(item));
    m_empty->setVisible(m_loaded && m_model.items().isEmpty());
}

QWidget *KSTStartupItemsPanel::rowFor(const KSTStartupItemRecord &item)
{
    auto *row = new QWidget(rowContainer());
    row->setObjectName(QStringLiteral("startupRow"));
    row->setProperty("itemPath", item.path);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 4, 0, 4);
    layout->setSpacing(8);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(0);
    auto *name = new KSTElidedLabel(item.name, KSTStyle::Body, row);
    name->setObjectName(QStringLiteral("startupName"));
    // Names come from the machine's plists: shown as written, never read as markup.
    name->setTextFormat(Qt::PlainText);
    name->setToolTip(item.path);
    texts->addWidget(name);
    auto *kind = new KSTElidedLabel(item.typeLabel, KSTStyle::Caption, row);
    texts->addWidget(kind);
    layout->addLayout(texts, 1);

    QLabel *impact = KSTStyle::label(item.impact, KSTStyle::Caption, row);
    impact->setObjectName(QStringLiteral("startupImpact"));
    impact->setStyleSheet(
        QStringLiteral("color: %1; font-weight: 600;")
            .arg(KSTPalette::css(KSTPalette::color(impactColorName(item.impact)))));
    layout->addWidget(impact);
    if (item.canDisable) {
        auto *disable = new QPushButton(KSTStartupItemsPanelModel::disableButtonTitle(), row);
        disable->setObjectName(QStringLiteral("disableButton"));
        KSTStyle::setButtonRole(disable, KSTStyle::SecondaryButton);
        connect(disable, &QPushButton::clicked, this, [this, item] { requestDisable(item); });
        layout->addWidget(disable);
    }
    return row;
}

void KSTStartupItemsPanel::requestDisable(const KSTStartupItemRecord &item)
{
    if (m_model.isScanning())
        return;
    const KSTUtilitiesAlerts::Confirmation confirmation{
        KSTStartupItemsPanelModel::confirmationMessage(item),
        KSTStartupItemsPanelModel::confirmationInformativeText(),
        {},
        KSTStartupItemsPanelModel::disableButtonTitle()};
    if (!m_alerts.confirm(this, confirmation))
        return;
    const bool started = m_model.disableAsync(
        this, item, [this](bool disabled, const std::optional<KSTError> &error) {
            redraw();
            if (disabled)
                return;
            // After the job's callback has returned: the alert runs a loop of its own.
            const QString text = KSTStartupItemsPanelModel::failureText(error);
            QTimer::singleShot(0, this, [this, text] { m_alerts.tell(this, text, {}, true); });
        });
    if (started)
        redraw();
}
