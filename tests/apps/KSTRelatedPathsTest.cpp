// The files an application left outside its bundle, looked up on fixture Macs: containment
// that over-matches and says so, tokens that would leave their folder, empty candidates, launch
// jobs that run the app against those that only name it, identifiers inside longer ones,
// embedded bundles, links, the index and the order.
#include "KSTAppTestSupport.h"
#include "KSTAppUninstaller.h"
#include "KSTHostileFiles.h"
#include "KSTPropertyList.h"
#include "KSTRelatedPathMatcher.h"

#include <gtest/gtest.h>

namespace {

class RelatedPathsTest : public KSTAppsMachineTest
{
protected:
    // The record of the app @p name after discovery, with its related paths looked up.
    KSTInstalledAppRecord lookUp(const QString &name)
    {
        const std::optional<KSTInstalledAppRecord> app = appNamed(discoverOnly(), name);
        EXPECT_TRUE(app) << name.toStdString();
        return app ? withRelatedPaths(*app) : KSTInstalledAppRecord();
    }

    QString homeRelative(const QString &path) const { return path.mid(mac.home().size() + 1); }

    // Home-relative (or root-relative, "/…") path → strong flag, for every related path.
    QMap<QString, bool> strengthByPath(const KSTInstalledAppRecord &app) const
    {
        QMap<QString, bool> strength;
        for (const KSTInstalledAppRelatedPath &related : app.relatedPaths) {
            const QString key = related.path.startsWith(mac.home() + '/')
                                    ? homeRelative(related.path)
                                    : related.path.mid(mac.root().size());
            strength.insert(key, related.isStrongMatch);
        }
        return strength;
    }

