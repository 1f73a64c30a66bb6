#include "KSTReporterScreen.h"

#include "KSTBusyIndicator.h"
#include "KSTCardFrame.h"
#include "KSTFormatting.h"
#include "KSTHeaderCard.h"
#include "KSTPalette.h"
#include "KSTReporterBarChart.h"
#include "KSTReporterBarList.h"
#include "KSTReporterEngine.h"
#include "KSTReporterSnapshot.h"
#include "KSTReporterStatCard.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace {

const QString DiskColor = QStringLiteral("blue");
const QString DownloadColor = QStringLiteral("sky");
const QString UploadColor = QStringLiteral("violet");
// Neighbouring applications are told apart at a glance.
const char *const UsageColors[] = {"emerald", "blue", "violet", "amber", "rose"};

QHBoxLayout *cardHeader(const QString &title, const QString &symbolName, const QString &colorName,
                        QWidget *card)
{
    auto *header = new QHBoxLayout;
    header->setSpacing(10);
    auto *symbol = new KSTSymbolView(symbolName, colorName, 14, card);
    symbol->setTile(26);
    header->addWidget(symbol);
    header->addWidget(KSTStyle::label(title, KSTStyle::Headline, card));
    header->addStretch(1);
    return header;
}

QString countText(quint64 count)
{
    return KSTFormatting::formatCount(count);
}

// "412.3 GB used (442,710,016,000 bytes)": the short size, then the exact count.
QString bytesLine(quint64 bytes, const QString &what)
{
    return QStringLiteral("%1 %2 (%3 bytes)")
        .arg(KSTFormatting::formatBytesShort(bytes), what, KSTFormatting::formatCount(bytes));
}

} // namespace

KSTReporterScreen::KSTReporterScreen(KSTSystemInfo &systemInfo, QWidget *parent)
    : KSTToolScreen(parent), m_model(systemInfo)
{
    setObjectName(QStringLiteral("reporterScreen"));
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    outer->addWidget(scroll);

    auto *content = new QWidget;
    auto *layout = new QVBoxLayout(content);
    layout->setContentsMargins(28, 20, 28, 24);
    layout->setSpacing(14);
    layout->addWidget(buildHeaderCard());
    layout->addWidget(buildNotice());

    auto *counts = new QHBoxLayout;
    counts->setSpacing(14);
    m_filesAdded = new KSTReporterStatCard(QStringLiteral("Files Added"),
                                           QStringLiteral("doc.text.fill"), QStringLiteral("sky"));
    m_filesAdded->setObjectName(QStringLiteral("filesAddedCard"));
    m_filesRemoved = new KSTReporterStatCard(
        QStringLiteral("Files Removed"), QStringLiteral("trash.fill"), QStringLiteral("orange"));
    m_filesRemoved->setObjectName(QStringLiteral("filesRemovedCard"));
    m_appsInstalled = new KSTReporterStatCard(QStringLiteral("Apps Installed"),
                                              QStringLiteral("app"), QStringLiteral("emerald"));
    m_appsInstalled->setObjectName(QStringLiteral("appsInstalledCard"));
    m_appsRemoved = new KSTReporterStatCard(QStringLiteral("Apps Removed"), QStringLiteral("xmark"),
                                            QStringLiteral("rose"));
    m_appsRemoved->setObjectName(QStringLiteral("appsRemovedCard"));
    for (KSTReporterStatCard *card : {m_filesAdded, m_filesRemoved, m_appsInstalled, m_appsRemoved})
        counts->addWidget(card, 1);
    layout->addLayout(counts);

    auto *charts = new QHBoxLayout;
    charts->setSpacing(14);
    charts->addWidget(buildDiskCard(), 1);
    charts->addWidget(buildNetworkCard(), 1);
    layout->addLayout(charts, 1);

    auto *lists = new QHBoxLayout;
    lists->setSpacing(14);
    m_folders =
        new KSTReporterBarList(QStringLiteral("No folder changes were measured this week."));
    m_folders->setObjectName(QStringLiteral("folderList"));
    lists->addWidget(buildListCard(QStringLiteral("Folders That Changed"), QStringLiteral("folder"),
                                   QStringLiteral("amber"), m_folders),
                     1);
    m_usage = new KSTReporterBarList({});
    m_usage->setObjectName(QStringLiteral("usageList"));
    lists->addWidget(buildListCard(QStringLiteral("Most Used Apps"), QStringLiteral("clock"),
                                   QStringLiteral("emerald"), m_usage),
                     1);
    layout->addLayout(lists);
    scroll->setWidget(content);

    connect(&m_model, &KSTReporterModel::snapshotChanged, this,
            &KSTReporterScreen::snapshotDidChange);
    connect(&m_model, &KSTReporterModel::buildingChanged, this,
            &KSTReporterScreen::refreshControls);
    connect(&m_model, &KSTReporterModel::damagedHistoryNoticeChanged, this,
            &KSTReporterScreen::refreshNotice);
    connect(&m_model, &KSTReporterModel::dayFiguresChanged, this,
            &KSTReporterScreen::refreshDayToolTips);
    snapshotDidChange();
    refreshNotice();
}

