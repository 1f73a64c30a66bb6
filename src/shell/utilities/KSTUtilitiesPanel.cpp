#include "KSTUtilitiesPanel.h"

#include "KSTBusyIndicator.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

KSTUtilitiesPanel::KSTUtilitiesPanel(const QString &symbolName, const QString &colorName,
                                     const QString &title, QWidget *parent)
    : KSTCardFrame(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(10);

    auto *header = new QHBoxLayout;
    header->setSpacing(10);
    auto *symbol = new KSTSymbolView(symbolName, colorName, 16, this);
    symbol->setTile(32);
    header->addWidget(symbol, 0, Qt::AlignTop);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(1);
    texts->addWidget(KSTStyle::label(title, KSTStyle::Headline, this));
    m_subtitle = KSTStyle::label({}, KSTStyle::Secondary, this);
    texts->addWidget(m_subtitle);
    header->addLayout(texts, 1);
    m_busy = new KSTBusyIndicator(16, this);
    header->addWidget(m_busy);
    m_trailing = new QHBoxLayout;
    m_trailing->setSpacing(6);
    header->addLayout(m_trailing);
    layout->addLayout(header);

    m_body = new QVBoxLayout;
    m_body->setSpacing(8);
    layout->addLayout(m_body, 1);
}

void KSTUtilitiesPanel::addRowList(int spacing)
{
    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_rows = new QWidget(scroll);
    m_rowsLayout = new QVBoxLayout(m_rows);
    m_rowsLayout->setContentsMargins(0, 0, 4, 0);
    m_rowsLayout->setSpacing(spacing);
    m_rowsLayout->addStretch(1);
    scroll->setWidget(m_rows);
    m_body->addWidget(scroll, 1);
}

void KSTUtilitiesPanel::appendRow(QWidget *row)
{
    m_rowsLayout->insertWidget(m_rowsLayout->count() - 1, row);
}

void KSTUtilitiesPanel::clearRows()
{
    while (m_rowsLayout->count() > 1) {
        QLayoutItem *item = m_rowsLayout->takeAt(0);
        if (QWidget *row = item->widget()) {
            row->hide();
            row->setParent(nullptr);
            row->deleteLater();
        }
        delete item;
    }
}
