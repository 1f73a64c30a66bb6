#include "KSTOverviewCommand.h"

#include "KSTDispatch.h"
#include "KSTFormatting.h"
#include "KSTLiveBaselines.h"
#include "KSTLiveMetrics.h"
#include "KSTSystemInfo.h"
#include "KSTSystemSnapshot.h"
#include "KSTTerminalText.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

// A fetch sizes every application bundle; on a large disk that takes minutes, but an
// answer that never comes (no builder installed) must not hang the command for ever.
constexpr int OverviewTimeoutMs = 30 * 60 * 1000;
constexpr int LiveSampleTimeoutMs = 60 * 1000;
constexpr int LiveSampleIntervalMs = 1000;

QJsonValue overviewBytesValue(quint64 bytes)
{
    return QJsonValue(qint64(bytes));
}

QJsonObject overviewJson(const KSTSystemSnapshot &snapshot)
{
    QJsonArray categories;
    for (const KSTStorageCategory &category : snapshot.storageCategories)
        categories.append(QJsonObject{{QStringLiteral("name"), category.name},
                                      {QStringLiteral("bytes"), overviewBytesValue(category.bytes)},
                                      {QStringLiteral("colorKey"), category.colorKey}});
    QJsonArray apps;
    for (const KSTAppUsageInfo &app : snapshot.topApps)
        apps.append(QJsonObject{{QStringLiteral("name"), app.name},
                                {QStringLiteral("bundlePath"), app.bundlePath},
                                {QStringLiteral("sizeBytes"), overviewBytesValue(app.sizeBytes)},
                                {QStringLiteral("cpuUsage"), app.cpuUsage}});
    return QJsonObject{
        {QStringLiteral("machineTitle"), snapshot.machineTitle},
        {QStringLiteral("specsLine"), snapshot.specsLine},
        {QStringLiteral("macOSVersionLine"), snapshot.macOSVersionLine},
        {QStringLiteral("uptimeText"), snapshot.uptimeText},
        {QStringLiteral("batteryText"),
         snapshot.batteryText ? QJsonValue(*snapshot.batteryText) : QJsonValue()},
        {QStringLiteral("hasBattery"), snapshot.hasBattery},
        {QStringLiteral("storageTotalBytes"), overviewBytesValue(snapshot.storageTotalBytes)},
        {QStringLiteral("storageUsedBytes"), overviewBytesValue(snapshot.storageUsedBytes)},
        {QStringLiteral("storageUsedFraction"), snapshot.storageUsedFraction},
        {QStringLiteral("memoryTotalBytes"), overviewBytesValue(snapshot.memoryTotalBytes)},
        {QStringLiteral("memoryUsedBytes"), overviewBytesValue(snapshot.memoryUsedBytes)},
        {QStringLiteral("memoryUsedFraction"), snapshot.memoryUsedFraction},
        {QStringLiteral("cpuUsageFraction"), snapshot.cpuUsageFraction},
        {QStringLiteral("cpuCoreCount"), snapshot.cpuCoreCount},
        {QStringLiteral("networkInterfaceName"), snapshot.networkInterfaceName},
        {QStringLiteral("networkDownloadMBps"), snapshot.networkDownloadMBps},
        {QStringLiteral("networkUploadMBps"), snapshot.networkUploadMBps},
        {QStringLiteral("networkActivityFraction"), snapshot.networkActivityFraction},
        {QStringLiteral("storageCategories"), categories},
        {QStringLiteral("topApps"), apps},
        {QStringLiteral("installedAppCount"), snapshot.installedAppCount},
    };
}

QString overviewPercent(double fraction)
{
    return QString::number(fraction * 100.0, 'f', 0) + QLatin1Char('%');
}

