// Runs the App Manage discovery on a Mac under --root the way the screen starts it (the
// frame's scan, up to the complete snapshot; the throttled passes after it are cancelled)
// and prints, as one JSON line, the applications found, the time discovery took and the
// process's peak resident size. With --lookups it then builds the related-path index and
// looks up every application's related paths, reporting the index time and the time per
// application. The runner script times the whole process against find + file.
#include "KSTAppInventoryEngine.h"
#include "KSTDispatch.h"
#include "KSTEnvironment.h"
#include "KSTRelatedPathLookup.h"
#include "KSTSystemInfo.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

// VmHWM of this process: the high-water mark of its own address space, which starts anew at
// exec (unlike ru_maxrss, which a forking parent's size can carry over).
long peakResidentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

double percentile(std::vector<double> values, double fraction)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values.at(std::min(values.size() - 1, size_t(fraction * double(values.size()))));
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments().mid(1);
    const qsizetype rootAt = arguments.indexOf(QStringLiteral("--root"));
    if (rootAt < 0 || rootAt + 1 >= arguments.size()) {
        std::fprintf(stderr, "usage: %s --root ROOT [--lookups]\n", argv[0]);
        return 2;
    }
    QString error;
    KSTEnvironment::Options options;
    options.root = arguments.at(rootAt + 1);
    const std::optional<KSTEnvironment> environment = KSTEnvironment::fromOptions(options, &error);
    if (!environment) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 2;
    }
    KSTEnvironment::setCurrent(*environment);

    KSTSystemInfo &info = KSTSystemInfo::shared();
    KSTAppInventoryEngine &engine = KSTAppInventoryEngine::shared();
    QElapsedTimer timer;
    timer.start();
    KSTSystemInfo::AppInventorySnapshotPtr snapshot;
    info.scanInstalledApplicationsWithProgress(
        nullptr, [&snapshot](KSTSystemInfo::AppInventorySnapshotPtr done) { snapshot = done; });
    KSTDispatch::runMainLoopUntil([&snapshot] { return snapshot != nullptr; }, 600'000);
    const double discoverySeconds = double(timer.nsecsElapsed()) / 1e9;
    info.cancelAppInventoryScan();
    info.appInventoryQueue().sync([] {});
    if (!snapshot)
        return 1;

    QString lookups;
    if (arguments.contains(QStringLiteral("--lookups"))) {
        timer.restart();
        const auto index = engine.relatedPaths().relatedPathScanIndex();
        const double indexSeconds = double(timer.nsecsElapsed()) / 1e9;
        std::vector<double> perApp;
        qsizetype found = 0;
        for (const KSTInstalledAppRecord &app : snapshot->apps) {
            timer.restart();
            found += KSTRelatedPathLookup::relatedPathsForInstalledApp(app, *index).size();
            perApp.push_back(double(timer.nsecsElapsed()) / 1e6);
        }
        lookups = QStringLiteral(", \"indexSeconds\": %1, \"relatedPaths\": %2, "
                                 "\"lookupMedianMs\": %3, \"lookupP95Ms\": %4, \"lookupMaxMs\": %5")
                      .arg(indexSeconds, 0, 'f', 6)
                      .arg(found)
                      .arg(percentile(perApp, 0.5), 0, 'f', 3)
                      .arg(percentile(perApp, 0.95), 0, 'f', 3)
                      .arg(percentile(perApp, 1.0), 0, 'f', 3);
    }
    std::printf("{\"apps\": %lld, \"discoverySeconds\": %.6f, \"peakRssKiB\": %ld%s}\n",
                static_cast<long long>(snapshot->apps.size()), discoverySeconds, peakResidentKiB(),
                qPrintable(lookups));
    return 0;
}
