#pragma once

#include <QtGlobal>

#include <functional>

class KSTLiveBaselines;

/// The Overview's live figures: processor load, memory use and network throughput, sampled
/// again and again from the host's kernel counters (KSTHostInfo).
///
/// Load and throughput are differences between two samples, so the first sample of each only
/// lays a baseline and reports 0; values appear from the second on. The baselines live in a
/// KSTLiveBaselines, so every KSTLiveMetrics made for one set shares them. The baselines must
/// outlive the object and every sample it has started.
///
/// Each call reads and writes the baselines in separate locked steps: concurrent samples of
/// one service are free of data races but may interleave their baselines. The Overview
/// drives one live sample at a time.
///
/// These are figures of the running host even when another machine's volume is analysed
/// (--root): a volume has no live processor.
class KSTLiveMetrics
{
public:
    /// Seconds since the platform's reference date (2001-01-01 00:00 UTC).
    using Clock = std::function<double()>;
    /// Processor fraction, memory fraction, download and upload in MB (2^20 bytes) per
    /// second, activity fraction.
    using Handler = std::function<void(double processor, double memory, double download,
                                       double upload, double activity)>;
    /// Takes one sample and calls the handler on the main thread (a screen's source of live
    /// figures; tests hand in one that counts).
    using Sampler = std::function<void(Handler handler)>;

    /// Measures against @p baselines, reading the time from @p clock (the wall clock when
    /// empty).
    explicit KSTLiveMetrics(KSTLiveBaselines &baselines, Clock clock = {});

    /// Takes a processor, memory and network sample (without reset) on the user-initiated
    /// global pool, then calls @p handler on the main queue. A null handler is allowed: the
    /// sample still moves the baselines.
    void sampleLiveMetricsWithCompletion(Handler handler) const;

    /// Busy share of the processor ticks since the previous call, in [0, 1]. The first call
    /// (no baseline) stores the totals and returns 0; so does a host whose ticks cannot be
    /// read (the baseline is then left as it was) and an interval without ticks.
    double currentCPUUsageFraction() const;

    /// Memory in use ÷ physical memory, capped at 1; 0 when either cannot be read.
    static double currentMemoryUsageFraction();

    /// Bytes received and sent since boot, summed over every interface but loopback. Either
    /// pointer may be null; both become 0 when the counters cannot be read.
    static void networkByteCounts(quint64 *inputBytes, quint64 *outputBytes);

    /// Throughput since the previous sample: with a baseline and without @p forceReset,
    /// download and upload are the byte differences ÷ the elapsed time (at least 0.05 s, so
    /// two samples close together do not explode) in MB/s, and activity is their sum ÷ 100
    /// MB/s, capped at 1. Otherwise (first sample, or reset) the baseline is laid and all
    /// three are 0. The counters and the time always become the new baseline. Any pointer
    /// may be null.
    void sampleNetworkThroughputIntoDownload(double *download, double *upload, double *activity,
                                             bool forceReset) const;

    /// The wall clock in seconds since 2001-01-01 00:00 UTC.
    static double secondsSinceReferenceDate();

    /// The shortest interval a throughput is divided by.
    static constexpr double MinimumSampleInterval = 0.05;
    /// Combined throughput (MB/s) that counts as full activity.
    static constexpr double FullActivityMBps = 100.0;

private:
    KSTLiveBaselines *m_baselines;
    Clock m_clock;
};
