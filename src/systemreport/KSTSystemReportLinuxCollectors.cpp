#include "KSTSystemReportLinuxCollectors.h"

#include "KSTEnvironment.h"
#include "KSTLinuxReportParsers.h"
#include "KSTReadOnlyFile.h"
#include "KSTReportFolderListing.h"
#include "KSTSystemReportCommandRunner.h"
#include "KSTSystemReportLocations.h"

#include <QFileInfo>

#include <sys/stat.h>

namespace KSTSystemReportLinuxCollectors {

namespace L = KSTSystemReportLocations;
namespace LP = KSTLinuxReportParsers;
using Runner = KSTSystemReportCommandRunner;

namespace {

constexpr int ToolTimeoutSeconds = L::DefaultTimeoutSeconds;
constexpr qsizetype MaximumCrashEntries = 10'000;

bool insideRoot(const QString &canonical, const QString &root)
{
    return !canonical.isEmpty() && (canonical == root || root == QLatin1String("/") ||
                                    canonical.startsWith(root + QLatin1Char('/')));
}

// Whether something (a link included, never followed) stands at the machine's path.
bool entryExists(const QString &absolutePath)
{
    struct stat status;
    return ::lstat(
               QFile::encodeName(KSTEnvironment::current().systemPath(absolutePath)).constData(),
               &status) == 0;
}

// The root-relative source of "/" is a device name such as "/dev/mapper/luks-…"; a label
// that would not read as one is not shown.
QString deviceName(const QString &source)
{
    return source.startsWith(QLatin1String("/dev/")) ? source : QString();
}

// "_usr_bin_gedit.1000.crash" (apport) → "gedit".
QString crashProgram(const QString &fileName)
{
    return fileName.section(QLatin1Char('.'), 0, 0).section(QLatin1Char('_'), -1);
}

} // namespace

QByteArray readMachineFile(const QString &absolutePath, qint64 maximumBytes)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString path = environment.systemPath(absolutePath);
    if (!environment.isHostRoot()) {
        // Debian's etc/os-release is a link to ../usr/lib/os-release: a link is followed
        // while it stays in the analysed root, never when it (or a folder on the way) would
        // read the host's file as the analysed machine's.
        const QString root = QFileInfo(environment.root()).canonicalFilePath();
        if (!insideRoot(QFileInfo(path).canonicalFilePath(), root))
            return {};
    }
    QByteArray bytes;
    if (KSTReadOnlyFile::readWholeFile(path, maximumBytes, &bytes) != KSTReadOnlyFile::Status::Read)
        return {};
    return bytes;
}

void collectInstant(KSTReportContext &context)
{
    KSTReportMachineFacts &machine = context.machine;
    machine.osFamilyName =
        LP::shellSetting(readMachineFile(L::OsRelease), "NAME").value_or(QString());
    const LP::Mounts mounts = LP::findmntMounts(
        Runner::outputIfSucceeded(ToolTimeoutSeconds, L::Findmnt, L::FindmntArguments)
            .value_or(QByteArray()));
    if (mounts.deviceVolumes >= 0) {
        machine.mountedVolumeCount = mounts.deviceVolumes;
        if (!mounts.rootFileSystem.isEmpty())
            machine.fileSystem = mounts.rootFileSystem;
        if (!deviceName(mounts.rootSource).isEmpty())
            machine.bootVolumeName = mounts.rootSource;
    }
    const QByteArray commandLine = readMachineFile(L::KernelCommandLine).left(4096);
    // "single", "rescue" and "emergency" start a Linux machine the way safe mode does a Mac.
    if (!commandLine.trimmed().isEmpty()) {
        const QList<QByteArray> words = commandLine.simplified().split(' ');
        const bool special = words.contains("single") || words.contains("emergency") ||
                             words.contains("rescue") || words.contains("S") ||
                             commandLine.contains("systemd.unit=rescue") ||
                             commandLine.contains("systemd.unit=emergency");
        machine.nvramBootArgs = special ? QStringLiteral("safe") : QStringLiteral("normal");
    }
}

void collectMedium(KSTReportContext &context)
{
    KSTReportMachineFacts &machine = context.machine;
    const std::optional<QByteArray> system =
        Runner::outputIfSucceeded(ToolTimeoutSeconds, L::Systemctl, L::RunningServicesArguments);
    const std::optional<QByteArray> user = Runner::outputIfSucceeded(
        ToolTimeoutSeconds, L::Systemctl,
        QStringList{QStringLiteral("--user")} + L::RunningServicesArguments);
    machine.runningSystemUnits = system ? LP::unitCount(*system) : -1;
    machine.runningUserUnits = user ? LP::unitCount(*user) : -1;

    const QByteArray modules = readMachineFile(L::ProcModules, 4 * SmallFileBytes);
    if (!modules.isEmpty()) {
        const LP::Modules loaded = LP::loadedModules(modules);
        machine.loadedModules = loaded.loaded;
        machine.outOfTreeModules = loaded.outOfTree;
    }
    machine.startupSeconds = LP::startupSeconds(
        Runner::outputIfSucceeded(ToolTimeoutSeconds, L::SystemdAnalyze).value_or(QByteArray()));
    // nmcli prints nothing when no connection is up: still an answer.
    if (const std::optional<QByteArray> connections =
            Runner::outputIfSucceeded(ToolTimeoutSeconds, L::Nmcli, L::NmcliArguments))
        machine.vpnName = LP::activeVpn(*connections);
    const QByteArray wireless = readMachineFile(L::ProcNetWireless);
    if (!wireless.isEmpty())
        machine.wirelessQuality = LP::wirelessQuality(wireless);
}

