#include "KSTLiveMetrics.h"

#include "KSTDispatch.h"
#include "KSTHostInfo.h"
#include "KSTLiveBaselines.h"

#include <QDateTime>

#include <algorithm>

namespace {

// 2001-01-01 00:00:00 UTC in seconds since 1970: the platform's reference date.
constexpr double ReferenceDateOffset = 978'307'200.0;
constexpr double BytesPerMegabyte = 1024.0 * 1024.0;

// The sums shrink when an interface goes away or a 32-bit counter wraps; an unsigned
// difference would then report petabytes per second for one sample, so a shrinking sum
// counts as no traffic.
double bytesGained(quint64 previous, quint64 now)
{
    return now >= previous ? double(now - previous) : 0.0;
}

} // namespace

KSTLiveMetrics::KSTLiveMetrics(KSTLiveBaselines &baselines, Clock clock)
    : m_baselines(&baselines),
      m_clock(clock ? std::move(clock) : Clock(&KSTLiveMetrics::secondsSinceReferenceDate))
{
}

double KSTLiveMetrics::secondsSinceReferenceDate()
{
    return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0 - ReferenceDateOffset;
}

void KSTLiveMetrics::sampleLiveMetricsWithCompletion(Handler handler) const
{
    // The sample works on a copy: this object may be gone before the pool runs it.
    KSTDispatch::globalAsync(
        KSTQualityOfService::UserInitiated, [self = *this, handler = std::move(handler)] {
            const double processor = self.currentCPUUsageFraction();
            const double memory = currentMemoryUsageFraction();
            double download = 0;
            double upload = 0;
            double activity = 0;
            self.sampleNetworkThroughputIntoDownload(&download, &upload, &activity, false);
            if (!handler)
                return;
            KSTDispatch::mainAsync([handler, processor, memory, download, upload, activity] {
                handler(processor, memory, download, upload, activity);
            });
        });
}

double KSTLiveMetrics::currentCPUUsageFraction() const
{
    const std::optional<KSTCpuTickTotals> ticks = KSTHostInfo::current().cpuTickTotals();
    if (!ticks)
        return 0;
    const std::array<quint32, 4> totals = {ticks->user, ticks->system, ticks->idle, ticks->nice};
    if (!m_baselines->hasCPUBaseline()) {
        m_baselines->setCpuLoadPreviousTotals(totals);
        m_baselines->setHasCPUBaseline(true);
        return 0;
    }
    const std::array<quint32, 4> previous = m_baselines->cpuLoadPreviousTotals();
    m_baselines->setCpuLoadPreviousTotals(totals);
    // The kernel's counters are 32-bit and wrap; unsigned differences stay right across it.
    const quint32 busy =
        (totals[0] - previous[0]) + (totals[1] - previous[1]) + (totals[3] - previous[3]);
    const quint32 idle = totals[2] - previous[2];
    const double all = double(busy) + double(idle);
    if (all == 0)
        return 0;
    return std::min(1.0, double(busy) / all);
}

double KSTLiveMetrics::currentMemoryUsageFraction()
{
    KSTHostInfo &host = KSTHostInfo::current();
    const std::optional<quint64> used = host.usedMemoryBytes();
    const quint64 physical = host.physicalMemoryBytes();
    if (!used || physical == 0)
        return 0;
    return std::min(1.0, double(*used) / double(physical));
}

void KSTLiveMetrics::networkByteCounts(quint64 *inputBytes, quint64 *outputBytes)
{
    quint64 input = 0;
    quint64 output = 0;
    const std::optional<QList<KSTInterfaceByteCounts>> counts =
        KSTHostInfo::current().interfaceByteCounts();
    for (const KSTInterfaceByteCounts &interface :
         counts.value_or(QList<KSTInterfaceByteCounts>())) {
        if (interface.name.isEmpty() || interface.isLoopback)
            continue;
        input += interface.receivedBytes;
        output += interface.sentBytes;
    }
    if (inputBytes)
        *inputBytes = input;
    if (outputBytes)
        *outputBytes = output;
}

void KSTLiveMetrics::sampleNetworkThroughputIntoDownload(double *download, double *upload,
                                                         double *activity, bool forceReset) const
{
    quint64 input = 0;
    quint64 output = 0;
    networkByteCounts(&input, &output);
    const double now = m_clock();

    double downloadMBps = 0;
    double uploadMBps = 0;
    double activityFraction = 0;
    if (!forceReset && m_baselines->hasNetworkBaseline()) {
        const double elapsed =
            std::max(now - m_baselines->previousNetworkSampleTime(), MinimumSampleInterval);
        downloadMBps = bytesGained(m_baselines->previousNetworkInputBytes(), input) / elapsed /
                       BytesPerMegabyte;
        uploadMBps = bytesGained(m_baselines->previousNetworkOutputBytes(), output) / elapsed /
                     BytesPerMegabyte;
        activityFraction = std::min(1.0, (downloadMBps + uploadMBps) / FullActivityMBps);
    }
    m_baselines->setPreviousNetworkInputBytes(input);
    m_baselines->setPreviousNetworkOutputBytes(output);
    m_baselines->setPreviousNetworkSampleTime(now);
    m_baselines->setHasNetworkBaseline(true);

    if (download)
        *download = std::max(0.0, downloadMBps);
    if (upload)
        *upload = std::max(0.0, uploadMBps);
    if (activity)
        *activity = activityFraction;
}
