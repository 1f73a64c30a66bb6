#include "KSTOverviewScreen.h"

#include "KSTCardFrame.h"
#include "KSTDispatch.h"
#include "KSTFormatting.h"
#include "KSTGaugeView.h"
#include "KSTHeaderCard.h"
#include "KSTLargestAppsView.h"
#include "KSTLayoutWords.h"
#include "KSTPalette.h"
#include "KSTShortcutListView.h"
#include "KSTStorageBarView.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QStackedLayout>
#include <QVBoxLayout>

#include <cmath>

namespace {

constexpr int LoadingPage = 0;
constexpr int ContentPage = 1;

// A symbol and a short text side by side, as the hero card's facts are shown.
QWidget *chip(const QString &symbol, QLabel *text)
{
    auto *widget = new QWidget;
    auto *layout = new QHBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    layout->addWidget(new KSTSymbolView(symbol, {}, 14, widget));
    text->setParent(widget);
    layout->addWidget(text);
    return widget;
}

QString percentText(double fraction)
{
    return QString::number(std::lround(fraction * 100.0)) + QLatin1Char('%');
}

} // namespace

KSTOverviewScreen::KSTOverviewScreen(KSTSystemInfo &systemInfo, KSTLiveMetrics::Sampler liveSampler,
                                     QWidget *parent)
    : KSTToolScreen(parent), m_systemInfo(systemInfo), m_liveSampler(std::move(liveSampler))
{
    setObjectName(QStringLiteral("overviewScreen"));
    m_liveTimer.setInterval(LiveSampleIntervalMs);
    connect(&m_liveTimer, &QTimer::timeout, this, &KSTOverviewScreen::takeLiveSample);

    m_stack = new QStackedLayout(this);
    QLabel *loading =
        KSTStyle::label(QStringLiteral("Reading %1…").arg(KSTLayoutWords::current().thisComputer),
                        KSTStyle::Secondary, this);
    loading->setAlignment(Qt::AlignCenter);
    m_stack->addWidget(loading);

    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto *content = new QWidget;
    auto *layout = new QVBoxLayout(content);
    layout->setContentsMargins(28, 20, 28, 28);
    layout->setSpacing(16);
    layout->addWidget(buildHeroCard());
    layout->addWidget(buildStorageCard());

    auto *gauges = new QHBoxLayout;
    gauges->setSpacing(16);
    m_memoryGauge = new KSTGaugeView(QStringLiteral("violet"));
    m_memoryGauge->setObjectName(QStringLiteral("memoryGauge"));
    m_memoryCaption = KSTStyle::label({}, KSTStyle::Secondary);
    gauges->addWidget(buildGaugeCard(QStringLiteral("Memory"), QStringLiteral("memorychip"),
                                     m_memoryGauge, m_memoryCaption),
                      1);
    m_processorGauge = new KSTGaugeView(QStringLiteral("orange"));
    m_processorGauge->setObjectName(QStringLiteral("processorGauge"));
    m_processorCaption = KSTStyle::label({}, KSTStyle::Secondary);
    gauges->addWidget(buildGaugeCard(QStringLiteral("Processor"), QStringLiteral("cpu"),
                                     m_processorGauge, m_processorCaption),
                      1);
    gauges->addWidget(buildNetworkCard(), 1);
    layout->addLayout(gauges);

    auto *bottom = new QHBoxLayout;
    bottom->setSpacing(16);
    m_largestApps = new KSTLargestAppsView;
    m_largestApps->setObjectName(QStringLiteral("largestApps"));
    bottom->addWidget(m_largestApps, 3);
    auto *shortcuts = new KSTShortcutListView;
    connect(shortcuts, &KSTShortcutListView::didRequestSection, this,
            &KSTOverviewScreen::didRequestSection);
    connect(shortcuts, &KSTShortcutListView::didRequestSystemReport, this,
            &KSTOverviewScreen::didRequestSystemReport);
    bottom->addWidget(shortcuts, 2);
    layout->addLayout(bottom);
    layout->addStretch(1);
    scroll->setWidget(content);
    m_stack->addWidget(scroll);
    m_stack->setCurrentIndex(LoadingPage);

    connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, this,
            &KSTOverviewScreen::refreshLegend);
}

