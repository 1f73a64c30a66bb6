// The application-bundle search on a fixture Mac: where it looks, how deep, what it skips,
// what counts as a bundle, the cache, and the largest-first list.
#include "KSTApplicationBundleCatalog.h"

#include "KSTFixtureMac.h"
#include "KSTPermissionChecker.h"
#include "KSTSystemInfo.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

using Catalog = KSTApplicationBundleCatalog;
using App = KSTFixtureMac::App;

namespace {

class ApplicationBundleCatalogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.activate();
        KSTPermissionChecker::resetForTesting();
    }

    // Adds "<location>/<name>.app"; returns its path relative to the root.
    QString add(const QString &location, const QString &name, bool inHome = false,
                const QVariant &identifier = QStringLiteral("com.example.app"),
                qint64 resourceBytes = 0)
    {
        App app;
        app.name = name;
        app.location = location;
        app.inHome = inHome;
        app.resourceBytes = resourceBytes;
        if (identifier.typeId() == QMetaType::QString)
            app.bundleIdentifier = identifier.toString();
        else
            app.extraInfo.insert(QStringLiteral("CFBundleIdentifier"), identifier);
        return QDir(mac.root()).relativeFilePath(mac.addApp(app));
    }
    QString inHome(const QString &relative) const
    {
        return QStringLiteral("Users/") + mac.login() + QLatin1Char('/') + relative;
    }
    QStringList relativeToRoot(const QStringList &paths) const
    {
        QStringList relative;
        for (const QString &path : paths)
            relative << QDir(mac.root()).relativeFilePath(path);
        return relative;
    }

    KSTFixtureMac mac;
    KSTSystemInfo info;
};

TEST_F(ApplicationBundleCatalogTest, FindsBundlesWhereTheyAreAndSkipsTheRest)
{
    const QString twelve = QStringLiteral("Downloads/1/2/3/4/5/6/7/8/9/10/11");
    add(QStringLiteral("Applications"), QStringLiteral("Safari"));
    add(QStringLiteral("Applications/Utilities"), QStringLiteral("Terminal"));
    add(QStringLiteral("Applications/a/b/c"), QStringLiteral("Deep"));
    add(QStringLiteral("Applications"), QStringLiteral("Outer"));
    const QString upper = mac.path(add(QStringLiteral("Applications"), QStringLiteral("Upper")));
    ASSERT_TRUE(QDir().rename(upper, upper.chopped(4) + QLatin1String(".APP")));
    add(QStringLiteral("System/Applications"), QStringLiteral("Notes"));
    add(QStringLiteral("Applications"), QStringLiteral("Tool"), true);
    add(QStringLiteral("Desktop"), QStringLiteral("Dropped"), true);
    add(twelve, QStringLiteral("Twelve"), true);
    add(QStringLiteral("Developer/Tools"), QStringLiteral("Helper"), true);
    // Not bundles, too deep, or in places never searched.
    add(QStringLiteral("Applications/a/b/c/d"), QStringLiteral("TooDeep"));
    add(QStringLiteral("Applications"), QStringLiteral("NoIdentifier"), false, QString());
    add(QStringLiteral("Applications"), QStringLiteral("NumericIdentifier"), false, 42);
    add(QStringLiteral("Applications/Outer.app/Contents/Helpers"), QStringLiteral("Inner"));
    add(QStringLiteral("Applications/.hidden"), QStringLiteral("Hidden"));
    add(twelve + QStringLiteral("/12"), QStringLiteral("Thirteen"), true);
    add(QStringLiteral("Documents/web/node_modules/electron/dist"), QStringLiteral("Electron"),
        true);
    add(QStringLiteral("Documents/Build/Products"), QStringLiteral("Built"), true);
    add(QStringLiteral("Developer/X/DerivedData"), QStringLiteral("Derived"), true);
    add(QStringLiteral("Developer/Pods"), QStringLiteral("Pod"), true);
    add(QStringLiteral("Downloads/Intermediates"), QStringLiteral("Partial"), true);
    add(QStringLiteral("Library/Application Support"), QStringLiteral("Support"), true);
    add(QStringLiteral("Music"), QStringLiteral("Mixer"), true);
    add(QStringLiteral("Movies/Old.photoslibrary"), QStringLiteral("Viewer"), true);
    // Links are never followed, not even to a real bundle.
    const QString elsewhere = add(QStringLiteral("Elsewhere"), QStringLiteral("Linked"));
    mac.makeSymlink(inHome(QStringLiteral("Desktop/shortcut")),
                    mac.path(QStringLiteral("Elsewhere")));
    mac.makeSymlink(inHome(QStringLiteral("Desktop/Linked.app")), mac.path(elsewhere));
    mac.writeFile(QStringLiteral("Applications/Plain.app"), "not a folder");

    // Sorted walk order within a root, roots in search order; the helper inside Outer.app
    // stays inside it.
    const Catalog catalog(info);
    EXPECT_EQ(relativeToRoot(catalog.applicationBundlePaths()),
              (QStringList{
                  QStringLiteral("Applications/Outer.app"),
                  QStringLiteral("Applications/Safari.app"),
                  QStringLiteral("Applications/Upper.APP"),
                  QStringLiteral("Applications/Utilities/Terminal.app"),
                  QStringLiteral("Applications/a/b/c/Deep.app"),
                  QStringLiteral("System/Applications/Notes.app"),
                  inHome(QStringLiteral("Applications/Tool.app")),
                  inHome(QStringLiteral("Desktop/Dropped.app")),
                  inHome(QStringLiteral("Downloads/1/2/3/4/5/6/7/8/9/10/11/Twelve.app")),
                  inHome(QStringLiteral("Developer/Tools/Helper.app")),
              }));
    EXPECT_EQ(catalog.installedApplicationCount(), 10);
}

