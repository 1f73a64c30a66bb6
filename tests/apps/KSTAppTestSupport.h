#pragma once

#include "KSTAppInventoryEngine.h"
#include "KSTMachineTest.h"
#include "KSTRelatedPathLookup.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>

/// A fixture Mac with its own service and App Manage engine (throttles of a millisecond, so
/// whole scans run in tests), and the waits App Manage tests share.
class KSTAppsMachineTest : public KSTMachineTest
{
protected:
    using SnapshotPtr = KSTSystemInfo::AppInventorySnapshotPtr;

    void SetUp() override
    {
        KSTMachineTest::SetUp();
        KSTAppInventoryEngine::Options options;
        options.metadataThrottle = std::chrono::milliseconds(1);
        options.sizeThrottle = std::chrono::milliseconds(1);
        engine = KSTAppInventoryEngine::install(info, options);
    }

    void TearDown() override
    {
        // A pass still running would go on after the machine is gone.
        info.cancelAppInventoryScan();
        info.appInventoryQueue().sync([] {});
        KSTMachineTest::TearDown();
    }

    /// An application in /Applications (or @p location) with @p resourceBytes of resources.
    QString addApp(const QString &name, const QString &identifier, qint64 resourceBytes = 4096,
                   const QString &location = QStringLiteral("Applications"))
    {
        KSTFixtureMac::App app;
        app.name = name;
        app.bundleIdentifier = identifier;
        app.location = location;
        app.resourceBytes = resourceBytes;
        return mac.addApp(app);
    }

    /// Discovery: the completion's snapshot (complete, sizes pending); @p progress gets every
    /// progress snapshot.
    SnapshotPtr discover(QList<SnapshotPtr> *progress = nullptr)
    {
        SnapshotPtr complete;
        info.scanInstalledApplicationsWithProgress(
            [progress](SnapshotPtr snapshot) {
                if (progress)
                    progress->append(snapshot);
            },
            [&complete](SnapshotPtr snapshot) { complete = snapshot; });
        EXPECT_TRUE(KSTTestSupport::pumpUntil([&complete] { return complete != nullptr; }, 60'000));
        return complete;
    }

    /// Waits until the cached inventory says "Scan complete" and returns it.
    SnapshotPtr waitForScanComplete()
    {
        SnapshotPtr done;
        EXPECT_TRUE(KSTTestSupport::pumpUntil(
            [&] {
                const SnapshotPtr cached = info.cachedAppInventorySnapshotIfComplete();
                if (cached && cached->isSizeCalculationComplete &&
                    cached->statusText == QLatin1String("Scan complete"))
                    done = cached;
                return done != nullptr;
            },
            60'000));
        return done;
    }

    /// Discovery, then the passes stopped: the records as discovery made them.
    SnapshotPtr discoverOnly()
    {
        const SnapshotPtr snapshot = discover();
        info.cancelAppInventoryScan();
        info.appInventoryQueue().sync([] {});
        return snapshot;
    }

    static std::optional<KSTInstalledAppRecord> appNamed(const SnapshotPtr &snapshot,
                                                         const QString &name)
    {
        if (!snapshot)
            return std::nullopt;
        for (const KSTInstalledAppRecord &app : snapshot->apps) {
            if (app.name == name)
                return app;
        }
        return std::nullopt;
    }

    /// The related paths of @p record, through the engine's queue.
    QList<KSTInstalledAppRelatedPath> relatedPathsOf(const KSTInstalledAppRecord &record)
    {
        std::optional<QList<KSTInstalledAppRelatedPath>> paths;
        engine->relatedPaths().loadRelatedPathsForApp(
            record, [&paths](const QList<KSTInstalledAppRelatedPath> &found) { paths = found; });
        EXPECT_TRUE(KSTTestSupport::pumpUntil([&paths] { return paths.has_value(); }, 60'000));
        return paths.value_or(QList<KSTInstalledAppRelatedPath>());
    }

    /// @p record with its related paths loaded.
    KSTInstalledAppRecord withRelatedPaths(KSTInstalledAppRecord record)
    {
        KSTRelatedPathLookup::applyRelatedPaths(record, relatedPathsOf(record));
        return record;
    }

    /// Sets the access time of @p path (not following a link), keeping its modification time.
    static bool setAccessTime(const QString &path, const QDateTime &accessed)
    {
        const struct timespec times[2] = {{time_t(accessed.toSecsSinceEpoch()), 0},
                                          {0, UTIME_OMIT}};
        return ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times,
                           AT_SYMLINK_NOFOLLOW) == 0;
    }

    static qint64 accessTimeOf(const QString &path)
    {
        struct stat status = {};
        ::lstat(QFile::encodeName(path).constData(), &status);
        return qint64(status.st_atim.tv_sec);
    }

    KSTSystemInfo info;
    std::shared_ptr<KSTAppInventoryEngine> engine;
};
