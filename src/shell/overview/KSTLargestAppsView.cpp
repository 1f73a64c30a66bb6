#include "KSTLargestAppsView.h"

#include "KSTCardFrame.h"
#include "KSTFormatting.h"
#include "KSTStorageBarView.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace {

// Tile colours of the rows, so neighbouring applications are told apart at a glance.
const char *const RowColors[] = {"blue", "violet", "sky", "amber", "rose"};

} // namespace

KSTLargestAppsView::KSTLargestAppsView(QWidget *parent) : QWidget(parent)
{
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *card = new KSTCardFrame(this);
    outer->addWidget(card);

    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(12);
    QHBoxLayout *header =
        KSTCardFrame::headerRow(card, QStringLiteral("Largest Applications"), KSTStyle::Headline);
    m_countLabel = KSTStyle::label({}, KSTStyle::Secondary, card);
    m_countLabel->setObjectName(QStringLiteral("installedCount"));
    header->addWidget(m_countLabel);
    layout->addLayout(header);

    m_rows = new QVBoxLayout;
    m_rows->setSpacing(10);
    layout->addLayout(m_rows);
    layout->addStretch(1);
}

void KSTLargestAppsView::setApps(const QList<KSTAppUsageInfo> &apps, qint64 installedAppCount)
{
    while (QLayoutItem *item = m_rows->takeAt(0)) {
        if (QWidget *widget = item->widget())
            widget->deleteLater();
        delete item;
    }
    m_names.clear();

    m_countLabel->setText(
        installedAppCount == 1
            ? QStringLiteral("1 application installed")
            : QStringLiteral("%1 applications installed")
                  .arg(KSTFormatting::formatCount(quint64(qMax<qint64>(0, installedAppCount)))));
    if (apps.isEmpty()) {
        m_rows->addWidget(
            KSTStyle::label(QStringLiteral("No applications found."), KSTStyle::Secondary));
        return;
    }

    const quint64 largest = apps.first().sizeBytes;
    int index = 0;
    for (const KSTAppUsageInfo &app : apps) {
        auto *row = new QWidget;
        auto *grid = new QGridLayout(row);
        grid->setContentsMargins(0, 0, 0, 0);
        grid->setHorizontalSpacing(12);
        grid->setVerticalSpacing(5);
        auto *symbol =
            new KSTSymbolView(QStringLiteral("app"), QLatin1String(RowColors[index % 5]), 16, row);
        symbol->setTile(30);
        grid->addWidget(symbol, 0, 0, 2, 1, Qt::AlignVCenter);
        QLabel *name = KSTStyle::label(app.name, KSTStyle::Body, row);
        name->setStyleSheet(QStringLiteral("font-weight: 500;"));
        name->setToolTip(app.bundlePath);
        grid->addWidget(name, 0, 1);
        QLabel *size =
            KSTStyle::label(KSTFormatting::formatBytesShort(app.sizeBytes), KSTStyle::Body, row);
        size->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        grid->addWidget(size, 0, 2);
        auto *bar = new KSTStorageBarView(row);
        bar->setFixedHeight(6);
        bar->setSegments({{QLatin1String(RowColors[index % 5]), app.sizeBytes}}, largest);
        grid->addWidget(bar, 1, 1, 1, 2);
        grid->setColumnStretch(1, 1);
        m_rows->addWidget(row);
        m_names << app.name;
        ++index;
    }
}

QStringList KSTLargestAppsView::shownNames() const
{
    return m_names;
}
