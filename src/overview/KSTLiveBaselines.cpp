#include "KSTLiveBaselines.h"

KSTLiveBaselines &KSTLiveBaselines::shared()
{
    // Never destroyed: a sample may still be running on a pool when the process exits.
    static KSTLiveBaselines *const instance = new KSTLiveBaselines;
    return *instance;
}

// A comma inside a macro argument would split it.
using CpuTotals = std::array<quint32, 4>;

#define KST_LOCKED_PROPERTY(Type, getter, setter, member)                                          \
    Type KSTLiveBaselines::getter() const                                                          \
    {                                                                                              \
        Lock lock(m_mutex);                                                                        \
        return member;                                                                             \
    }                                                                                              \
    void KSTLiveBaselines::setter(Type value)                                                      \
    {                                                                                              \
        Lock lock(m_mutex);                                                                        \
        member = value;                                                                            \
    }

KST_LOCKED_PROPERTY(CpuTotals, cpuLoadPreviousTotals, setCpuLoadPreviousTotals,
                    m_cpuLoadPreviousTotals)
KST_LOCKED_PROPERTY(bool, hasCPUBaseline, setHasCPUBaseline, m_hasCPUBaseline)
KST_LOCKED_PROPERTY(bool, hasNetworkBaseline, setHasNetworkBaseline, m_hasNetworkBaseline)
KST_LOCKED_PROPERTY(quint64, previousNetworkInputBytes, setPreviousNetworkInputBytes,
                    m_previousNetworkInputBytes)
KST_LOCKED_PROPERTY(quint64, previousNetworkOutputBytes, setPreviousNetworkOutputBytes,
                    m_previousNetworkOutputBytes)
KST_LOCKED_PROPERTY(double, previousNetworkSampleTime, setPreviousNetworkSampleTime,
                    m_previousNetworkSampleTime)

#undef KST_LOCKED_PROPERTY
