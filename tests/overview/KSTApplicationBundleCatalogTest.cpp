// The application-bundle search on a fixture Mac: where it looks, how deep, what it skips,
// what counts as a bundle, the cache, and the largest-first list.
#include "KSTApplicationBundleCatalog.h"

#include "KSTMachineTest.h"
#include "KSTSystemInfo.h"

#include <QDir>

#include <gtest/gtest.h>

using Catalog = KSTApplicationBundleCatalog;

namespace {

class ApplicationBundleCatalogTest : public KSTMachineTest
{
protected:
    // Adds "<folder>/<name>.app" (folder relative to the root); returns that relative path.
    QString add(const QString &folder, const QString &name,
                const QVariant &identifier = QStringLiteral("com.example.app"), qint64 bytes = 0)
    {
        KSTFixtureMac::App app;
        app.name = name;
        app.location = folder;
        app.resourceBytes = bytes;
        if (identifier.typeId() == QMetaType::QString)
            app.bundleIdentifier = identifier.toString();
        else
            app.extraInfo.insert(QStringLiteral("CFBundleIdentifier"), identifier);
        return relative(mac.addApp(app));
    }
    QString relative(const QString &path) const { return QDir(mac.root()).relativeFilePath(path); }

    KSTSystemInfo info;
};

TEST_F(ApplicationBundleCatalogTest, FindsBundlesWhereTheyAreAndSkipsTheRest)
{
    const QString home = QStringLiteral("Users/alice/");
    const QString twelve = home + "Downloads/1/2/3/4/5/6/7/8/9/10/11";
    // Found, in walk order: sorted within a root, roots in search order.
    QStringList found = {add("Applications", "Outer"), add("Applications", "Safari"),
                         add("Applications", "Upper")};
    ASSERT_TRUE(QDir(mac.root()).rename(found.last(), "Applications/Upper.APP"));
    found.last() = "Applications/Upper.APP";
    found << add("Applications/Utilities", "Terminal") << add("Applications/a/b/c", "Deep")
          << add("System/Applications", "Notes") << add(home + "Applications", "Tool")
          << add(home + "Desktop", "Dropped") << add(twelve, "Twelve")
          << add(home + "Developer/Tools", "Helper");
    // Not bundles, too deep, inside a bundle, or in places never searched.
    add("Applications/a/b/c/d", "TooDeep");
    add("Applications", "NoIdentifier", QString());
    add("Applications", "NumericIdentifier", 42);
    add("Applications/Outer.app/Contents/Helpers", "Inner");
    add("Applications/.hidden", "Hidden");
    add(twelve + "/12", "Thirteen");
    for (const char *skipped :
         {"Documents/web/node_modules/electron/dist", "Documents/Build/Products",
          "Developer/X/DerivedData", "Developer/Pods", "Downloads/Intermediates",
          "Library/Application Support", "Music", "Movies/Old.photoslibrary"})
        add(home + skipped, "Skipped");
    // Links are never followed, not even to a real bundle.
    const QString elsewhere = add("Elsewhere", "Linked");
    mac.makeSymlink(home + "Desktop/shortcut", mac.path("Elsewhere"));
    mac.makeSymlink(home + "Desktop/Linked.app", mac.path(elsewhere));
    mac.writeFile("Applications/Plain.app", "not a folder");

    const Catalog catalog(Catalog::PathCache::of(info));
    QStringList listed;
    for (const QString &path : catalog.applicationBundlePaths())
        listed << relative(path);
    EXPECT_EQ(listed, found);
    EXPECT_EQ(catalog.installedApplicationCount(), 10);
}

TEST_F(ApplicationBundleCatalogTest, ListIsCachedUntilTheInventoryIsInvalidated)
{
    add("Applications", "First");
    const Catalog catalog(Catalog::PathCache::of(info));
    EXPECT_EQ(catalog.installedApplicationCount(), 1);
    EXPECT_EQ(info.cachedApplicationBundlePaths(), catalog.applicationBundlePaths());

    add("Applications", "Second");
    EXPECT_EQ(catalog.installedApplicationCount(), 1);
    info.invalidateAppInventoryCache();
    EXPECT_EQ(catalog.installedApplicationCount(), 2);
}

TEST_F(ApplicationBundleCatalogTest, LargestFirstWithEqualSizesByName)
{
    add("Applications", "Beta", "com.example.beta", 200'000);
    add("Applications", "Alpha", "com.example.alpha", 200'000);
    add("Applications", "Huge", "com.example.huge", 900'000);
    add("Applications", "small", "com.example.small", 0);
    add("Users/alice/Downloads", "Alpha", "com.example.alpha", 200'000);

    const Catalog catalog(Catalog::PathCache::of(info));
    const QList<KSTAppUsageInfo> all = catalog.topApplicationsBySize(10);
    QStringList order;
    for (const KSTAppUsageInfo &app : all)
        order << relative(app.bundlePath);
    EXPECT_EQ(order, (QStringList{"Applications/Huge.app", "Applications/Alpha.app",
                                  "Users/alice/Downloads/Alpha.app", "Applications/Beta.app",
                                  "Applications/small.app"}));
    ASSERT_EQ(all.size(), 5);
    EXPECT_EQ(all[1].sizeBytes, all[3].sizeBytes);
    EXPECT_EQ(all[0].name, QStringLiteral("Huge"));
    EXPECT_GT(all[0].sizeBytes, 900'000u);

    const QList<KSTAppUsageInfo> two = catalog.topApplicationsBySize(2);
    ASSERT_EQ(two.size(), 2);
    EXPECT_EQ(two.last().bundlePath, all[1].bundlePath);
    EXPECT_TRUE(catalog.topApplicationsBySize(0).isEmpty());
}

} // namespace