QWidget *KSTOverviewScreen::buildHeroCard()
{
    KSTHeaderCard::Look look;
    look.symbolSize = 28;
    look.tileSize = 56;
    look.symbolAlignment = Qt::AlignTop;
    look.subtitleRole = KSTStyle::Body;
    look.verticalMargin = 18;
    look.lineSpacing = 4;
    auto *card = new KSTHeaderCard(QStringLiteral("laptopcomputer"), QStringLiteral("blue"),
                                   QStringLiteral("machineTitle"), {}, look);
    m_machineTitle = card->titleLabel();
    m_versionLine = card->subtitleLabel();
    m_specsLine = card->addTextLine(KSTStyle::Secondary);
    m_specsLine->setWordWrap(true);

    auto *facts = new QVBoxLayout;
    facts->setSpacing(8);
    m_uptime = KSTStyle::label({}, KSTStyle::Secondary);
    m_uptime->setObjectName(QStringLiteral("uptime"));
    facts->addWidget(chip(QStringLiteral("clock"), m_uptime), 0, Qt::AlignRight);
    m_battery = KSTStyle::label({}, KSTStyle::Secondary);
    m_batteryChip = chip(QStringLiteral("battery.100"), m_battery);
    facts->addWidget(m_batteryChip, 0, Qt::AlignRight);
    facts->addStretch(1);
    card->addTrailingLayout(facts);
    return card;
}

QWidget *KSTOverviewScreen::buildStorageCard()
{
    auto *card = new KSTCardFrame;
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(20, 16, 20, 18);
    layout->setSpacing(12);
    QHBoxLayout *header =
        KSTCardFrame::headerRow(card, QStringLiteral("Storage"), KSTStyle::Headline,
                                QStringLiteral("internaldrive"), QStringLiteral("blue"), 18, 10);
    m_storageSummary = KSTStyle::label({}, KSTStyle::Secondary, card);
    m_storageSummary->setObjectName(QStringLiteral("storageSummary"));
    header->addWidget(m_storageSummary);
    layout->addLayout(header);

    m_storageBar = new KSTStorageBarView(card);
    layout->addWidget(m_storageBar);

    auto *legend = new QHBoxLayout;
    legend->setSpacing(28);
    for (int index = 0; index < 4; ++index) {
        QLabel *item = KSTStyle::label({}, KSTStyle::Body, card);
        item->setTextFormat(Qt::RichText);
        m_legendLabels << item;
        legend->addWidget(item);
    }
    legend->addStretch(1);
    layout->addLayout(legend);
    return card;
}

QWidget *KSTOverviewScreen::buildGaugeCard(const QString &title, const QString &symbol,
                                           KSTGaugeView *gauge, QLabel *caption)
{
    auto *card = new KSTCardFrame;
    auto *layout = new QHBoxLayout(card);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(18);
    gauge->setParent(card);
    layout->addWidget(gauge);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(4);
    texts->addStretch(1);
    texts->addLayout(KSTCardFrame::headerRow(card, title, KSTStyle::Headline, symbol));
    caption->setParent(card);
    texts->addWidget(caption);
    texts->addStretch(1);
    layout->addLayout(texts, 1);
    return card;
}

