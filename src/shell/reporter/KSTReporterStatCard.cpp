#include "KSTReporterStatCard.h"

#include "KSTElidedLabel.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

KSTReporterStatCard::KSTReporterStatCard(const QString &title, const QString &symbolName,
                                         const QString &colorName, QWidget *parent)
    : KSTCardFrame(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(18, 14, 18, 14);
    layout->setSpacing(4);
    auto *header = new QHBoxLayout;
    header->setSpacing(8);
    auto *symbol = new KSTSymbolView(symbolName, colorName, 14, this);
    symbol->setTile(26);
    header->addWidget(symbol);
    header->addWidget(KSTStyle::label(title, KSTStyle::Secondary, this), 1);
    layout->addLayout(header);
    layout->addSpacing(2);
    m_value = KSTStyle::label({}, KSTStyle::Value, this);
    m_value->setObjectName(QStringLiteral("statValue"));
    layout->addWidget(m_value);
    m_detail = new KSTElidedLabel({}, KSTStyle::Caption, this);
    m_detail->setObjectName(QStringLiteral("statDetail"));
    layout->addWidget(m_detail);
}

void KSTReporterStatCard::setFigures(const QString &value, const QString &detail)
{
    m_value->setText(value);
    m_detail->setFullText(detail);
}