void collectSecurity(KSTReportContext &context)
{
    KSTReportMachineFacts &machine = context.machine;
    machine.lockdownMode = LP::lockdownMode(readMachineFile(L::Lockdown));
    context.sipEnabled =
        !machine.lockdownMode.isEmpty() && machine.lockdownMode != QLatin1String("none");

    machine.rootEncrypted =
        LP::rootOnLuks(Runner::outputIfSucceeded(ToolTimeoutSeconds, L::Lsblk, L::LsblkArguments)
                           .value_or(QByteArray()));
    context.fvEnabled = machine.rootEncrypted.value_or(false);

    const QByteArray appArmor = readMachineFile(L::AppArmorEnabled).trimmed();
    const QByteArray enforce = readMachineFile(L::SelinuxEnforce).trimmed();
    if (!appArmor.isEmpty() || !enforce.isEmpty())
        machine.accessControlOn = appArmor == "Y" || enforce == "1";
    context.gatekeeperOn = machine.accessControlOn.value_or(false);

    const std::optional<QString> ufw = LP::shellSetting(readMachineFile(L::UfwConf), "ENABLED");
    bool unitEnabled = false, unitInstalled = false;
    for (const QString &link : L::FirewallUnitLinks)
        unitEnabled = unitEnabled || entryExists(link);
    for (const QString &unit : L::FirewallUnits)
        unitInstalled = unitInstalled || entryExists(unit);
    if (ufw || unitEnabled || unitInstalled)
        machine.firewallOn = unitEnabled || ufw.value_or(QString()) == QLatin1String("yes");

    machine.secureBootOn = LP::efiFlag(readMachineFile(L::SecureBootVariable, 64));
}

void collectCrashStats(KSTReportContext &context, const QDateTime &now)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    // coredumpctl fails (status 1, "No coredumps found.") when there are none: its answer
    // then counts only beside the crash folder.
    const std::optional<QByteArray> dumps =
        Runner::outputIfSucceeded(ToolTimeoutSeconds, L::Coredumpctl,
                                  {QStringLiteral("--json=short"), QStringLiteral("--no-pager")});
    LP::Coredumps recent = LP::recentCoredumps(dumps.value_or(QByteArray()), now);
    const QString crashFolder = environment.systemPath(L::CrashFolder);
    if (!dumps && !KSTReportFolderListing::isFolder(crashFolder))
        return;
    qint64 kernelCrashes = 0;
    QDateTime lastKernelCrash;
    for (const KSTReportFolderEntry &entry :
         KSTReportFolderListing::entries(crashFolder, MaximumCrashEntries)) {
        const qint64 age = entry.modified.secsTo(now);
        if (entry.isFolder) { // kdump-tools keeps each kernel crash in a dated folder
            if (age < 0 || age > 90 * 86'400)
                continue;
            ++kernelCrashes;
            if (!lastKernelCrash.isValid() || entry.modified > lastKernelCrash)
                lastKernelCrash = entry.modified;
        } else if (entry.isFile && entry.name.endsWith(QLatin1String(".crash")) && age >= 0 &&
                   age <= 7 * 86'400) {
            ++recent.recent;
            const QString name = crashProgram(entry.name);
            if (!name.isEmpty() && !recent.names.contains(name))
                recent.names.append(name);
        }
    }
    context.crashStats = {
        {QStringLiteral("recent"),
         recent.recent ? QStringLiteral("%1 (%2)").arg(recent.recent).arg(recent.names.join(u", "))
                       : QStringLiteral("0")},
        {QStringLiteral("kernelPanic"),
         kernelCrashes ? QString::number(kernelCrashes) : QStringLiteral("None in 90 days")},
        {QStringLiteral("kernelPanicStyle"), kernelCrashes ? 3 : 1},
        {QStringLiteral("lastPanic"), lastKernelCrash.isValid()
                                          ? lastKernelCrash.toString(QStringLiteral("yyyy-MM-dd"))
                                          : QStringLiteral("None in 90 days")},
    };
}

} // namespace KSTSystemReportLinuxCollectors
