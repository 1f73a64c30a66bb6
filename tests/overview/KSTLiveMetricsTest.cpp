// Live processor, memory and network figures from a fake host and a hand-driven clock.
#include "KSTLiveMetrics.h"

#include "KSTDispatch.h"
#include "KSTFakeHostInfo.h"
#include "KSTLiveBaselines.h"
#include "KSTTestSupport.h"

#include <gtest/gtest.h>

using FakeFigures = KSTFakeHostInfo::Figures;

namespace {

constexpr quint64 MiB = 1024 * 1024;

class LiveMetricsTest : public ::testing::Test
{
protected:
    KSTLiveMetrics metrics()
    {
        return KSTLiveMetrics(baselines, [this] { return now; });
    }
    void setTicks(std::optional<KSTCpuTickTotals> ticks)
    {
        host->with([&](FakeFigures &f) { f.cpuTickTotals = ticks; });
    }
    void setCounters(quint64 received, quint64 sent)
    {
        host->with([&](FakeFigures &f) {
            f.interfaceByteCounts = QList<KSTInterfaceByteCounts>{
                // Loopback traffic moves with the rest; it must not count.
                {QStringLiteral("lo"), true, 3 * received, 3 * sent},
                {QStringLiteral("eth0"), false, received / 2, sent},
                {QStringLiteral("wlan0"), false, received - received / 2, 0},
            };
        });
    }

    KSTScopedFakeHost host;
    KSTLiveBaselines baselines;
    double now = 1000.0;
};

TEST_F(LiveMetricsTest, ProcessorLoadIsTheBusyShareSinceThePreviousSample)
{
    const quint32 nearWrap = 0xFFFFFFF0u;
    const struct
    {
        std::optional<KSTCpuTickTotals> ticks;
        double fraction;
    } steps[] = {
        {std::nullopt, 0.0},                            // unreadable: no baseline laid
        {KSTCpuTickTotals{100, 50, 800, 10}, 0.0},      // baseline
        {KSTCpuTickTotals{130, 60, 850, 20}, 0.5},      // busy 50 of 100
        {KSTCpuTickTotals{130, 60, 850, 20}, 0.0},      // no ticks in between
        {std::nullopt, 0.0},                            // unreadable: baseline kept
        {KSTCpuTickTotals{130, 60, 940, 20}, 0.0},      // all idle
        {KSTCpuTickTotals{nearWrap, 60, 940, 20}, 1.0}, // all busy
        {KSTCpuTickTotals{0x10, 60, 972, 20}, 0.5},     // user wrapped: 32 busy, 32 idle
    };
    const KSTLiveMetrics live = metrics();
    for (size_t index = 0; index < std::size(steps); ++index) {
        setTicks(steps[index].ticks);
        EXPECT_DOUBLE_EQ(live.currentCPUUsageFraction(), steps[index].fraction) << index;
    }
    EXPECT_TRUE(baselines.hasCPUBaseline());
}

TEST_F(LiveMetricsTest, MemoryFractionIsCapped)
{
    const struct
    {
        quint64 physical;
        std::optional<quint64> used;
        double fraction;
    } cases[] = {{1000, 250, 0.25}, {1000, 1500, 1.0}, {1000, std::nullopt, 0.0}, {0, 100, 0.0}};
    for (const auto &c : cases) {
        host->with([&](FakeFigures &f) {
            f.physicalMemoryBytes = c.physical;
            f.usedMemoryBytes = c.used;
        });
        EXPECT_DOUBLE_EQ(KSTLiveMetrics::currentMemoryUsageFraction(), c.fraction);
    }
}

TEST_F(LiveMetricsTest, ThroughputDividesByTheIntervalOfAtLeastFiftyMilliseconds)
{
    const struct
    {
        const char *description;
        double seconds; // since the previous sample
        quint64 received;
        quint64 sent;
        bool reset;
        double download;
        double upload;
        double activity;
    } steps[] = {
        {"first sample lays the baseline", 0, 10 * MiB, 10 * MiB, false, 0, 0, 0},
        {"10 ms later counts as 50 ms", 0.010, 11 * MiB, 10 * MiB, false, 20, 0, 0.2},
        {"two seconds", 2.0, 211 * MiB, 110 * MiB, false, 100, 50, 1.0},
        {"a reset only lays a baseline", 5.0, 999 * MiB, 999 * MiB, true, 0, 0, 0},
        {"counters that shrink are no traffic", 1.0, 5 * MiB, 1000 * MiB, false, 0, 1, 0.01},
        {"a clock set back counts as 50 ms", -3.0, 5 * MiB + MiB / 16, 1000 * MiB, false, 1.25, 0,
         0.0125},
    };
    const KSTLiveMetrics live = metrics();
    for (const auto &step : steps) {
        now += step.seconds;
        setCounters(step.received, step.sent);
        double download = -1;
        double upload = -1;
        double activity = -1;
        live.sampleNetworkThroughputIntoDownload(&download, &upload, &activity, step.reset);
        EXPECT_NEAR(download, step.download, 1e-9) << step.description;
        EXPECT_NEAR(upload, step.upload, 1e-9) << step.description;
        EXPECT_NEAR(activity, step.activity, 1e-9) << step.description;
        EXPECT_EQ(baselines.previousNetworkSampleTime(), now) << step.description;
    }
}

TEST_F(LiveMetricsTest, SampleIsDeliveredOnTheMainThread)
{
    host->with([](FakeFigures &f) {
        f.cpuTickTotals = KSTCpuTickTotals{10, 10, 10, 10};
        f.physicalMemoryBytes = 400;
        f.usedMemoryBytes = 100;
    });
    setCounters(MiB, 0);
    std::optional<QList<double>> sample; // processor, memory, download, upload, activity
    bool onMainThread = false;
    // The sample outlives the object that started it.
    KSTLiveMetrics(baselines).sampleLiveMetricsWithCompletion(
        [&](double processor, double memory, double download, double upload, double activity) {
            sample = QList<double>{processor, memory, download, upload, activity};
            onMainThread = KSTDispatch::isMainThread();
        });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return sample.has_value(); }));
    EXPECT_TRUE(onMainThread);
    EXPECT_EQ(*sample, (QList<double>{0.0, 0.25, 0.0, 0.0, 0.0})); // baselines but memory
    EXPECT_TRUE(baselines.hasCPUBaseline());
    EXPECT_TRUE(baselines.hasNetworkBaseline());
}

} // namespace
