#pragma once

#include "KSTReporterSnapshot.h"
#include "KSTStartupItemRecord.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

class KSTSystemInfo;

/// What the collectors learnt about the analysed machine itself, and the raw text of the
/// tools they ran (empty when a tool is missing, failed or timed out).
struct KSTReportMachineFacts
{
    QString hardwareModel;   ///< "hw.model" ("MacBookPro18,3"), or the DMI model on Linux
    QString cpuBrand;        ///< "machdep.cpu.brand_string"
    int logicalCpuCount = 0; ///< "hw.ncpu"
    bool appleSilicon = false;
    /// The machine is read with the linux layout: rows whose source is a Mac tool or place
    /// with no counterpart there show "—" instead of the Mac's fallback words.
    bool linuxLayout = false;
    quint64 physicalMemoryBytes = 0;
    QString installedMemoryText; ///< the profiler's hardware "Memory" ("16 GB"), if known
    QString serialNumber;        ///< never shown unmasked
    qint64 uptimeSeconds = -1;   ///< -1: unknown
    QString bootVolumeName;
    QString fileSystem; ///< "APFS (Encrypted)", "APFS", or the type as reported
    qint64 mountedVolumeCount = -1;
    qint64 legacyStartupItemCount = -1;
    QString profilerText; ///< one system_profiler run of the fetch
    QString nvramBootArgs;
    QString csrutilStatus;
    QString fdesetupStatus;
    QString spctlStatus;
    QString firewallState;
    QString diskutilInfoDisk0;
    QString diskutilApfsList;
    QString launchctlSystem;
    QString launchctlUser;
    QString psOutput;
    QString kextstatOutput;
    QString systemExtensionsList;
    QString scutilVpnList;
    bool hasAirportTool = false;
    QString airportInfo;

    // The linux layout's sources; unset or empty when the source is absent or root-only.
    QString osFamilyName;                ///< os-release NAME ("Debian GNU/Linux")
    QString lockdownMode;                ///< "none", "integrity" or "confidentiality"
    std::optional<bool> rootEncrypted;   ///< "/" lies on LUKS
    std::optional<bool> accessControlOn; ///< AppArmor enabled or SELinux enforcing
    std::optional<bool> firewallOn;      ///< ufw, firewalld or nftables enabled
    std::optional<bool> secureBootOn;    ///< the SecureBoot efi variable
    qint64 runningSystemUnits = -1;
    qint64 runningUserUnits = -1;
    qint64 loadedModules = -1;
    qint64 outOfTreeModules = -1;
    std::optional<double> startupSeconds; ///< systemd-analyze's total
    QString vpnName;                      ///< "None detected" when nmcli named none
    QString wirelessQuality;
};

/// What the collectors gather before a report snapshot is built. Filled stage by stage on the
/// report queue and read only there; the snapshot built from it is what leaves the queue.
struct KSTReportContext
{
    KSTSystemInfo *sys = nullptr; ///< the scan service whose overview figures are used
    KSTReporterSnapshot weekly;   ///< the Reporter's weekly snapshot (partial until answered)
    QList<KSTStartupItemRecord> startupItems;
    quint64 storageTotal = 0; ///< boot volume bytes
    quint64 storageUsed = 0;
    quint64 storageFree = 0;
    bool sipEnabled = false;
    bool fvEnabled = false;
    bool gatekeeperOn = false;
    QString buildNumber;
    QString osName;
    QVariantMap appSignatures;     ///< "apple", "dev", "unsigned", "recent", "outdated" counts
    QVariantMap memoryStats;       ///< "pressure", "pressureLevel", "app", "wired", …
    QVariantMap crashStats;        ///< crash-report counts and names
    QVariantMap networkWeek;       ///< "download", "upload", "topApp", "topDomain"
    QVariantMap bootMetrics;       ///< "bootToLogin", "loginRuntime", "totalDesktop", …
    QVariantMap diskHealth;        ///< "internalSMART", "externalSMART", "apfsHealth", …
    QVariantMap browserExtensions; ///< "safari", "chrome", "suspicious", system extensions
    QString externalDisksSummary;
    QString usbDevicesSummary;
    QString thunderboltDevicesSummary;
    KSTReportMachineFacts machine;
};