    QString writeHomeBlob(const QString &homeRelative, qint64 bytes = 4096)
    {
        return mac.writeSizedHomeFile(homeRelative, bytes);
    }
};

TEST_F(RelatedPathsTest, GoListsGooglesContainersButOnlyAsWeakMatches)
{
    addApp(QStringLiteral("Go"), QStringLiteral("com.example.go"));
    addApp(QStringLiteral("Google Chrome"), QStringLiteral("com.google.Chrome"));
    for (const char *file :
         {"Library/Containers/com.google.Chrome/Data/prefs",
          "Library/Containers/com.google.GoogleDrive/x",
          "Library/Group Containers/EQHXZ8M8AV.group.com.google.drive/x",
          "Library/Containers/com.example.go/Data/state",
          "Library/Group Containers/group.com.example.go/x",
          "Library/Caches/com.example.go/cache.db", "Library/Application Support/Go/settings",
          "Library/Containers/com.apple.Safari/x"})
        writeHomeBlob(QString::fromUtf8(file));

    const KSTInstalledAppRecord go = lookUp(QStringLiteral("Go"));
    const QMap<QString, bool> expected{
        {"Library/Containers/com.google.Chrome", false},
        {"Library/Containers/com.google.GoogleDrive", false},
        {"Library/Group Containers/EQHXZ8M8AV.group.com.google.drive", false},
        {"Library/Containers/com.example.go", true},
        {"Library/Group Containers/group.com.example.go", true},
        {"Library/Caches/com.example.go", true},
        {"Library/Application Support/Go", true},
    };
    EXPECT_EQ(strengthByPath(go), expected);
    for (const KSTInstalledAppRelatedPath &related : go.relatedPaths) {
        EXPECT_TRUE(related.isRemovable);
        EXPECT_EQ(related.displayPath, "~/" + homeRelative(related.path));
        EXPECT_TRUE(related.identity && related.identity->kind == KSTFileIdentity::Kind::Folder);
        if (related.path.endsWith(QLatin1String("com.google.Chrome"))) {
            EXPECT_EQ(related.matchRule, QStringLiteral("container"));
            EXPECT_EQ(related.matchedToken, QStringLiteral("Go"));
            EXPECT_EQ(KSTRelatedPathMatcher::explanation(related),
                      QStringLiteral("Name contains “go”"));
        }
    }
}

TEST_F(RelatedPathsTest, ATokenThatWouldLeaveItsFolderFillsNoTemplate)
{
    KSTFixtureMac::App app;
    app.name = QStringLiteral("Docs");
    app.bundleIdentifier = QStringLiteral("com.example.docs");
    app.extraInfo = {{QStringLiteral("CFBundleDisplayName"), QStringLiteral("../../Documents")}};
    mac.addApp(app);
    writeHomeBlob(QStringLiteral("Documents/thesis.pdf"), 65536);
    writeHomeBlob(QStringLiteral("Library/Documents/notes"));
    writeHomeBlob(QStringLiteral("Library/Caches/com.example.docs/c"));

    const KSTInstalledAppRecord docs = lookUp(QStringLiteral("../../Documents"));
    EXPECT_TRUE(docs.relatedPathsLoaded);
    EXPECT_EQ(strengthByPath(docs),
              (QMap<QString, bool>{{"Library/Caches/com.example.docs", true}}));
    for (const QString &token :
         {QStringLiteral(".."), QStringLiteral("."), QStringLiteral("a/b")}) {
        KSTInstalledAppRecord dotted;
        dotted.name = token;
        dotted.bundleIdentifier = token;
        KSTRelatedPathMatcher::Collection collection;
        KSTRelatedPathLookup::addDirectRelatedPathsForApp(dotted, {token}, {}, collection);
        EXPECT_TRUE(collection.paths().isEmpty()) << token.toStdString();
    }
}

TEST_F(RelatedPathsTest, NothingEmptyAndNoneOfTheHomesOwnFoldersIsEverListed)
{
    addApp(QStringLiteral("Tidy"), QStringLiteral("com.example.tidy"));
    mac.writeHomeFile(QStringLiteral("Library/Preferences/com.example.tidy.plist"), QByteArray());
    mac.makeHomeDirectory(QStringLiteral("Library/Caches/com.example.tidy/empty/deeper"));
    writeHomeBlob(QStringLiteral("Library/Logs/com.example.tidy/run.log"));

    EXPECT_EQ(strengthByPath(lookUp(QStringLiteral("Tidy"))),
              (QMap<QString, bool>{{"Library/Logs/com.example.tidy", true}}));

    const struct
    {
        const char *homeRelative;
        bool neverListed;
    } places[] = {{"", true},
                  {"Library", true},
                  {"Library/Caches", true},
                  {"Library/Group Containers", true},
                  {"Library/Caches/com.example.tidy", false},
                  {"Documents", true},
                  {".Trash", true},
                  {"Applications", true},
                  {"Documents/Tidy", false},
                  {"Desktop/../Music", true}};
    for (const auto &place : places)
        EXPECT_EQ(KSTRelatedPathLookup::isNeverListed(
                      mac.homePath(QString::fromUtf8(place.homeRelative))),
                  place.neverListed)
            << place.homeRelative;
}

TEST_F(RelatedPathsTest, AnAgentRunningTheAppIsStrongOneNamingItInAnArgumentWeak)
{
    addApp(QStringLiteral("Foo"), QStringLiteral("com.vendor.foo"));
    mac.addLaunchdPlist(KSTFixtureMac::LaunchdDomain::UserAgent,
                        QStringLiteral("com.vendor.updater"),
                        {{QStringLiteral("Program"),
                          QStringLiteral("/Applications/Foo.app/Contents/MacOS/updater")}});
    mac.addLaunchdPlist(KSTFixtureMac::LaunchdDomain::UserAgent,
                        QStringLiteral("org.user.launcher"),
                        {{QStringLiteral("ProgramArguments"),
                          QVariantList{QStringLiteral("/usr/bin/open"), QStringLiteral("-a"),
                                       QStringLiteral("/Applications/Foo.app")}}},
                        KSTFixtureMac::PlistFormat::Binary);
    mac.addLaunchdPlist(
        KSTFixtureMac::LaunchdDomain::UserAgent, QStringLiteral("org.user.backup"),
        {{QStringLiteral("ProgramArguments"), QVariantList{QStringLiteral("/usr/bin/rsync")}}});
    // Named after the app, but running something else: still named after it.
    mac.addLaunchdPlist(KSTFixtureMac::LaunchdDomain::UserAgent,
                        QStringLiteral("com.vendor.foo.helper"),
                        {{QStringLiteral("Program"), QStringLiteral("/usr/local/bin/helper")}});
    // A job that climbs out of the bundle is not inside it.
    mac.addLaunchdPlist(
        KSTFixtureMac::LaunchdDomain::UserAgent, QStringLiteral("org.user.trick"),
        {{QStringLiteral("Program"), QStringLiteral("/Applications/Foo.app/../Foo Tools/run")}});

    const KSTInstalledAppRecord foo = lookUp(QStringLiteral("Foo"));
    EXPECT_EQ(strengthByPath(foo),
              (QMap<QString, bool>{{"Library/LaunchAgents/com.vendor.updater.plist", true},
                                   {"Library/LaunchAgents/org.user.launcher.plist", false},
                                   {"Library/LaunchAgents/com.vendor.foo.helper.plist", true},
                                   {"Library/LaunchAgents/org.user.trick.plist", false}}));
    for (const KSTInstalledAppRelatedPath &related : foo.relatedPaths) {
        if (related.path.endsWith(QLatin1String("com.vendor.updater.plist"))) {
            EXPECT_EQ(related.matchRule, QStringLiteral("launchAgentProgram"));
        } else if (related.path.endsWith(QLatin1String("com.vendor.foo.helper.plist"))) {
            EXPECT_EQ(related.matchRule, QStringLiteral("launchAgent"));
        }
    }
}

TEST_F(RelatedPathsTest, AnotherAppsLongerIdentifierKeepsAMatchWeak)
{
    addApp(QStringLiteral("Editor"), QStringLiteral("com.example.editor"));
    addApp(QStringLiteral("Editor Pro"), QStringLiteral("com.example.editor.pro"));
    for (const char *file :
         {"Library/Preferences/com.example.editor.plist",
          "Library/Preferences/com.example.editor.pro.plist",
          "Library/Containers/com.example.editor.pro/x", "Library/Containers/com.example.editor/x"})
        writeHomeBlob(QString::fromUtf8(file));

    EXPECT_EQ(strengthByPath(lookUp(QStringLiteral("Editor"))),
              (QMap<QString, bool>{{"Library/Preferences/com.example.editor.plist", true},
                                   {"Library/Containers/com.example.editor.pro", false},
                                   {"Library/Containers/com.example.editor", true}}));
    const QMap<QString, bool> pro = strengthByPath(lookUp(QStringLiteral("Editor Pro")));
    EXPECT_TRUE(pro.value("Library/Preferences/com.example.editor.pro.plist"));
    EXPECT_TRUE(pro.value("Library/Containers/com.example.editor.pro"));
    EXPECT_FALSE(pro.contains("Library/Containers/com.example.editor"));
}

TEST_F(RelatedPathsTest, SharedPlacesAreListedButOnlyTheHomeAndReceiptsAreRemovable)
{
    addApp(QStringLiteral("Maker"), QStringLiteral("com.example.maker"));
    mac.writeFile(QStringLiteral("private/var/db/receipts/com.example.maker.bom"), "bom");
    mac.writeFile(QStringLiteral("private/var/db/receipts/com.example.maker.plist"), "plist");
    mac.writeFile(QStringLiteral("Users/Shared/Maker Projects/demo"), QByteArray(4096, 'm'));
    mac.writeFile(QStringLiteral("private/var/folders/zz/abc123/T/com.example.maker/tmp"), "t");
    mac.writeFile(QStringLiteral("private/var/folders/zz/abc123/C/com.example.maker/cache"), "c");
    // Five levels down is past the index's reach.
    mac.writeFile(QStringLiteral("private/var/folders/zz/abc123/T/deep/com.example.maker/x"), "d");
    mac.writeFile(QStringLiteral("private/var/folders/zz/abc123/T/Maker/x"), "not by name");
    writeHomeBlob(QStringLiteral("Library/Logs/DiagnosticReports/Maker_2024-01-01.crash"));

    QMap<QString, bool> removable;
    for (const KSTInstalledAppRelatedPath &related : lookUp(QStringLiteral("Maker")).relatedPaths)
        removable.insert(related.path.mid(mac.root().size()), related.isRemovable);
    EXPECT_EQ(removable,
              (QMap<QString, bool>{
                  {"/private/var/db/receipts/com.example.maker.bom", true},
                  {"/private/var/db/receipts/com.example.maker.plist", true},
                  {"/Users/Shared/Maker Projects", false},
                  {"/private/var/folders/zz/abc123/T/com.example.maker", false},
                  {"/private/var/folders/zz/abc123/C/com.example.maker", false},
                  {"/Users/alice/Library/Logs/DiagnosticReports/Maker_2024-01-01.crash", true}}));
}

TEST_F(RelatedPathsTest, EmbeddedBundlesTwoLevelsDeepAddTheirIdentifiers)
{
    const QString bundle = addApp(QStringLiteral("Suite"), QStringLiteral("com.example.suite"));
    const auto embed = [&bundle](const char *path, const char *identifier) {
        KSTTestSupport::writeFile(
            bundle + "/Contents/" + path + "/Contents/Info.plist",
            KSTPropertyList::toBinary(QVariantMap{
                {QStringLiteral("CFBundleIdentifier"), QString::fromUtf8(identifier)}}));
    };
    embed("Library/LoginItems/Suite Helper.app", "com.example.suite.helper");
    embed("PlugIns/Share.appex", "com.example.suite.share");
    embed("PlugIns/Bundled/Widgets.appex", "com.example.widgets");
    embed("PlugIns/Share.appex/Contents/PlugIns/Inner.appex", "com.example.inner");
    embed("Frameworks/Sparkle.framework/Versions/Autoupdate.app", "org.sparkle.autoupdate");
    embed("Helpers/NoIdentifier.app", "");

    KSTInstalledAppRecord suite;
    suite.name = QStringLiteral("Suite");
    suite.bundleIdentifier = QStringLiteral("com.example.suite");
    suite.bundlePath = bundle;
    QStringList tokens = KSTRelatedPathMatcher::relatedPathTokensForApp(suite);
    std::sort(tokens.begin() + 2, tokens.end());
    EXPECT_EQ(tokens, (QStringList{"com.example.suite", "Suite", "com.example.suite.helper",
                                   "com.example.suite.share", "com.example.widgets"}));

    suite.bundlePath.clear();
    EXPECT_EQ(KSTRelatedPathMatcher::relatedPathTokensForApp(suite),
              (QStringList{"com.example.suite", "Suite"}));
}

TEST_F(RelatedPathsTest, ALinkIsListedAsItselfAndOrderIsBySizeThenDisplayPath)
{
    addApp(QStringLiteral("Linked"), QStringLiteral("com.example.linked"));
    mac.writeFile(QStringLiteral("Victim/big"), QByteArray(1 << 20, 'v'));
    mac.makeSymlink(QStringLiteral("Users/alice/Library/Caches/com.example.linked"),
                    mac.path(QStringLiteral("Victim")));
    writeHomeBlob(QStringLiteral("Library/Logs/com.example.linked/a"), 8192);
    writeHomeBlob(QStringLiteral("Library/WebKit/com.example.linked/a"), 8192);
    writeHomeBlob(QStringLiteral("Library/HTTPStorages/com.example.linked/a"), 16384);

    const KSTInstalledAppRecord linked = lookUp(QStringLiteral("Linked"));
    QStringList order;
    for (const KSTInstalledAppRelatedPath &related : linked.relatedPaths)
        order << homeRelative(related.path);
    EXPECT_EQ(
        order,
        (QStringList{"Library/HTTPStorages/com.example.linked", "Library/Logs/com.example.linked",
                     "Library/WebKit/com.example.linked", "Library/Caches/com.example.linked"}));
    const KSTInstalledAppRelatedPath &link = linked.relatedPaths.last();
    EXPECT_EQ(link.identity->kind, KSTFileIdentity::Kind::Link);
    EXPECT_LT(link.bytes, 4096u) << "the link's own size, never its target's";
}

TEST_F(RelatedPathsTest, TheIndexIsBuiltOnceAndClearedByAnInvalidation)
{
    addApp(QStringLiteral("Indexed"), QStringLiteral("com.example.indexed"));
    writeHomeBlob(QStringLiteral("Library/Containers/com.example.indexed/x"));
    ASSERT_TRUE(discoverOnly());
    const auto first = engine->relatedPaths().relatedPathScanIndex();
    EXPECT_EQ(engine->relatedPaths().relatedPathScanIndex(), first);
    EXPECT_EQ(first->containerPathsByName.size(), 1);
    EXPECT_EQ(first->installedBundleIdentifiers,
              QStringList{QStringLiteral("com.example.indexed")});
    // Folders made later are seen only once the index is rebuilt.
    writeHomeBlob(QStringLiteral("Library/Containers/com.example.indexed.later/x"));
    EXPECT_EQ(engine->relatedPaths().relatedPathScanIndex()->containerPathsByName.size(), 1);
    info.invalidateAppInventoryCache();
    EXPECT_EQ(info.cachedRelatedPathScanIndex(), nullptr);
    EXPECT_EQ(engine->relatedPaths().relatedPathScanIndex()->containerPathsByName.size(), 2);
}

} // namespace
