#pragma once

#include "KSTApplicationInfo.h"
#include "KSTAutoCleanManager.h"
#include "KSTDispatch.h"
#include "KSTIconLoader.h"
#include "KSTMachineTest.h"
#include "KSTMainWindowController.h"
#include "KSTPreferences.h"
#include "KSTSectionCatalog.h"
#include "KSTShellEngines.h"
#include "KSTSystemInfo.h"
#include "KSTSystemSnapshot.h"
#include "KSTTestSupport.h"

#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

/// The window's sections by name.
using Section = KSTSectionCatalog;

/// Whether every icon file a drawing asked for has been read (waiting up to five seconds).
inline bool iconsRead()
{
    return QTest::qWaitFor([] { return !KSTIconLoader::shared().isLoading(); }, 5000);
}

// A fixture Mac made current (without Full Disk Access until grantFullDiskAccess()), clean
// preferences, and engines of the test's own: a service whose Overview builder hands out a
// known snapshot, an Auto Clean manager with its own suite, and a live sampler that counts
// its samples and reports figures that change with every sample.
class ShellTest : public KSTMachineTest
{
protected:
    static inline const QString Suite = QStringLiteral("com.kestrel.autoclean.shelltest");

    void SetUp() override
    {
        KSTMachineTest::SetUp();
        KSTPreferences::standard()->clear();
        KSTPreferences::suite(Suite)->clear();
        // Deliver what earlier tests left on the main queue before this one counts anything.
        KSTTestSupport::pumpFor(20);

        snapshot.machineTitle = QStringLiteral("MacBook Air · Apple M2");
        snapshot.macOSVersionLine = QStringLiteral("macOS Sonoma 14.5");
        snapshot.specsLine = QStringLiteral("macOS Sonoma 14.5 · 16 GB RAM · 512 GB SSD");
        snapshot.uptimeText = QStringLiteral("Uptime 2d 5h");
        snapshot.storageTotalBytes = 512ull << 30;
        snapshot.storageUsedBytes = 200ull << 30;
        snapshot.memoryTotalBytes = 16ull << 30;
        snapshot.cpuCoreCount = 8;
        snapshot.networkInterfaceName = QStringLiteral("Wi-Fi");
        snapshot.storageCategories = {
            {QStringLiteral("Apps"), 40ull << 30, QStringLiteral("blue")},
            {QStringLiteral("Media"), 60ull << 30, QStringLiteral("purple")},
            {QStringLiteral("Documents"), 20ull << 30, QStringLiteral("emerald")},
            {QStringLiteral("System & Other"), 80ull << 30, QStringLiteral("zinc")}};
        snapshot.topApps = {
            {QStringLiteral("Xcode"), QStringLiteral("/Applications/Xcode.app"), 12ull << 30, 0},
            {QStringLiteral("Logic Pro"), QStringLiteral("/Applications/Logic Pro.app"), 3ull << 30,
             0}};
        snapshot.installedAppCount = 42;
        systemInfo.setOverviewSnapshotBuilder([this] {
            ++fetches;
            return std::make_shared<KSTSystemSnapshot>(snapshot);
        });

        KSTAutoCleanManager::Options options;
        options.suiteName = Suite;
        manager = std::make_unique<KSTAutoCleanManager>(options);
    }

    void grantFullDiskAccess()
    {
        mac.writePrivacyDatabase({{KSTApplicationInfo::bundleIdentifier(), 2}});
        KSTPermissionChecker::resetForTesting();
    }

    KSTShellEngines engines()
    {
        KSTShellEngines result;
        result.systemInfo = &systemInfo;
        result.autoCleanManager = manager.get();
        result.liveSampler = [this](KSTLiveMetrics::Handler handler) {
            const double sample = ++samples;
            KSTDispatch::mainAsync([handler, sample] {
                handler(sample / 100, sample / 50, sample, sample / 2, 0.01);
            });
        };
        return result;
    }

    std::unique_ptr<KSTMainWindowController> makeShownWindow()
    {
        auto controller = std::make_unique<KSTMainWindowController>(engines());
        controller->showWindow();
        return controller;
    }

    KSTSystemSnapshot snapshot; // written before the builder is installed, then only read
    KSTSystemInfo systemInfo;
    std::unique_ptr<KSTAutoCleanManager> manager;
    std::atomic<int> fetches{0};
    int samples = 0;
};
