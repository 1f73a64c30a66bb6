#include "KSTBanner.h"

#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

KSTBanner::KSTBanner(const QString &symbolName, const QString &colorName, QWidget *parent)
    : KSTCardFrame(parent)
{
    setTintColorName(colorName);
    m_layout = new QHBoxLayout(this);
    m_layout->setContentsMargins(18, 12, 18, 12);
    m_layout->setSpacing(14);
    auto *symbol = new KSTSymbolView(symbolName, colorName, 18, this);
    symbol->setTile(36);
    m_layout->addWidget(symbol, 0, Qt::AlignVCenter);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(2);
    m_title = KSTStyle::label({}, KSTStyle::Headline, this);
    m_title->setObjectName(QStringLiteral("bannerTitle"));
    texts->addWidget(m_title);
    m_message = KSTStyle::label({}, KSTStyle::Secondary, this);
    m_message->setObjectName(QStringLiteral("bannerMessage"));
    m_message->setWordWrap(true);
    texts->addWidget(m_message);
    m_layout->addLayout(texts, 1);
}

void KSTBanner::setTexts(const QString &title, const QString &message)
{
    m_title->setText(title);
    m_message->setText(message);
}

QPushButton *KSTBanner::addButton(const QString &text, const char *role, const QString &objectName)
{
    auto *button = new QPushButton(text, this);
    button->setObjectName(objectName);
    KSTStyle::setButtonRole(button, role);
    m_layout->addWidget(button, 0, Qt::AlignVCenter);
    return button;
}
