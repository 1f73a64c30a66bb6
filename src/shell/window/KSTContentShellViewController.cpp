#include "KSTContentShellViewController.h"

#include "KSTPalette.h"
#include "KSTStyle.h"

#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <QVBoxLayout>

KSTContentShellViewController::KSTContentShellViewController(QWidget *child, const QString &title,
                                                             QWidget *parent)
    : QWidget(parent), m_child(child), m_title(title)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto *toolbar = new QWidget(this);
    toolbar->setFixedHeight(ToolbarHeight);
    auto *toolbarLayout = new QHBoxLayout(toolbar);
    toolbarLayout->setContentsMargins(28, 0, 28, 0);
    m_titleLabel = KSTStyle::label(title, KSTStyle::LargeTitle, toolbar);
    m_titleLabel->setObjectName(QStringLiteral("toolbarTitle"));
    toolbarLayout->addWidget(m_titleLabel);
    toolbarLayout->addStretch(1);
    layout->addWidget(toolbar);

    if (m_child) {
        m_child->setParent(this);
        layout->addWidget(m_child, 1);
        m_child->show();
    }
}

KSTContentShellViewController::~KSTContentShellViewController() = default;

QWidget *KSTContentShellViewController::takeChild(QWidget *newParent)
{
    QWidget *child = m_child;
    if (!child)
        return nullptr;
    layout()->removeWidget(child);
    child->hide();
    child->setParent(newParent);
    m_child = nullptr;
    return child;
}

void KSTContentShellViewController::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QColor base = KSTPalette::windowBackground();
    painter.fillRect(rect(), base);
    // The toolbar fades from a slightly lifted tone into the content background.
    QLinearGradient gradient(0, 0, 0, ToolbarHeight);
    gradient.setColorAt(0, KSTPalette::isDark() ? base.lighter(125) : base.lighter(103));
    gradient.setColorAt(1, base);
    painter.fillRect(QRect(0, 0, width(), ToolbarHeight), gradient);
    painter.fillRect(QRect(0, ToolbarHeight - 1, width(), 1), KSTPalette::separator());
}
