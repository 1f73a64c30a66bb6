#pragma once

#include "KSTLiveMetrics.h"
#include "KSTSystemInfo.h"
#include "KSTToolScreen.h"

#include <QTimer>

class KSTGaugeView;
class KSTLargestAppsView;
class KSTStorageBarView;
class QLabel;
class QStackedLayout;

/// The Overview: the machine's title, specifications and version, uptime and battery; the
/// boot volume split into its four coloured categories; memory and processor gauges and the
/// network rates; the largest applications and the number installed; shortcuts to the other
/// tools.
///
/// The snapshot comes from KSTSystemInfo::fetchSnapshotAsync() each time the screen is shown
/// (the cached one at once once there is one, so a cache invalidated meanwhile is recomputed).
/// While the screen is shown, processor, memory and network are sampled again every
/// LiveSampleIntervalMs, one sample at a time; hiding the screen stops the sampling.
class KSTOverviewScreen : public KSTToolScreen
{
    Q_OBJECT

public:
    static constexpr int LiveSampleIntervalMs = 2000;

    /// @p systemInfo must outlive the screen; @p liveSampler takes one live sample.
    KSTOverviewScreen(KSTSystemInfo &systemInfo, KSTLiveMetrics::Sampler liveSampler,
                      QWidget *parent = nullptr);

    /// The snapshot is shown and a live sample taken after it has been applied, so every
    /// figure on screen is a measured one (the first sample of a process only lays the
    /// baselines).
    bool isContentReady() const override;

    /// Asks the service for the snapshot (the cached one comes at once), unless a fetch this
    /// screen started is still under way.
    void refreshSnapshot();

    bool isLiveSamplingActive() const { return m_liveTimer.isActive(); }
    /// Samples every @p milliseconds instead of LiveSampleIntervalMs (tests).
    void setLiveSampleInterval(int milliseconds) { m_liveTimer.setInterval(milliseconds); }
    /// Live samples applied so far.
    int liveSampleCount() const { return m_liveSampleCount; }

    /// The snapshot shown; null before the first arrives.
    KSTSystemInfo::SystemSnapshotPtr snapshot() const { return m_snapshot; }

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    QWidget *buildHeroCard();
    QWidget *buildStorageCard();
    QWidget *buildGaugeCard(const QString &title, const QString &symbol, KSTGaugeView *gauge,
                            QLabel *caption);
    QWidget *buildNetworkCard();

    void applySnapshot(const KSTSystemInfo::SystemSnapshotPtr &snapshot);
    void applyLive(double processor, double memory, double download, double upload,
                   double activity);
    void takeLiveSample();
    void refreshLegend();
    void announceReadinessIfNeeded();

    KSTSystemInfo &m_systemInfo;
    KSTLiveMetrics::Sampler m_liveSampler;
    KSTSystemInfo::SystemSnapshotPtr m_snapshot;
    QTimer m_liveTimer;
    bool m_fetchInFlight = false;
    quint64 m_fetchGeneration = 0;
    bool m_sampleInFlight = false;
    bool m_hasLiveFigures = false;
    bool m_hasSampleAfterSnapshot = false;
    bool m_announcedReady = false;
    int m_liveSampleCount = 0;

    QStackedLayout *m_stack = nullptr;
    QLabel *m_machineTitle = nullptr;
    QLabel *m_versionLine = nullptr;
    QLabel *m_specsLine = nullptr;
    QLabel *m_uptime = nullptr;
    QLabel *m_battery = nullptr;
    QWidget *m_batteryChip = nullptr;
    QLabel *m_storageSummary = nullptr;
    KSTStorageBarView *m_storageBar = nullptr;
    QList<QLabel *> m_legendLabels;
    KSTGaugeView *m_memoryGauge = nullptr;
    QLabel *m_memoryCaption = nullptr;
    KSTGaugeView *m_processorGauge = nullptr;
    QLabel *m_processorCaption = nullptr;
    QLabel *m_interfaceName = nullptr;
    QLabel *m_download = nullptr;
    QLabel *m_upload = nullptr;
    KSTStorageBarView *m_activityBar = nullptr;
    KSTLargestAppsView *m_largestApps = nullptr;
};