QWidget *KSTReporterScreen::buildHeaderCard()
{
    auto *card =
        new KSTHeaderCard(QStringLiteral("chart.line.uptrend.xyaxis"), QStringLiteral("violet"),
                          QStringLiteral("dateRange"), QStringLiteral("reportStatus"));
    m_range = card->titleLabel();
    m_status = card->subtitleLabel();
    m_busy = card->busyIndicator();
    m_refreshButton = card->addButton(QStringLiteral("Refresh"), QStringLiteral("refreshButton"),
                                      KSTStyle::SecondaryButton);
    connect(m_refreshButton, &QPushButton::clicked, &m_model, &KSTReporterModel::rebuild);
    QPushButton *report =
        card->addButton(QStringLiteral("System Report"), QStringLiteral("systemReportButton"),
                        KSTStyle::PrimaryButton);
    connect(report, &QPushButton::clicked, this, &KSTReporterScreen::didRequestSystemReport);
    return card;
}

QWidget *KSTReporterScreen::buildNotice()
{
    m_notice = new KSTCardFrame;
    m_notice->setObjectName(QStringLiteral("damagedHistoryNotice"));
    m_notice->setTintColorName(QStringLiteral("amber"));
    auto *layout = new QHBoxLayout(m_notice);
    layout->setContentsMargins(16, 9, 16, 9);
    layout->setSpacing(10);
    layout->addWidget(
        new KSTSymbolView(QStringLiteral("doc.text.fill"), QStringLiteral("amber"), 14, m_notice));
    m_noticeText = KSTStyle::label({}, KSTStyle::Body, m_notice);
    m_noticeText->setObjectName(QStringLiteral("damagedHistoryNoticeText"));
    m_noticeText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_noticeText, 1);
    return m_notice;
}

KSTCardFrame *KSTReporterScreen::buildDiskCard()
{
    auto *card = new KSTCardFrame;
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(20, 16, 20, 14);
    layout->setSpacing(10);
    QHBoxLayout *header =
        cardHeader(QStringLiteral("Disk Usage"), QStringLiteral("internaldrive"), DiskColor, card);
    m_diskChange = KSTStyle::label({}, KSTStyle::Secondary, card);
    m_diskChange->setObjectName(QStringLiteral("diskNetChange"));
    header->addWidget(m_diskChange);
    layout->addLayout(header);
    layout->addWidget(KSTStyle::label(QStringLiteral("Share of the startup disk in use each day"),
                                      KSTStyle::Caption, card));
    m_diskChart = new KSTReporterBarChart(card);
    m_diskChart->setObjectName(QStringLiteral("diskChart"));
    layout->addWidget(m_diskChart, 1);
    return card;
}

KSTCardFrame *KSTReporterScreen::buildNetworkCard()
{
    auto *card = new KSTCardFrame;
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(20, 16, 20, 14);
    layout->setSpacing(10);
    QHBoxLayout *header =
        cardHeader(QStringLiteral("Network"), QStringLiteral("wifi"), DownloadColor, card);
    layout->addLayout(header);

    auto *totals = new QHBoxLayout;
    totals->setSpacing(6);
    totals->addWidget(new KSTSymbolView(QStringLiteral("arrow.down"), DownloadColor, 12, card));
    m_downloaded = KSTStyle::label({}, KSTStyle::Body, card);
    m_downloaded->setObjectName(QStringLiteral("downloadTotal"));
    totals->addWidget(m_downloaded);
    totals->addSpacing(12);
    totals->addWidget(new KSTSymbolView(QStringLiteral("arrow.up"), UploadColor, 12, card));
    m_uploaded = KSTStyle::label({}, KSTStyle::Body, card);
    m_uploaded->setObjectName(QStringLiteral("uploadTotal"));
    totals->addWidget(m_uploaded);
    totals->addStretch(1);
    m_networkPeriod = KSTStyle::label({}, KSTStyle::Caption, card);
    m_networkPeriod->setObjectName(QStringLiteral("networkPeriod"));
    totals->addWidget(m_networkPeriod);
    layout->addLayout(totals);

    m_networkChart = new KSTReporterBarChart(card);
    m_networkChart->setObjectName(QStringLiteral("networkChart"));
    layout->addWidget(m_networkChart, 1);
    return card;
}

KSTCardFrame *KSTReporterScreen::buildListCard(const QString &title, const QString &symbolName,
                                               const QString &colorName, KSTReporterBarList *list)
{
    auto *card = new KSTCardFrame;
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(12);
    layout->addLayout(cardHeader(title, symbolName, colorName, card));
    list->setParent(card);
    layout->addWidget(list);
    layout->addStretch(1);
    return card;
}

bool KSTReporterScreen::isContentReady() const
{
    return m_model.hasCompleteSnapshot();
}

