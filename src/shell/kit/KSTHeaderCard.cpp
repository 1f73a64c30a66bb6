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
    : KSTHeaderCard(symbolName, colorName, titleName, subtitleName, Look(), parent)
{
}

KSTHeaderCard::KSTHeaderCard(const QString &symbolName, const QString &colorName,
                             const QString &titleName, const QString &subtitleName,
                             const Look &look, QWidget *parent)
    : KSTCardFrame(parent)
{
    m_layout = new QHBoxLayout(this);
    m_layout->setContentsMargins(20, look.verticalMargin, 20, look.verticalMargin);
    m_layout->setSpacing(16);
    auto *symbol = new KSTSymbolView(symbolName, colorName, look.symbolSize, this);
    symbol->setTile(look.tileSize);
    m_layout->addWidget(symbol, 0, look.symbolAlignment);

    m_texts = new QVBoxLayout;
    m_texts->setSpacing(look.lineSpacing);
    m_title = KSTStyle::label({}, look.titleRole, this);
    m_title->setObjectName(titleName);
    m_texts->addWidget(m_title);
    m_subtitle = KSTStyle::label({}, look.subtitleRole, this);
    m_subtitle->setObjectName(subtitleName);
    m_texts->addWidget(m_subtitle);
    m_layout->addLayout(m_texts, 1);

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

void KSTHeaderCard::addTrailingWidget(QWidget *widget, Qt::Alignment alignment)
{
    widget->setParent(this);
    m_layout->addWidget(widget, 0, alignment);
}

void KSTHeaderCard::addTrailingLayout(QLayout *layout)
{
    m_layout->addLayout(layout);
}

QLabel *KSTHeaderCard::addTextLine(const char *role)
{
    QLabel *line = KSTStyle::label({}, role, this);
    m_texts->addWidget(line);
    return line;
}