QWidget *KSTOverviewScreen::buildNetworkCard()
{
    auto *card = new KSTCardFrame;
    auto *layout = new QVBoxLayout(card);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(10);
    QHBoxLayout *titleRow = KSTCardFrame::headerRow(card, QStringLiteral("Network"),
                                                    KSTStyle::Headline, QStringLiteral("wifi"));
    m_interfaceName = KSTStyle::label({}, KSTStyle::Secondary, card);
    titleRow->addWidget(m_interfaceName);
    layout->addLayout(titleRow);

    const auto rateRow = [card](const QString &symbol, const QString &color, const QString &name,
                                QLabel *value) {
        auto *row = new QHBoxLayout;
        row->setSpacing(8);
        auto *icon = new KSTSymbolView(symbol, color, 14, card);
        icon->setTile(24);
        row->addWidget(icon);
        row->addWidget(KSTStyle::label(name, KSTStyle::Secondary, card));
        row->addStretch(1);
        value->setParent(card);
        row->addWidget(value);
        return row;
    };
    m_download = KSTStyle::label({}, KSTStyle::Headline);
    m_download->setObjectName(QStringLiteral("downloadRate"));
    layout->addLayout(rateRow(QStringLiteral("arrow.down"), QStringLiteral("sky"),
                              QStringLiteral("Download"), m_download));
    m_upload = KSTStyle::label({}, KSTStyle::Headline);
    layout->addLayout(rateRow(QStringLiteral("arrow.up"), QStringLiteral("emerald"),
                              QStringLiteral("Upload"), m_upload));
    auto *activityRow = new QHBoxLayout;
    activityRow->setSpacing(10);
    activityRow->addWidget(KSTStyle::label(QStringLiteral("Activity"), KSTStyle::Caption, card));
    m_activityBar = new KSTStorageBarView(card);
    m_activityBar->setFixedHeight(6);
    activityRow->addWidget(m_activityBar, 1);
    layout->addLayout(activityRow);
    return card;
}

bool KSTOverviewScreen::isContentReady() const
{
    return m_snapshot && m_hasSampleAfterSnapshot;
}

void KSTOverviewScreen::refreshSnapshot()
{
    // A new fetch would supersede one under way, whose minutes of sizing would be lost; only
    // a fetch the service has since dropped (an invalidated cache) is replaced.
    if (m_fetchInFlight && m_systemInfo.overviewFetchGeneration() == m_fetchGeneration)
        return;
    m_fetchInFlight = true;
    m_systemInfo.fetchSnapshotAsync(KSTDispatch::onMainFor<KSTSystemInfo::SystemSnapshotPtr>(
        this, [this](KSTSystemInfo::SystemSnapshotPtr snapshot) {
            m_fetchInFlight = false;
            if (snapshot)
                applySnapshot(snapshot);
        }));
    m_fetchGeneration = m_systemInfo.overviewFetchGeneration();
}

void KSTOverviewScreen::showEvent(QShowEvent *event)
{
    KSTToolScreen::showEvent(event);
    // The live figures first: they take milliseconds, the snapshot may take minutes.
    if (!m_liveTimer.isActive()) {
        m_liveTimer.start();
        takeLiveSample();
    }
    refreshSnapshot();
}

void KSTOverviewScreen::hideEvent(QHideEvent *event)
{
    m_liveTimer.stop();
    KSTToolScreen::hideEvent(event);
}

void KSTOverviewScreen::takeLiveSample()
{
    // One sample at a time: the engine's baselines are shared, and a slow sample must not
    // pile up others behind it.
    if (m_sampleInFlight || !m_liveSampler)
        return;
    m_sampleInFlight = true;
    const bool afterSnapshot = m_snapshot != nullptr;
    m_liveSampler(KSTDispatch::onMainFor<double, double, double, double, double>(
        this, [this, afterSnapshot](double processor, double memory, double download, double upload,
                                    double activity) {
            m_sampleInFlight = false;
            m_hasLiveFigures = true;
            ++m_liveSampleCount;
            if (afterSnapshot)
                m_hasSampleAfterSnapshot = true;
            applyLive(processor, memory, download, upload, activity);
            announceReadinessIfNeeded();
        }));
}

