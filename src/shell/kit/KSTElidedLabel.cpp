#include "KSTElidedLabel.h"

#include <QEvent>

KSTElidedLabel::KSTElidedLabel(const QString &text, const char *role, QWidget *parent)
    : QLabel(parent)
{
    setProperty("kstRole", QLatin1String(role));
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    setFullText(text);
}

void KSTElidedLabel::setFullText(const QString &text)
{
    m_fullText = text;
    setToolTip(text);
    elide();
}

QSize KSTElidedLabel::minimumSizeHint() const
{
    return {fontMetrics().horizontalAdvance(QStringLiteral("W…W")),
            QLabel::minimumSizeHint().height()};
}

void KSTElidedLabel::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    elide();
}

void KSTElidedLabel::changeEvent(QEvent *event)
{
    QLabel::changeEvent(event);
    // The style sheet sets the role's font after construction.
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        elide();
}

void KSTElidedLabel::elide()
{
    setText(fontMetrics().elidedText(m_fullText, Qt::ElideMiddle, qMax(0, width())));
}
