#include "KSTTrashOriginsPanel.h"

#include "KSTBusyIndicator.h"
#include "KSTDispatch.h"
#include "KSTElidedLabel.h"
#include "KSTStyle.h"
#include "KSTUtilitiesManager.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
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
    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_rows = new QWidget(scroll);
    m_rowsLayout = new QVBoxLayout(m_rows);
    m_rowsLayout->setContentsMargins(0, 0, 4, 0);
    m_rowsLayout->setSpacing(2);
    m_rowsLayout->addStretch(1);
    scroll->setWidget(m_rows);
    body()->addWidget(scroll, 1);
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
    KSTDispatch::globalAsync(
        KSTQualityOfService::UserInitiated,
        [manager, deliver = std::move(deliver)] { deliver(manager->scanTrashSourceItems()); });
}

void KSTTrashOriginsPanel::show(const QList<KSTTrashSourceRecord> &records)
{
    m_loading = false;
    m_loaded = true;
    busyIndicator()->setRunning(false);
    while (m_rowsLayout->count() > 1) {
        QLayoutItem *item = m_rowsLayout->takeAt(0);
        delete item->widget();
        delete item;
    }
    for (const KSTTrashSourceRecord &record : records) {
        auto *row = new QWidget(m_rows);
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
        m_rowsLayout->insertWidget(m_rowsLayout->count() - 1, row);
    }
    m_empty->setVisible(records.isEmpty());
    subtitleLabel()->setText(records.isEmpty()
                                 ? QStringLiteral("Where deleted items came from")
                                 : QStringLiteral("%1 item(s) in the Trash").arg(records.size()));
    Q_EMIT loaded();
}
