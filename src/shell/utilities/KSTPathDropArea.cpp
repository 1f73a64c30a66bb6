#include "KSTPathDropArea.h"

#include "KSTPalette.h"
#include "KSTStyle.h"

#include <QDir>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QUrl>

namespace {
constexpr int NamesShown = 3;
}

KSTPathDropArea::KSTPathDropArea(const QString &prompt, QWidget *parent)
    : QWidget(parent), m_prompt(prompt)
{
    setAcceptDrops(true);
    setMinimumHeight(64);
    setFont(KSTStyle::font(12));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

void KSTPathDropArea::setPaths(const QStringList &paths)
{
    m_paths = paths;
    setToolTip(paths.join(QLatin1Char('\n')));
    update();
}

QString KSTPathDropArea::text() const
{
    if (m_paths.isEmpty())
        return m_prompt;
    QStringList names;
    for (const QString &path : m_paths.first(qMin<qsizetype>(NamesShown, m_paths.size())))
        names << (QFileInfo(path).fileName().isEmpty() ? path : QFileInfo(path).fileName());
    if (m_paths.size() > NamesShown)
        names << QStringLiteral("…");
    return QStringLiteral("%1 item(s): %2")
        .arg(m_paths.size())
        .arg(names.join(QStringLiteral(", ")));
}

QSize KSTPathDropArea::sizeHint() const
{
    return {260, 72};
}

QStringList KSTPathDropArea::localPaths(const QMimeData *mime)
{
    QStringList paths;
    if (!mime || !mime->hasUrls())
        return paths;
    for (const QUrl &url : mime->urls()) {
        if (url.isLocalFile() && !url.toLocalFile().isEmpty())
            paths << QDir::cleanPath(url.toLocalFile());
    }
    return paths;
}

void KSTPathDropArea::dragEnterEvent(QDragEnterEvent *event)
{
    if (!isEnabled() || localPaths(event->mimeData()).isEmpty())
        return;
    m_hovered = true;
    update();
    event->acceptProposedAction();
}

void KSTPathDropArea::dragLeaveEvent(QDragLeaveEvent *event)
{
    m_hovered = false;
    update();
    QWidget::dragLeaveEvent(event);
}

void KSTPathDropArea::dropEvent(QDropEvent *event)
{
    m_hovered = false;
    const QStringList paths = localPaths(event->mimeData());
    if (!isEnabled() || paths.isEmpty())
        return;
    event->acceptProposedAction();
    setPaths(paths);
    Q_EMIT pathsDropped(paths);
}

void KSTPathDropArea::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF frame = QRectF(rect()).adjusted(1, 1, -1, -1);
    QPainterPath path;
    path.addRoundedRect(frame, 10, 10);
    QColor fill = m_hovered ? KSTPalette::accent() : KSTPalette::windowBackground();
    if (m_hovered)
        fill.setAlpha(40);
    painter.fillPath(path, fill);
    QColor border = m_hovered ? KSTPalette::accent() : KSTPalette::tertiaryText();
    border.setAlpha(m_hovered ? 255 : 150);
    painter.setPen(QPen(border, 1.5, Qt::DashLine));
    painter.drawPath(path);
    painter.setPen(m_paths.isEmpty() ? KSTPalette::secondaryText() : KSTPalette::primaryText());
    painter.setFont(font());
    const QRect textRect = rect().adjusted(12, 6, -12, -6);
    painter.drawText(
        textRect, Qt::AlignCenter | Qt::TextWordWrap,
        painter.fontMetrics().elidedText(text(), Qt::ElideMiddle, textRect.width() * 2));
}