void KSTOverviewScreen::applySnapshot(const KSTSystemInfo::SystemSnapshotPtr &snapshot)
{
    m_snapshot = snapshot;
    m_machineTitle->setText(snapshot->machineTitle);
    m_versionLine->setText(snapshot->macOSVersionLine);
    // The specifications line usually opens with the version; then it is not said twice.
    m_versionLine->setVisible(!snapshot->macOSVersionLine.isEmpty() &&
                              !snapshot->specsLine.startsWith(snapshot->macOSVersionLine));
    m_specsLine->setText(snapshot->specsLine);
    m_uptime->setText(snapshot->uptimeText);
    m_battery->setText(snapshot->batteryText.value_or(QString()));
    m_batteryChip->setVisible(snapshot->hasBattery && snapshot->batteryText.has_value());

    m_storageSummary->setText(
        QStringLiteral("%1 of %2 used")
            .arg(KSTFormatting::formatBytesShort(snapshot->storageUsedBytes),
                 KSTFormatting::formatBytesShort(snapshot->storageTotalBytes)));
    QList<KSTStorageBarView::Segment> segments;
    for (const KSTStorageCategory &category : snapshot->storageCategories)
        segments << KSTStorageBarView::Segment{category.colorKey, category.bytes};
    m_storageBar->setSegments(segments, snapshot->storageTotalBytes);
    refreshLegend();

    m_memoryCaption->setText(
        QStringLiteral("of %1").arg(KSTFormatting::formatBytesShort(snapshot->memoryTotalBytes)));
    m_processorCaption->setText(snapshot->cpuCoreCount == 1
                                    ? QStringLiteral("1 core")
                                    : QStringLiteral("%1 cores").arg(snapshot->cpuCoreCount));
    m_interfaceName->setText(snapshot->networkInterfaceName);
    // A cached snapshot can be old; figures sampled since are newer than its own.
    if (!m_hasLiveFigures)
        applyLive(snapshot->cpuUsageFraction, snapshot->memoryUsedFraction,
                  snapshot->networkDownloadMBps, snapshot->networkUploadMBps,
                  snapshot->networkActivityFraction);
    m_largestApps->setApps(snapshot->topApps, snapshot->installedAppCount);
    m_stack->setCurrentIndex(ContentPage);
    announceReadinessIfNeeded();
}

void KSTOverviewScreen::applyLive(double processor, double memory, double download, double upload,
                                  double activity)
{
    m_memoryGauge->setFraction(memory);
    m_processorGauge->setFraction(processor);
    m_download->setText(KSTFormatting::formatThroughput(download));
    m_upload->setText(KSTFormatting::formatThroughput(upload));
    m_activityBar->setSegments({{QStringLiteral("sky"), quint64(std::lround(activity * 1000))}},
                               1000);
    m_activityBar->setToolTip(QStringLiteral("Network activity %1").arg(percentText(activity)));
    m_memoryGauge->setToolTip(percentText(memory));
    m_processorGauge->setToolTip(percentText(processor));
}

void KSTOverviewScreen::refreshLegend()
{
    if (!m_snapshot)
        return;
    for (qsizetype index = 0; index < m_legendLabels.size(); ++index) {
        QLabel *label = m_legendLabels.at(index);
        if (index >= m_snapshot->storageCategories.size()) {
            label->hide();
            continue;
        }
        const KSTStorageCategory &category = m_snapshot->storageCategories.at(index);
        label->setText(
            QStringLiteral("<span style=\"color:%1; font-size:15px;\">●</span>&nbsp;&nbsp;"
                           "<span style=\"color:%2;\">%3</span>&nbsp;&nbsp;<b>%4</b>")
                .arg(KSTPalette::color(category.colorKey).name(),
                     KSTPalette::secondaryText().name(), category.name.toHtmlEscaped(),
                     KSTFormatting::formatBytesShort(category.bytes)));
        label->show();
    }
}

void KSTOverviewScreen::announceReadinessIfNeeded()
{
    if (m_announcedReady || !isContentReady())
        return;
    m_announcedReady = true;
    Q_EMIT contentReady();
}
