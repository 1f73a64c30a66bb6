#pragma once

#include <QtGlobal>

#include <array>
#include <mutex>

/// The previous live sample that the next one is measured against: processor tick totals
/// (user, system, idle, nice) and network byte counters with their time. Every KSTLiveMetrics
/// made for one set of baselines shares them, so the Overview's snapshot, its screen's live
/// figures and `kestrel overview --live` continue one another's series.
///
/// Each property is read and written under one lock, from any thread.
class KSTLiveBaselines
{
public:
    /// The program's baselines, made on first call and never destroyed.
    static KSTLiveBaselines &shared();

    KSTLiveBaselines() = default;
    KSTLiveBaselines(const KSTLiveBaselines &) = delete;
    KSTLiveBaselines &operator=(const KSTLiveBaselines &) = delete;

    std::array<quint32, 4> cpuLoadPreviousTotals() const;
    void setCpuLoadPreviousTotals(std::array<quint32, 4> totals);
    bool hasCPUBaseline() const;
    void setHasCPUBaseline(bool has);
    bool hasNetworkBaseline() const;
    void setHasNetworkBaseline(bool has);
    quint64 previousNetworkInputBytes() const;
    void setPreviousNetworkInputBytes(quint64 bytes);
    quint64 previousNetworkOutputBytes() const;
    void setPreviousNetworkOutputBytes(quint64 bytes);
    double previousNetworkSampleTime() const;
    void setPreviousNetworkSampleTime(double seconds);

private:
    using Lock = std::lock_guard<std::mutex>;

    mutable std::mutex m_mutex;
    std::array<quint32, 4> m_cpuLoadPreviousTotals{};
    bool m_hasCPUBaseline = false;
    bool m_hasNetworkBaseline = false;
    quint64 m_previousNetworkInputBytes = 0;
    quint64 m_previousNetworkOutputBytes = 0;
    double m_previousNetworkSampleTime = 0;
};
