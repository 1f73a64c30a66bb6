#include "KSTReporterBarList.h"

#include "KSTElidedLabel.h"
#include "KSTStorageBarView.h"
#include "KSTStyle.h"

#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// Bars are drawn by the storage bar as one segment of a fixed whole.
constexpr quint64 BarScale = 1'000'000;

} // namespace

KSTReporterBarList::KSTReporterBarList(const QString &emptyText, QWidget *parent) : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_empty = KSTStyle::label(emptyText, KSTStyle::Secondary, this);
    m_empty->setObjectName(QStringLiteral("emptyText"));
    m_empty->setWordWrap(true);
    layout->addWidget(m_empty);
    m_rows = new QVBoxLayout;
    m_rows->setSpacing(9);
    layout->addLayout(m_rows);
}

void KSTReporterBarList::setEmptyText(const QString &emptyText)
{
    m_empty->setText(emptyText);
}

void KSTReporterBarList::setRows(const QList<Row> &rows, qsizetype limit)
{
    while (QLayoutItem *item = m_rows->takeAt(0)) {
        if (QWidget *widget = item->widget())
            widget->deleteLater();
        delete item;
    }
    m_titles.clear();
    const qsizetype count = std::clamp<qsizetype>(limit, 0, rows.size());
    m_empty->setVisible(count == 0);
    for (qsizetype index = 0; index < count; ++index) {
        const Row &row = rows.at(index);
        auto *line = new QWidget(this);
        line->setObjectName(QStringLiteral("barRow"));
        auto *grid = new QGridLayout(line);
        grid->setContentsMargins(0, 0, 0, 0);
        grid->setHorizontalSpacing(12);
        grid->setVerticalSpacing(4);
        auto *title = new KSTElidedLabel(row.title, KSTStyle::Body, line);
        title->setObjectName(QStringLiteral("rowTitle"));
        title->setStyleSheet(QStringLiteral("font-weight: 500;"));
        if (!row.toolTip.isEmpty())
            title->setToolTip(row.toolTip);
        grid->addWidget(title, 0, 0);
        QLabel *detail = KSTStyle::label(row.detail, KSTStyle::Secondary, line);
        detail->setObjectName(QStringLiteral("rowDetail"));
        detail->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        grid->addWidget(detail, 0, 1);
        auto *bar = new KSTStorageBarView(line);
        bar->setFixedHeight(6);
        const double fraction = std::clamp(row.fraction, 0.0, 1.0);
        bar->setSegments({{row.colorName, quint64(fraction * double(BarScale))}}, BarScale);
        grid->addWidget(bar, 1, 0, 1, 2);
        grid->setColumnStretch(0, 1);
        m_rows->addWidget(line);
        m_titles << row.title;
    }
}

QStringList KSTReporterBarList::shownTitles() const
{
    return m_titles;
}