void KSTReporterScreen::showEvent(QShowEvent *event)
{
    KSTToolScreen::showEvent(event);
    m_model.refresh();
}

void KSTReporterScreen::snapshotDidChange()
{
    const KSTSystemInfo::ReporterSnapshotPtr snapshot = m_model.snapshot();
    const KSTReporterSnapshot shown = snapshot ? *snapshot : KSTReporterSnapshot();
    const bool partial = !snapshot || snapshot->isPartial;

    m_range->setText(shown.dateRangeText.isEmpty() ? QStringLiteral("This Week")
                                                   : shown.dateRangeText);
    m_filesAdded->setFigures(countText(shown.filesAddedCount), shown.filesAddedDeltaText);
    m_filesRemoved->setFigures(countText(shown.filesRemovedCount), shown.filesRemovedDeltaText);
    m_appsInstalled->setFigures(partial ? QStringLiteral("—") : countText(shown.appsInstalledCount),
                                shown.appsInstalledSummary);
    m_appsRemoved->setFigures(partial ? QStringLiteral("—") : countText(shown.appsRemovedCount),
                              shown.appsRemovedSummary);

    m_diskChange->setText(
        QStringLiteral("Net change %1")
            .arg(KSTFormatting::formatSignedBytesShort(shown.diskNetChangeBytes)));
    m_diskChart->setSeries({{DiskColor, shown.diskDailyFractions, {}}}, shown.diskDayLabels);
    m_downloaded->setText(QStringLiteral("%1 downloaded")
                              .arg(KSTFormatting::formatBytesShort(shown.networkDownloadBytes)));
    m_uploaded->setText(QStringLiteral("%1 uploaded")
                            .arg(KSTFormatting::formatBytesShort(shown.networkUploadBytes)));
    m_networkPeriod->setText(shown.networkPeriodText);
    m_networkChart->setSeries(
        {{DownloadColor, shown.networkDailyDownloadFractions, QStringLiteral("Download")},
         {UploadColor, shown.networkDailyUploadFractions, QStringLiteral("Upload")}},
        shown.networkDayLabels);

    QList<KSTReporterBarList::Row> folders;
    for (const KSTReporterFolderChange &folder : shown.topFolders)
        folders.append({folder.displayPath,
                        KSTFormatting::formatSignedBytesShort(folder.deltaBytes),
                        folder.barFraction, folder.colorKey, folder.displayPath});
    m_folders->setRows(folders, folders.size());

    QList<KSTReporterBarList::Row> usage;
    for (const KSTReporterAppUsageEntry &entry : shown.appUsageEntries) {
        usage.append({entry.name, entry.detailText, entry.barFraction,
                      QLatin1String(UsageColors[usage.size() % std::size(UsageColors)]),
                      entry.bundlePath.isEmpty() ? entry.bundleIdentifier : entry.bundlePath});
    }
    m_usage->setEmptyText(partial ? QStringLiteral("Scanning in background…")
                                  : QStringLiteral("No app usage was recorded this week."));
    m_usage->setRows(usage, KSTReporterEngine::UsageEntryLimit);

    refreshControls();
    if (snapshot && !snapshot->isPartial)
        m_model.loadDayFigures(); // the tool tips of this report's days
    if (!m_announcedReady && isContentReady()) {
        m_announcedReady = true;
        Q_EMIT contentReady();
    }
}

void KSTReporterScreen::refreshControls()
{
    const KSTSystemInfo::ReporterSnapshotPtr snapshot = m_model.snapshot();
    const bool building = m_model.isBuilding() || !snapshot || snapshot->isPartial;
    m_busy->setRunning(building);
    m_refreshButton->setEnabled(!building);
    m_status->setText(building ? QStringLiteral("Reading this week's activity…")
                               : QStringLiteral("Today and the six days before it"));
}

void KSTReporterScreen::refreshNotice()
{
    const QString notice = m_model.damagedHistoryNotice();
    m_noticeText->setText(notice);
    m_notice->setVisible(!notice.isEmpty());
}

void KSTReporterScreen::refreshDayToolTips()
{
    QStringList disk;
    QStringList network;
    const QLocale locale;
    for (const KSTReporterModel::DayFigures &day : m_model.dayFigures()) {
        const QString date = locale.toString(day.day, QStringLiteral("dddd, MMM d"));
        if (!day.recorded) {
            disk << date + QStringLiteral("\nNo scan that day");
            network << date + QStringLiteral("\nNo scan that day");
            continue;
        }
        disk << date + QLatin1Char('\n') +
                    (day.storageUsed ? bytesLine(*day.storageUsed, QStringLiteral("used"))
                                     : QStringLiteral("No disk figure recorded"));
        network << date + QLatin1Char('\n') +
                       bytesLine(day.downloaded, QStringLiteral("downloaded")) + QLatin1Char('\n') +
                       bytesLine(day.uploaded, QStringLiteral("uploaded"));
    }
    m_diskChart->setGroupToolTips(disk);
    m_networkChart->setGroupToolTips(network);
}
