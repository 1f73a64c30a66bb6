#pragma once

#include "KSTHostInfo.h"

#include <QHash>
#include <QStringList>

#include <mutex>

/// A host whose figures a test sets. Every figure starts as "unknown" (empty, 0, nothing);
/// calls may come from the engines' worker threads, so the fields are read and written
/// under a lock through with().
class KSTFakeHostInfo final : public KSTHostInfo
{
public:
    struct Figures
    {
        QString hardwareModel;
        QString cpuBrandString;
        int logicalCpuCount = 1;
        std::optional<KSTCpuTickTotals> cpuTickTotals;
        quint64 physicalMemoryBytes = 0;
        std::optional<quint64> usedMemoryBytes;
        std::optional<qint64> bootTimeSeconds;
        QList<KSTInterfaceAddress> interfaceAddresses;
        std::optional<QList<KSTInterfaceByteCounts>> interfaceByteCounts;
        QHash<QString, QString> interfaceDisplayNames;
        std::optional<QList<QVariantMap>> powerSourceDescriptions = QList<QVariantMap>();
        QString computerName;
        QString localizedHostName;
        QString serialNumber;
        KSTOperatingSystemVersion operatingSystemVersion;
        std::optional<KSTVolumeUsage> volumeUsage;
        QStringList volumeUsagePaths; ///< every path volumeUsage() was asked about
    };

    /// Runs @p change on the figures under the lock.
    template <typename Change> void with(Change change)
    {
        std::lock_guard lock(m_mutex);
        change(m_figures);
    }
    Figures figures()
    {
        std::lock_guard lock(m_mutex);
        return m_figures;
    }

    QString hardwareModel() override { return figures().hardwareModel; }
    QString cpuBrandString() override { return figures().cpuBrandString; }
    int logicalCpuCount() override { return figures().logicalCpuCount; }
    std::optional<KSTCpuTickTotals> cpuTickTotals() override { return figures().cpuTickTotals; }
    quint64 physicalMemoryBytes() override { return figures().physicalMemoryBytes; }
    std::optional<quint64> usedMemoryBytes() override { return figures().usedMemoryBytes; }
    std::optional<qint64> bootTimeSeconds() override { return figures().bootTimeSeconds; }
    QList<KSTInterfaceAddress> interfaceAddresses() override
    {
        return figures().interfaceAddresses;
    }
    std::optional<QList<KSTInterfaceByteCounts>> interfaceByteCounts() override
    {
        return figures().interfaceByteCounts;
    }
    QString interfaceDisplayName(const QString &bsdName) override
    {
        return figures().interfaceDisplayNames.value(bsdName);
    }
    std::optional<QList<QVariantMap>> powerSourceDescriptions() override
    {
        return figures().powerSourceDescriptions;
    }
    QString computerName() override { return figures().computerName; }
    QString localizedHostName() override { return figures().localizedHostName; }
    QString serialNumber() override { return figures().serialNumber; }
    KSTOperatingSystemVersion operatingSystemVersion() override
    {
        return figures().operatingSystemVersion;
    }
    std::optional<KSTVolumeUsage> volumeUsage(const QString &path) override
    {
        std::lock_guard lock(m_mutex);
        m_figures.volumeUsagePaths.append(path);
        return m_figures.volumeUsage;
    }

private:
    std::mutex m_mutex;
    Figures m_figures;
};

/// Installs a fake host for the lifetime of the guard and restores the platform's after.
class KSTScopedFakeHost
{
public:
    KSTScopedFakeHost() : m_host(std::make_shared<KSTFakeHostInfo>())
    {
        KSTHostInfo::setCurrentForTesting(m_host);
    }
    ~KSTScopedFakeHost() { KSTHostInfo::setCurrentForTesting(nullptr); }
    KSTScopedFakeHost(const KSTScopedFakeHost &) = delete;
    KSTScopedFakeHost &operator=(const KSTScopedFakeHost &) = delete;

    KSTFakeHostInfo &operator*() { return *m_host; }
    KSTFakeHostInfo *operator->() { return m_host.get(); }

private:
    std::shared_ptr<KSTFakeHostInfo> m_host;
};
