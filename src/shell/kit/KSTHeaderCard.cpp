#include "KSTHeaderCard.h"

#include "KSTBusyIndicator.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

KSTHeaderCard::KSTHeaderCard(const QString &symbolName, const QString &colorName,
                             const QString &titleName, const QString &subtitleName, QWidget *parent)
    : KSTCardFrame(parent)
{
    m_layout = new QHBoxLayout(this);
    m_layout->setContentsMargins(20, 14, 20, 14);
    m_layout->setSpacing(16);
    auto *symbol = new KSTSymbolView(symbolName, colorName, 22, this);
    symbol->setTile(44);
    m_layout->addWidget(symbol);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(3);
    m_title = KSTStyle::label({}, KSTStyle::Title, this);
    m_title->setObjectName(titleName);
    texts->addWidget(m_title);
    m_subtitle = KSTStyle::label({}, KSTStyle::Secondary, this);
    m_subtitle->setObjectName(subtitleName);
    texts->addWidget(m_subtitle);
    m_layout->addLayout(texts, 1);

    m_busy = new KSTBusyIndicator(18, this);
    m_layout->addWidget(m_busy);
}

QPushButton *KSTHeaderCard::addButton(const QString &text, const QString &objectName,
                                      const char *role)
{
    auto *button = new QPushButton(text, this);
    button->setObjectName(objectName);
    KSTStyle::setButtonRole(button, role);
    m_layout->addWidget(button);
    return button;
}
