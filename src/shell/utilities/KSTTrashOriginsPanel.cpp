#include "KSTTrashOriginsPanel.h"

#include "KSTBusyIndicator.h"
#include "KSTDispatch.h"
#include "KSTElidedLabel.h"
#include "KSTStyle.h"
#include "KSTUtilitiesManager.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

KSTTrashOriginsPanel::KSTTrashOriginsPanel(KSTUtilitiesManager &manager, QWidget *parent)
    : KSTUtilitiesPanel(QStringLiteral("folder"), QStringLiteral("amber"),
                        QStringLiteral("Trash Origins"), parent),
      m_manager(manager)
{
    setObjectName(QStringLiteral("trashOriginsPanel"));
    subtitleLabel()->setObjectName(QStringLiteral("trashSummary"));
    subtitleLabel()->setText(QStringLiteral("Looking in the Trash…"));
    m_empty = KSTStyle::label(QStringLiteral("The Trash is empty."), KSTStyle::Secondary, this);
    m_empty->setObjectName(QStringLiteral("trashEmpty"));
    m_empty->hide();
    body()->addWidget(m_empty);
    addRowList(2);
}

void KSTTrashOriginsPanel::refresh()
{
    if (m_loading)
        return;
    m_loading = true;
    busyIndicator()->setRunning(true);
    // Attributes, the quarantine database and the Trash's store are read for every item.
    auto deliver = KSTDispatch::onMainFor<QList<KSTTrashSourceRecord>>(
        this, [this](const QList<KSTTrashSourceRecord> &records) { show(records); });
    KSTUtilitiesManager *manager = &m_manager;
    manager->scanInBackground(
        [manager, deliver = std::move(deliver)] { deliver(manager->scanTrashSourceItems()); });
}

void KSTTrashOriginsPanel::show(const QList<KSTTrashSourceRecord> &records)
{
    m_loading = false;
    m_loaded = true;
    busyIndicator()->setRunning(false);
    clearRows();
    for (const KSTTrashSourceRecord &record : records) {
        auto *row = new QWidget(rowContainer());
        row->setObjectName(QStringLiteral("trashRow"));
        auto *layout = new QVBoxLayout(row);
        layout->setContentsMargins(0, 3, 0, 3);
        layout->setSpacing(0);
        auto *top = new QHBoxLayout;
        top->setSpacing(8);
        auto *name = new KSTElidedLabel(record.fileName, KSTStyle::Body, row);
        name->setObjectName(QStringLiteral("trashName"));
        // Names, origins and agents are whatever the files carry: never read as markup.
        name->setTextFormat(Qt::PlainText);
        name->setToolTip(record.trashPath);
        top->addWidget(name, 1);
        QLabel *deletedBy = KSTStyle::label(record.deletedBy, KSTStyle::Caption, row);
        deletedBy->setObjectName(QStringLiteral("trashDeletedBy"));
        deletedBy->setTextFormat(Qt::PlainText);
        top->addWidget(deletedBy);
        layout->addLayout(top);
        auto *origin = new KSTElidedLabel(QStringLiteral("From ") + record.originalLocation,
                                          KSTStyle::Caption, row);
        origin->setObjectName(QStringLiteral("trashOrigin"));
        origin->setTextFormat(Qt::PlainText);
        layout->addWidget(origin);
        appendRow(row);
    }
    m_empty->setVisible(records.isEmpty());
    subtitleLabel()->setText(records.isEmpty()
                                 ? QStringLiteral("Where deleted items came from")
                                 : QStringLiteral("%1 item(s) in the Trash").arg(records.size()));
    Q_EMIT loaded();
}