TEST_F(ApplicationBundleCatalogTest, ListIsCachedUntilTheInventoryIsInvalidated)
{
    add(QStringLiteral("Applications"), QStringLiteral("First"));
    const Catalog catalog(info);
    EXPECT_EQ(catalog.installedApplicationCount(), 1);
    EXPECT_EQ(info.cachedApplicationBundlePaths(), catalog.applicationBundlePaths());

    add(QStringLiteral("Applications"), QStringLiteral("Second"));
    EXPECT_EQ(catalog.installedApplicationCount(), 1);
    info.invalidateAppInventoryCache();
    EXPECT_EQ(catalog.installedApplicationCount(), 2);
}

TEST_F(ApplicationBundleCatalogTest, SkipRulesLookAtEveryComponent)
{
    const struct
    {
        const char *relative;
        bool skipped;
    } cases[] = {
        {"Projects/App.app", false},
        {"Projects/node_modules/x", true},
        {"Library", true},
        {"a/b/DerivedData", true},
        {"Pods/Foo.app", true},
        {"repo/.git/objects", true},
        {"Build", true},
        {"Builds", false},
        {"Music/GarageBand", true},
        {"x/Intermediates/y", true},
        {".Trash/Old.app", true},
        {"library", false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Catalog::shouldSkipDirectoryInUserAppSearch(QString::fromUtf8(c.relative)),
                  c.skipped)
            << c.relative;
}

TEST_F(ApplicationBundleCatalogTest, SearchRootsAreUnderTheRootAndTheHome)
{
    EXPECT_EQ(relativeToRoot(Catalog::applicationSearchPaths()),
              (QStringList{QStringLiteral("Applications"), QStringLiteral("System/Applications"),
                           inHome(QStringLiteral("Applications"))}));
    EXPECT_EQ(Catalog::applicationUserFolderSearchRoots().size(), 7);
    EXPECT_EQ(Catalog::applicationUserFolderSearchRoots().first(),
              mac.homePath(QStringLiteral("Desktop")));
    EXPECT_TRUE(Catalog::isPathInsideRealUserHome(mac.home()));
    EXPECT_TRUE(Catalog::isPathInsideRealUserHome(mac.home() + QLatin1String("/Desktop/../x")));
    EXPECT_FALSE(Catalog::isPathInsideRealUserHome(mac.home() + QLatin1String("2")));
    EXPECT_TRUE(Catalog::directoryURLForScanRoot(mac.homePath(QStringLiteral("Music"))).isEmpty());
}

TEST_F(ApplicationBundleCatalogTest, LargestFirstWithEqualSizesByName)
{
    add(QStringLiteral("Applications"), QStringLiteral("Beta"), false,
        QStringLiteral("com.example.beta"), 200'000);
    add(QStringLiteral("Applications"), QStringLiteral("Alpha"), false,
        QStringLiteral("com.example.alpha"), 200'000);
    add(QStringLiteral("Applications"), QStringLiteral("Huge"), false,
        QStringLiteral("com.example.huge"), 900'000);
    add(QStringLiteral("Applications"), QStringLiteral("small"), false,
        QStringLiteral("com.example.small"), 0);
    add(QStringLiteral("Downloads"), QStringLiteral("Alpha"), true,
        QStringLiteral("com.example.alpha"), 200'000);

    const Catalog catalog(info);
    const QList<KSTAppUsageInfo> all = catalog.topApplicationsBySize(10);
    ASSERT_EQ(all.size(), 5);
    QStringList order;
    for (const KSTAppUsageInfo &app : all) {
        order << QDir(mac.root()).relativeFilePath(app.bundlePath);
        EXPECT_EQ(app.cpuUsage, 0.0);
    }
    ASSERT_EQ(all[1].sizeBytes, all[3].sizeBytes);
    EXPECT_EQ(order, (QStringList{QStringLiteral("Applications/Huge.app"),
                                  QStringLiteral("Applications/Alpha.app"),
                                  inHome(QStringLiteral("Downloads/Alpha.app")),
                                  QStringLiteral("Applications/Beta.app"),
                                  QStringLiteral("Applications/small.app")}));
    EXPECT_EQ(all[0].name, QStringLiteral("Huge"));
    EXPECT_GT(all[0].sizeBytes, 900'000u);

    EXPECT_EQ(catalog.topApplicationsBySize(2).size(), 2);
    EXPECT_EQ(catalog.topApplicationsBySize(2).last().bundlePath, all[1].bundlePath);
    EXPECT_TRUE(catalog.topApplicationsBySize(0).isEmpty());
}

} // namespace
