// The inventory on fixture Macs built from recorded Info.plists and Mach-O headers: every
// field, what is left out, the progress cadence, the passes and their notifications, the two
// orders, resuming, single sizes, cancellation, and the access times no scan may touch.
#include "KSTAppBundleReader.h"
#include "KSTAppTestSupport.h"
#include "KSTApplicationBundleCatalog.h"
#include "KSTDispatchQueue.h"
#include "KSTHostileFiles.h"
#include "KSTNotificationCenter.h"
#include "KSTPropertyList.h"
#include "KSTStorageMetrics.h"

#include <QStringEncoder>

#include <dirent.h>
#include <future>
#include <numeric>

#include <gtest/gtest.h>

namespace {

using KSTTestSupport::pumpUntil;

QString stringOf(const std::optional<QDateTime> &date)
{
    return date ? date->toString(Qt::ISODate) : QStringLiteral("none");
}

class AppInventoryTest : public KSTAppsMachineTest
{
};

struct RecordedApp
{
    const char *bundleName;
    const char *recordedPlist;
    const char *location;
    const char *executable;
    QStringList architectures;
    const char *receipt; ///< "receipt", "rereceipt" or ""
    // What the record must say.
    const char *name;
    const char *version;
    const char *buildVersion;
    const char *identifier;
    const char *developer;
    const char *category;
    const char *architecture;
    quint64 source;
    const char *icon; ///< the icon file written into Resources, "" for none
};

TEST_F(AppInventoryTest, RecordedBundlesGiveEveryField)
{
    const RecordedApp apps[] = {
        {"Safari",
         "Info.plist.Safari.xml",
         "System/Applications",
         "Safari",
         {"x86_64", "arm64"},
         "receipt",
         "Safari",
         "15.6",
         "17613.3.9.1.5",
         "com.apple.Safari",
         "Apple Inc.",
         "Productivity",
         "Intel & Apple Silicon",
         2,
         "AppIcon.icns"},
        {"GarageBand",
         "Info.plist.GarageBand.bplist",
         "Applications",
         "GarageBand",
         {"x86_64"},
         "rereceipt",
         "GarageBand",
         "10.3.2",
         "4980.96",
         "com.apple.garageband10",
         "GarageBand",
         "Audio",
         "Intel",
         0,
         ""},
        {"Visual Studio Code",
         "Info.plist.VSCode-1.33.1.xml",
         "Applications/Developer",
         "Electron",
         {"arm64", "x86_64"},
         "",
         "Code",
         "1.33.1",
         "1.33.1",
         "com.microsoft.VSCode",
         "Code",
         "Developer Tools",
         "Intel & Apple Silicon",
         1,
         "Code.icns"},
        {"ZoomOpener",
         "Info.plist.ZoomOpener-4.4.xml",
         "Applications",
         "ZoomOpener",
         {"arm64"},
         "",
         "ZoomOpener",
         "4.4.52586.0416",
         "66936",
         "us.zoom.ZoomOpener",
         "Zoom Video Communications, Inc",
         "Other",
         "Apple Silicon",
         1,
         ""},
    };
    for (const RecordedApp &recorded : apps) {
        KSTFixtureMac::App app;
        app.name = QString::fromUtf8(recorded.bundleName);
        app.recordedInfoPlist = QString::fromUtf8(recorded.recordedPlist);
        app.location = QString::fromUtf8(recorded.location);
        app.executableName = QString::fromUtf8(recorded.executable);
        app.architectures = recorded.architectures;
        const QString bundle = mac.addApp(app);
        if (*recorded.receipt)
            KSTTestSupport::writeFile(bundle + "/Contents/_MASReceipt/" + recorded.receipt, "r");
        if (*recorded.icon)
            KSTTestSupport::writeFile(bundle + "/Contents/Resources/" + recorded.icon, "icns");
    }

    const SnapshotPtr snapshot = discoverOnly();
    ASSERT_TRUE(snapshot);
    ASSERT_EQ(snapshot->apps.size(), std::size(apps));
    for (const RecordedApp &recorded : apps) {
        const std::optional<KSTInstalledAppRecord> record =
            appNamed(snapshot, QString::fromUtf8(recorded.name));
        ASSERT_TRUE(record) << recorded.name;
        const QString bundle =
            mac.path(QString::fromUtf8(recorded.location)) + '/' + recorded.bundleName + ".app";
        EXPECT_EQ(record->bundlePath, bundle);
        EXPECT_EQ(record->version, QString::fromUtf8(recorded.version)) << recorded.name;
        EXPECT_EQ(record->buildVersion, QString::fromUtf8(recorded.buildVersion)) << recorded.name;
        EXPECT_EQ(record->bundleIdentifier, QString::fromUtf8(recorded.identifier));
        EXPECT_EQ(record->developer, QString::fromUtf8(recorded.developer)) << recorded.name;
        EXPECT_EQ(record->category, QString::fromUtf8(recorded.category)) << recorded.name;
        EXPECT_EQ(record->architectureLabel, QString::fromUtf8(recorded.architecture))
            << recorded.name;
        EXPECT_EQ(record->source, recorded.source) << recorded.name;
        EXPECT_EQ(record->icon,
                  *recorded.icon ? bundle + "/Contents/Resources/" + recorded.icon : QString())
            << recorded.name;
        EXPECT_EQ(record->bundleSizeBytes, 0u);
        EXPECT_FALSE(record->relatedPathsLoaded);
        EXPECT_TRUE(record->installedDate && record->lastOpenedDate) << recorded.name;
        EXPECT_TRUE(record->bundleIdentity.has_value());
    }
}

TEST_F(AppInventoryTest, DatesComeFromTheBundleFolder)
{
    const QString bundle = addApp(QStringLiteral("Dated"), QStringLiteral("com.example.dated"));
    const QDateTime modified(QDate(2031, 5, 6), QTime(7, 8, 9), Qt::UTC);
    const QDateTime accessed(QDate(2024, 1, 2), QTime(3, 4, 5), Qt::UTC);
    ASSERT_TRUE(KSTFixtureMac::setModified(bundle, modified));
    ASSERT_TRUE(setAccessTime(bundle, accessed));

    const std::optional<KSTInstalledAppRecord> record =
        KSTAppBundleReader::lightweightInstalledAppRecordForBundlePath(bundle);
    ASSERT_TRUE(record);
    // Made today, changed in 2031: the later of the two is when it was installed.
    EXPECT_EQ(stringOf(record->installedDate), modified.toString(Qt::ISODate));
    EXPECT_EQ(stringOf(record->lastOpenedDate), accessed.toString(Qt::ISODate));
    EXPECT_TRUE(record->isUnused());
}

TEST_F(AppInventoryTest, BundlesWithoutAStringIdentifierAreLeftOut)
{
    addApp(QStringLiteral("Listed"), QStringLiteral("com.example.listed"));
    addApp(QStringLiteral("NoIdentifier"), QString());
    KSTFixtureMac::App numeric;
    numeric.name = QStringLiteral("Numeric");
    numeric.extraInfo = {{QStringLiteral("CFBundleIdentifier"), 42}};
    mac.addApp(numeric);
    const QString fifo = addApp(QStringLiteral("Fifo"), QStringLiteral("com.example.fifo"));
    ASSERT_TRUE(QFile::remove(fifo + "/Contents/Info.plist"));
    ASSERT_TRUE(KSTHostileFiles::makeFifo(fifo + "/Contents/Info.plist"));
    mac.writeFile(QStringLiteral("Applications/Array.app/Contents/Info.plist"),
                  KSTPropertyList::toXml(QVariantList{QStringLiteral("com.example.array")}));

    const SnapshotPtr snapshot = discoverOnly();
    ASSERT_TRUE(snapshot);
    QStringList names;
    for (const KSTInstalledAppRecord &app : snapshot->apps)
        names << app.name;
    EXPECT_EQ(names, QStringList{QStringLiteral("Listed")});
}

TEST_F(AppInventoryTest, HostileExecutablesReadAsNoArchitectureWithoutHanging)
{
    const struct
    {
        const char *name;
        std::function<void(const QString &macOS)> make;
        const char *executable;
    } cases[] = {
        {"Fifo", [](const QString &folder) { KSTHostileFiles::makeFifo(folder + "/Fifo"); },
         "Fifo"},
        {"Link",
         [](const QString &folder) {
             const QString real = folder + "/real";
             KSTTestSupport::writeFile(real, KSTFixtureMac::machOExecutable({"arm64"}));
             QFile::link(real, folder + "/Link");
         },
         "Link"},
        {"Escape",
         [](const QString &folder) {
             KSTTestSupport::writeFile(folder + "/../../../escape",
                                       KSTFixtureMac::machOExecutable({"arm64"}));
         },
         "../../../escape"},
        {"Folder", [](const QString &folder) { QDir().mkpath(folder + "/Folder"); }, "Folder"},
        {"Script",
         [](const QString &folder) {
             KSTTestSupport::writeFile(folder + "/Script", "#!/bin/sh\n");
         },
         "Script"},
    };
    for (const auto &hostile : cases) {
        KSTFixtureMac::App app;
        app.name = QString::fromUtf8(hostile.name);
        app.bundleIdentifier = QStringLiteral("com.example.") + hostile.name;
        app.architectures = {};
        app.extraInfo = {
            {QStringLiteral("CFBundleExecutable"), QString::fromUtf8(hostile.executable)}};
        const QString bundle = mac.addApp(app);
        hostile.make(bundle + "/Contents/MacOS");
    }
    const SnapshotPtr snapshot = discoverOnly();
    ASSERT_TRUE(snapshot);
    ASSERT_EQ(snapshot->apps.size(), std::size(cases));
    for (const KSTInstalledAppRecord &app : snapshot->apps)
        EXPECT_EQ(app.architectureLabel, QStringLiteral("—")) << app.name.toStdString();
}

TEST_F(AppInventoryTest, SourceFollowsTheSystemFolderThenTheAppStoreReceipts)
{
    const struct
    {
        const char *name;
        const char *location;
        const char *receipt;
        quint64 source;
    } cases[] = {
        {"System", "System/Applications", "receipt", 2},
        {"Utility", "System/Applications/Utilities", "", 2},
        {"Store", "Applications", "receipt", 0},
        {"Renewed", "Applications", "rereceipt", 0},
        {"Direct", "Applications", "", 1},
        // Only "System/" at the top of the Mac counts, not a folder of that name elsewhere.
        {"Elsewhere", "Applications/System", "", 1},
    };
    for (const auto &app : cases) {
        const QString bundle =
            addApp(QString::fromUtf8(app.name), QStringLiteral("com.example.") + app.name, 4096,
                   QString::fromUtf8(app.location));
        if (*app.receipt)
            KSTTestSupport::writeFile(bundle + "/Contents/_MASReceipt/" + app.receipt, "r");
        EXPECT_EQ(KSTAppBundleReader::sourceForAppBundlePath(bundle), app.source) << app.name;
    }
}

TEST_F(AppInventoryTest, NamesComeFromTheUsersLanguagesThenTheDevelopmentRegion)
{
    KSTFixtureMac::App app;
    app.name = QStringLiteral("Preview");
    app.bundleIdentifier = QStringLiteral("com.apple.Preview");
    app.extraInfo = {{QStringLiteral("CFBundleDevelopmentRegion"), QStringLiteral("English")},
                     {QStringLiteral("CFBundleDisplayName"), QStringLiteral("Preview")}};
    const QString bundle = mac.addApp(app);
    const QString resources = bundle + "/Contents/Resources/";
    QStringEncoder utf16(QStringConverter::Utf16LE, QStringConverter::Flag::WriteBom);
    KSTTestSupport::writeFile(resources + "de.lproj/InfoPlist.strings",
                              utf16.encode(QStringLiteral("CFBundleDisplayName = \"Vorschau\";")));
    KSTTestSupport::writeFile(resources + "English.lproj/InfoPlist.strings",
                              "\"CFBundleDisplayName\" = \"Preview (English)\";");
    KSTTestSupport::writeFile(resources + "fr.lproj/InfoPlist.strings",
                              KSTPropertyList::toBinary(QVariantMap{
                                  {QStringLiteral("CFBundleName"), QStringLiteral("Aperçu")}}));

    const struct
    {
        QStringList languages;
        const char *name;
    } cases[] = {
        {{"de-DE", "en"}, "Vorschau"},
        {{"it", "de"}, "Vorschau"},
        {{"ja"}, "Preview (English)"},
        // French has no display name of its own: the Info.plist's comes before its name.
        {{"fr-FR"}, "Preview"},
    };
    for (const auto &language : cases)
        EXPECT_EQ(KSTAppBundleReader::displayNameForAppBundlePath(bundle, {}, language.languages),
                  QString::fromUtf8(language.name))
            << language.languages.join(',').toStdString();

    // The analysed user's own language list decides on a Mac.
    mac.writeHomePlist(QStringLiteral("Library/Preferences/.GlobalPreferences.plist"),
                       QVariantMap{{QStringLiteral("AppleLanguages"),
                                    QVariantList{QStringLiteral("de-CH"), QStringLiteral("en")}}},
                       KSTFixtureMac::PlistFormat::Binary);
    EXPECT_EQ(KSTAppBundleReader::userLanguages(), (QStringList{"de-CH", "en"}));
    const std::optional<KSTInstalledAppRecord> german =
        appNamed(discoverOnly(), QStringLiteral("Vorschau"));
    ASSERT_TRUE(german);
    EXPECT_EQ(german->bundlePath, bundle);
    EXPECT_EQ(KSTAppBundleReader::displayNameForAppBundlePath({}, QStringLiteral("/a/b/Fallback")),
              QStringLiteral("Fallback"));
}

TEST_F(AppInventoryTest, DiscoveryReportsAfterRecords1And17AndTheLast)
{
    for (int index = 0; index < 25; ++index)
        addApp(QStringLiteral("App %1").arg(index, 2, 10, QLatin1Char('0')),
               QStringLiteral("com.example.app%1").arg(index));
    QList<SnapshotPtr> progress;
    const SnapshotPtr complete = discover(&progress);
    ASSERT_TRUE(complete);

    QList<quint64> scanned;
    QStringList texts;
    for (const SnapshotPtr &snapshot : std::as_const(progress)) {
        scanned << snapshot->scannedCount;
        texts << snapshot->statusText;
        EXPECT_FALSE(snapshot->isComplete);
        EXPECT_EQ(quint64(snapshot->apps.size()), snapshot->scannedCount);
    }
    EXPECT_EQ(scanned, (QList<quint64>{0, 1, 17, 25}));
    EXPECT_EQ(texts, (QStringList{"Discovering applications…", "Scanning apps… 1/25",
                                  "Scanning apps… 17/25", "Scanning apps… 25/25"}));
    EXPECT_DOUBLE_EQ(progress.at(2)->progress, 17.0 / 25.0);
    EXPECT_EQ(complete->statusText, QStringLiteral("Calculating application size… 0/25"));
    EXPECT_TRUE(complete->isComplete);
    EXPECT_FALSE(complete->isSizeCalculationComplete);
    EXPECT_TRUE(complete->scanDate.has_value());
    EXPECT_EQ(complete->apps.first().name, QStringLiteral("App 00"));
}

TEST_F(AppInventoryTest, SizePassRefreshesEveryTenthBundleThenSortsBySize)
{
    // Equal sizes come by name without regard to case: "apple", "Banana", "cherry".
    for (const char *name : {"cherry", "Banana", "apple", "Dill", "eel", "Fig", "grape", "Hops",
                             "iris", "Jam", "kiwi"})
        addApp(QString::fromUtf8(name), QStringLiteral("com.example.") + name, 8192);
    addApp(QStringLiteral("zebra"), QStringLiteral("com.example.zebra"), 256 * 1024);

    QList<QVariantMap> notifications;
    QObject context;
    KSTNotificationCenter::defaultCenter().addObserver(
        KSTAppInventoryEngine::MetadataDidUpdateNotification, &context,
        [&](const KSTNotification &notification) {
            EXPECT_EQ(notification.object, &info);
            notifications << notification.userInfo;
        });
    ASSERT_TRUE(discover());
    const SnapshotPtr done = waitForScanComplete();
    ASSERT_TRUE(done);
    ASSERT_TRUE(pumpUntil([&] { return notifications.size() >= 5; }));
    KSTTestSupport::pumpFor(50);
    // The metadata pass, the size pass's start, sized 10 and 12, and the end.
    ASSERT_EQ(notifications.size(), 5);
    for (int index = 0; index < 4; ++index)
        EXPECT_TRUE(notifications.at(index).isEmpty());
    EXPECT_EQ(notifications.last(),
              (QVariantMap{{KSTAppInventoryEngine::SortOrderChangedKey, true}}));

    QStringList order;
    for (const KSTInstalledAppRecord &app : done->apps) {
        order << app.name;
        EXPECT_EQ(app.bundleSizeBytes, KSTAppInventoryEngine::directorySizeAtPath(app.bundlePath));
        EXPECT_EQ(app.totalSizeBytes, app.bundleSizeBytes);
        EXPECT_GT(app.bundleSizeBytes, 0u);
    }
    EXPECT_EQ(order, (QStringList{"zebra", "apple", "Banana", "cherry", "Dill", "eel", "Fig",
                                  "grape", "Hops", "iris", "Jam", "kiwi"}));
    EXPECT_EQ(done->scannedCount, 12u);
    EXPECT_EQ(done->totalBytes, std::accumulate(done->apps.cbegin(), done->apps.cend(), quint64(0),
                                                [](quint64 sum, const KSTInstalledAppRecord &app) {
                                                    return sum + app.bundleSizeBytes;
                                                }));
}

TEST_F(AppInventoryTest, ASecondScanKeepsTheFirstOnesLastOpenedDates)
{
    const QDateTime longAgo = QDateTime::currentDateTimeUtc().addDays(-40);
    const QString bundle = addApp(QStringLiteral("Old"), QStringLiteral("com.example.old"), 65536);
    KSTTestSupport::writeFile(
        bundle + "/Contents/PlugIns/Share.appex/Contents/Info.plist",
        KSTPropertyList::toXml(
            QVariantMap{{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.x")}}));
    const QString control = addApp(QStringLiteral("Control"), QStringLiteral("com.example.c"));
    for (const QString &path : {bundle, QString(bundle + "/Contents"), control})
        ASSERT_TRUE(setAccessTime(path, longAgo));
    // The file system does record reads here: listing a folder the plain way moves its time.
    DIR *listing = ::opendir(QFile::encodeName(control).constData());
    ASSERT_NE(listing, nullptr);
    while (::readdir(listing)) {
    }
    ::closedir(listing);
    ASSERT_GT(accessTimeOf(control), longAgo.toSecsSinceEpoch());

    ASSERT_TRUE(discover());
    const SnapshotPtr first = waitForScanComplete();
    ASSERT_TRUE(first);
    const std::optional<KSTInstalledAppRecord> before = appNamed(first, QStringLiteral("Old"));
    ASSERT_TRUE(before && before->bundleSizeBytes > 0);
    relatedPathsOf(*before); // the embedded-bundle search reads inside it too

    info.invalidateAppInventoryCache();
    ASSERT_TRUE(discover());
    const SnapshotPtr second = waitForScanComplete();
    const std::optional<KSTInstalledAppRecord> after = appNamed(second, QStringLiteral("Old"));
    ASSERT_TRUE(after);
    EXPECT_EQ(stringOf(after->lastOpenedDate), stringOf(before->lastOpenedDate));
    EXPECT_EQ(after->lastOpenedDate->toSecsSinceEpoch(), longAgo.toSecsSinceEpoch());
    EXPECT_EQ(accessTimeOf(bundle + "/Contents"), longAgo.toSecsSinceEpoch());
    EXPECT_TRUE(after->isUnused());
}

TEST_F(AppInventoryTest, TheOverviewsSizingOfApplicationsKeepsTheirLastOpenedDates)
{
    // The Overview sizes the same bundles (its largest apps and its Apps category) from the
    // same catalog; shown first at every start, it must not make every app look opened today.
    const QDateTime longAgo = QDateTime::currentDateTimeUtc().addDays(-40);
    const QString bundle = addApp(QStringLiteral("Old"), QStringLiteral("com.example.old"), 65536);
    for (const QString &path : {bundle, QString(bundle + "/Contents")})
        ASSERT_TRUE(setAccessTime(path, longAgo));

    const QList<KSTAppUsageInfo> top =
        KSTApplicationBundleCatalog(KSTApplicationBundleCatalog::PathCache::of(info))
            .topApplicationsBySize(5);
    ASSERT_EQ(top.size(), 1);
    EXPECT_GT(top.first().sizeBytes, 65536u);
    const QList<KSTStorageCategory> categories =
        KSTStorageMetrics::storageCategoriesForUsedBytes(1ull << 30, 2ull << 30);
    const auto apps = std::find_if(
        categories.cbegin(), categories.cend(),
        [](const KSTStorageCategory &category) { return category.name == QLatin1String("Apps"); });
    ASSERT_NE(apps, categories.cend());
    EXPECT_GT(apps->bytes, 65536u);

    EXPECT_EQ(accessTimeOf(bundle), longAgo.toSecsSinceEpoch());
    EXPECT_EQ(accessTimeOf(bundle + "/Contents"), longAgo.toSecsSinceEpoch());
}

TEST_F(AppInventoryTest, ANewerScanSupersedesTheFirstWhichDeliversNothing)
{
    for (int index = 0; index < 5; ++index)
        addApp(QStringLiteral("App%1").arg(index), QStringLiteral("com.example.%1").arg(index));
    // The queue is held until both scans are asked for, so the first cannot finish (and leave
    // a complete inventory for the second to reuse) before the second supersedes it.
    std::promise<void> gate;
    info.appInventoryQueue().async([opened = gate.get_future().share()] { opened.wait(); });
    QList<SnapshotPtr> firstProgress;
    bool firstCompleted = false;
    info.scanInstalledApplicationsWithProgress(
        [&](SnapshotPtr snapshot) { firstProgress << snapshot; },
        [&](SnapshotPtr) { firstCompleted = true; });
    SnapshotPtr second;
    info.scanInstalledApplicationsWithProgress(
        {}, [&second](SnapshotPtr snapshot) { second = snapshot; });
    gate.set_value();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&second] { return second != nullptr; }, 60'000));
    ASSERT_TRUE(waitForScanComplete());
    KSTTestSupport::pumpFor(50);
    EXPECT_FALSE(firstCompleted);
    // Only the frame's own first snapshot reached the first scan's handler.
    ASSERT_EQ(firstProgress.size(), 1);
    EXPECT_EQ(firstProgress.first()->statusText, QStringLiteral("Discovering applications…"));
    EXPECT_EQ(second->apps.size(), 5);
}

struct PredicateCase
{
    const char *description;
    int cancelAfterRefreshes; ///< the predicate turns true once this many refreshes came
    bool completes;           ///< discovery stores and hands over the complete inventory
    QStringList statuses;     ///< every refresh of the cache, in order
};

// The engine works for whatever its hooks are: here a plain queue and a cache of the test's
// own, no frame. Its cancellation predicate alone must stop each pass where it says.
TEST_F(AppInventoryTest, AnEngineOnItsOwnHooksStopsWhereItsPredicateSays)
{
    QStringList bundles;
    for (const char *name : {"Ant", "Bee", "Cat"})
        bundles << addApp(QString::fromUtf8(name), QStringLiteral("com.example.") + name);
    const QString zero = QStringLiteral("Calculating application size… 0/3");
    const QString three = QStringLiteral("Calculating application size… 3/3");
    const PredicateCase cases[] = {
        {"cancelled before discovery", 0, false, {}},
        {"cancelled after the metadata pass", 1, true, {zero}},
        {"cancelled after the last size", 3, true, {zero, zero, three}},
        {"never cancelled", 99, true, {zero, zero, three, QStringLiteral("Scan complete")}},
    };
    for (const PredicateCase &c : cases) {
        SCOPED_TRACE(c.description);
        KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.apps"),
                               KSTQualityOfService::Utility);
        // Written and read on the queue only; the test reads them after it has drained.
        SnapshotPtr cache;
        QStringList statuses;
        int notifications = 0;
        KSTAppInventoryEngine::Hooks hooks;
        hooks.isCancelled = [&](quint64) { return statuses.size() >= c.cancelAfterRefreshes; };
        hooks.nextGeneration = [] { return quint64(1); };
        hooks.queue = &queue;
        hooks.onMain = [](KSTAppInventoryEngine::Block) {};
        hooks.cachedInventory = [&] { return cache; };
        hooks.storeInventory = [&](SnapshotPtr snapshot) { cache = std::move(snapshot); };
        hooks.refreshInventory = [&](const QList<KSTInstalledAppRecord> &, const QString &status,
                                     bool, quint64) { statuses << status; };
        hooks.refreshInventoryApps = [](const QList<KSTInstalledAppRecord> &) {};
        hooks.invalidateInventory = [] {};
        hooks.cachedRelatedPathIndex = [] { return nullptr; };
        hooks.storeRelatedPathIndex = [](std::shared_ptr<const KSTRelatedPathScanIndex>) {};
        hooks.applicationBundlePaths = [&bundles] { return bundles; };
        hooks.postMetadataUpdate = [&](const QVariantMap &) { ++notifications; };
        KSTAppInventoryEngine::Options options;
        options.metadataThrottle = std::chrono::milliseconds(1);
        options.sizeThrottle = std::chrono::milliseconds(1);
        const auto engine = std::make_shared<KSTAppInventoryEngine>(hooks, options);

        SnapshotPtr completed;
        queue.sync([&] {
            engine->scanForGeneration(1, nullptr,
                                      [&completed](SnapshotPtr snapshot) { completed = snapshot; });
        });
        queue.sync([] {});
        EXPECT_EQ(statuses, c.statuses);
        // Each refresh is announced, and nothing else is.
        EXPECT_EQ(notifications, statuses.size());
        EXPECT_EQ(completed != nullptr, c.completes);
        EXPECT_EQ(cache != nullptr, c.completes);
        if (completed) {
            EXPECT_EQ(completed->apps.size(), 3);
        }
    }
}

TEST_F(AppInventoryTest, ResumeSizesWhatIsMissingOrOnlyMarksTheCacheComplete)
{
    addApp(QStringLiteral("One"), QStringLiteral("com.example.one"), 32768);
    addApp(QStringLiteral("Two"), QStringLiteral("com.example.two"), 16384);
    const SnapshotPtr discovered = discoverOnly();
    ASSERT_TRUE(discovered);
    // The size pass may have finished before discovery's result was seen: put back the
    // inventory as discovery left it, sizes still to come.
    ASSERT_FALSE(discovered->isSizeCalculationComplete);
    info.storeCachedAppInventorySnapshot(discovered);
    const quint64 generation = info.appInventoryScanGeneration();

    info.resumeAppInventorySizeCalculationIfNeeded();
    const SnapshotPtr resumed = waitForScanComplete();
    ASSERT_TRUE(resumed);
    EXPECT_GT(info.appInventoryScanGeneration(), generation);
    EXPECT_EQ(resumed->apps.first().name, QStringLiteral("One"));
    for (const KSTInstalledAppRecord &app : resumed->apps)
        EXPECT_GT(app.bundleSizeBytes, 0u);

    // Everything sized already: only the status and flag change, no pass starts.
    auto sized = std::make_shared<KSTAppInventorySnapshot>(*resumed);
    sized->isSizeCalculationComplete = false;
    sized->statusText = QStringLiteral("Calculating application size… 2/2");
    info.storeCachedAppInventorySnapshot(sized);
    const quint64 before = info.appInventoryScanGeneration();
    info.resumeAppInventorySizeCalculationIfNeeded();
    EXPECT_EQ(info.appInventoryScanGeneration(), before);
    EXPECT_EQ(info.cachedAppInventorySnapshot()->statusText, QStringLiteral("Scan complete"));
    EXPECT_TRUE(info.cachedAppInventorySnapshot()->isSizeCalculationComplete);
}

TEST_F(AppInventoryTest, ASingleSizeFillsTheRecordAndTheCache)
{
    const QString bundle =
        addApp(QStringLiteral("Solo"), QStringLiteral("com.example.solo"), 40960);
    mac.writeSizedHomeFile(QStringLiteral("Library/Caches/com.example.solo/blob"), 8192);
    const SnapshotPtr discovered = discoverOnly();
    ASSERT_TRUE(discovered);
    const KSTInstalledAppRecord withPaths = withRelatedPaths(discovered->apps.first());
    ASSERT_EQ(withPaths.relatedPaths.size(), 1);

    std::optional<KSTInstalledAppRecord> sized;
    engine->loadBundleSizeForApp(withPaths,
                                 [&sized](const KSTInstalledAppRecord &record) { sized = record; });
    ASSERT_TRUE(pumpUntil([&sized] { return sized.has_value(); }));
    const quint64 bundleBytes = KSTAppInventoryEngine::directorySizeAtPath(bundle);
    EXPECT_EQ(sized->bundleSizeBytes, bundleBytes);
    EXPECT_EQ(sized->totalSizeBytes, bundleBytes + withPaths.relatedPaths.first().bytes);
    const KSTInstalledAppRecord cached = info.cachedAppInventorySnapshot()->apps.first();
    EXPECT_EQ(cached.bundleSizeBytes, bundleBytes);
    EXPECT_EQ(cached.totalSizeBytes, sized->totalSizeBytes);
    EXPECT_TRUE(cached.relatedPathsLoaded);

    // A sized record comes back at once, unchanged.
    std::optional<KSTInstalledAppRecord> again;
    engine->loadBundleSizeForApp(*sized,
                                 [&again](const KSTInstalledAppRecord &record) { again = record; });
    ASSERT_TRUE(pumpUntil([&again] { return again.has_value(); }));
    EXPECT_EQ(*again, *sized);
}

TEST_F(AppInventoryTest, ReadingTheInventoryWhileThePassesWriteIsSafe)
{
    for (int index = 0; index < 12; ++index)
        addApp(QStringLiteral("App%1").arg(index), QStringLiteral("com.example.%1").arg(index),
               4096 * (index + 1));
    ASSERT_TRUE(discover());
    // The screen's part: re-read every record on every notification while the passes run.
    quint64 readBytes = 0;
    QObject context;
    KSTNotificationCenter::defaultCenter().addObserver(
        KSTAppInventoryEngine::MetadataDidUpdateNotification, &context,
        [&](const KSTNotification &) {
            for (const KSTInstalledAppRecord &app : info.cachedAppInventorySnapshot()->apps)
                readBytes += app.bundleSizeBytes + quint64(app.name.size() + app.icon.size());
        });
    const SnapshotPtr done = waitForScanComplete();
    ASSERT_TRUE(done);
    EXPECT_GT(readBytes, 0u);
    EXPECT_EQ(done->apps.first().name, QStringLiteral("App11"));
}

TEST(AppInventorySnapshotTest, TotalsProgressAndTheUnusedRule)
{
    const QDateTime now(QDate(2025, 6, 1), QTime(12, 0), Qt::UTC);
    KSTInstalledAppRecord sized;
    sized.bundleSizeBytes = 100;
    sized.totalSizeBytes = 250;
    KSTInstalledAppRecord bundleOnly;
    bundleOnly.bundleSizeBytes = 40;
    const KSTAppInventorySnapshot partial = KSTAppInventorySnapshot::inventorySnapshotWithApps(
        {sized, bundleOnly}, 1, 4, QStringLiteral("Scanning apps… 1/4"), false);
    EXPECT_EQ(partial.totalBytes, 290u);
    EXPECT_DOUBLE_EQ(partial.progress, 0.25);
    EXPECT_FALSE(partial.isSizeCalculationComplete);
    EXPECT_FALSE(partial.scanDate.has_value());
    const KSTAppInventorySnapshot empty =
        KSTAppInventorySnapshot::inventorySnapshotWithApps({}, 0, 0, QString(), true);
    EXPECT_DOUBLE_EQ(empty.progress, 0.0);
    EXPECT_TRUE(empty.isSizeCalculationComplete && empty.scanDate.has_value());

    const struct
    {
        std::optional<qint64> daysAgo;
        bool unused;
    } cases[] = {{std::nullopt, true}, {31, true}, {30, false}, {29, false}, {0, false}};
    for (const auto &opened : cases) {
        KSTInstalledAppRecord app;
        if (opened.daysAgo)
            app.lastOpenedDate = now.addDays(-*opened.daysAgo);
        EXPECT_EQ(app.isUnused(now), opened.unused) << opened.daysAgo.value_or(-1);
    }
}

} // namespace