void printOverviewSummary(QTextStream &out, const KSTSystemSnapshot &snapshot)
{
    using KSTTerminalText::escaped;
    // The title and specs come from the analysed volume's own files and tools.
    out << escaped(snapshot.machineTitle) << '\n' << escaped(snapshot.specsLine) << '\n';
    out << snapshot.uptimeText << QStringLiteral(" · ")
        << snapshot.batteryText.value_or(QStringLiteral("No battery")) << "\n\n";
    out << "Storage       " << KSTFormatting::formatBytesShort(snapshot.storageUsedBytes) << " of "
        << KSTFormatting::formatBytesShort(snapshot.storageTotalBytes) << " used ("
        << overviewPercent(snapshot.storageUsedFraction) << ")\n";
    for (const KSTStorageCategory &category : snapshot.storageCategories)
        out << "  " << category.name.leftJustified(16)
            << KSTFormatting::formatBytesShort(category.bytes) << '\n';
    out << "Memory        " << KSTFormatting::formatBytesShort(snapshot.memoryUsedBytes) << " of "
        << KSTFormatting::formatBytesShort(snapshot.memoryTotalBytes) << " used ("
        << overviewPercent(snapshot.memoryUsedFraction) << ")\n";
    out << "Processor     " << snapshot.cpuCoreCount << " logical processors, "
        << overviewPercent(snapshot.cpuUsageFraction) << " busy\n";
    out << "Network       " << escaped(snapshot.networkInterfaceName) << "\n\n";
    out << "Applications  " << KSTFormatting::formatCount(quint64(snapshot.installedAppCount))
        << " installed";
    if (snapshot.topApps.isEmpty()) {
        out << '\n';
        return;
    }
    out << "; the largest:\n";
    for (const KSTAppUsageInfo &app : snapshot.topApps)
        out << "  " << escaped(app.name).leftJustified(24) << ' '
            << KSTFormatting::formatBytesShort(app.sizeBytes).rightJustified(8) << "  "
            << escaped(app.bundlePath) << '\n';
}

int runOverviewSnapshot(KSTCliContext &context)
{
    KSTSystemInfo::SystemSnapshotPtr snapshot;
    KSTSystemInfo::shared().fetchSnapshotAsync(
        [&snapshot](KSTSystemInfo::SystemSnapshotPtr delivered) { snapshot = delivered; });
    if (!KSTDispatch::runMainLoopUntil([&snapshot] { return snapshot != nullptr; },
                                       OverviewTimeoutMs))
        return context.failure({QStringLiteral("KSTSystemInfo"),
                                1,
                                QStringLiteral("The overview did not arrive."),
                                {}});
    if (context.json())
        context.printJson(overviewJson(*snapshot));
    else
        printOverviewSummary(context.out(), *snapshot);
    return KSTCliContext::Success;
}

struct LiveSample
{
    double processor = 0;
    double memory = 0;
    double download = 0;
    double upload = 0;
    double activity = 0;
};

int runLive(KSTCliContext &context, int count)
{
    const KSTLiveMetrics live(KSTLiveBaselines::shared());
    QJsonArray samples;
    QTextStream &out = context.out();
    for (int index = 0; index < count; ++index) {
        if (index > 0)
            KSTDispatch::runMainLoopUntil([] { return false; }, LiveSampleIntervalMs);
        std::optional<LiveSample> sample;
        live.sampleLiveMetricsWithCompletion([&sample](double processor, double memory,
                                                       double download, double upload,
                                                       double activity) {
            sample = LiveSample{processor, memory, download, upload, activity};
        });
        if (!KSTDispatch::runMainLoopUntil([&sample] { return sample.has_value(); },
                                           LiveSampleTimeoutMs))
            return context.failure({QStringLiteral("KSTSystemInfo"),
                                    2,
                                    QStringLiteral("A live sample did not arrive."),
                                    {}});
        if (context.json()) {
            samples.append(
                QJsonObject{{QStringLiteral("cpuUsageFraction"), sample->processor},
                            {QStringLiteral("memoryUsedFraction"), sample->memory},
                            {QStringLiteral("networkDownloadMBps"), sample->download},
                            {QStringLiteral("networkUploadMBps"), sample->upload},
                            {QStringLiteral("networkActivityFraction"), sample->activity}});
            continue;
        }
        out << "Processor " << overviewPercent(sample->processor).rightJustified(4) << "   Memory "
            << overviewPercent(sample->memory).rightJustified(4) << "   Download "
            << KSTFormatting::formatThroughput(sample->download).rightJustified(10) << "   Upload "
            << KSTFormatting::formatThroughput(sample->upload).rightJustified(10) << "   Activity "
            << overviewPercent(sample->activity).rightJustified(4)
            << (index == 0 ? "   (baseline)" : "") << '\n';
        out.flush();
    }
    if (context.json())
        context.printJson(samples);
    return KSTCliContext::Success;
}

} // namespace

int kstRunOverviewCommand(KSTCliContext &context)
{
    bool ok = true;
    const std::optional<QString> live = context.takeOption(QStringLiteral("--live"), &ok);
    if (!ok)
        return context.usageError(QStringLiteral("--live needs a number of samples"));
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("overview takes no argument '%1'").arg(context.arguments().first()));
    if (!live)
        return runOverviewSnapshot(context);
    bool isNumber = false;
    const int count = live->toInt(&isNumber);
    if (!isNumber || count < 1)
        return context.usageError(
            QStringLiteral("--live needs a positive number of samples, not '%1'").arg(*live));
    return runLive(context, count);
}
