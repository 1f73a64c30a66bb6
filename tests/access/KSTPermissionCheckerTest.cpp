// Full Disk Access and the accessible-path helpers against fixture Macs.
#include "KSTPermissionChecker.h"

#include "KSTApplicationInfo.h"
#include "KSTHostileFiles.h"
#include "KSTMachineTest.h"
#include "KSTNotificationCenter.h"
#include "KSTPreferences.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QObject>

#include <gtest/gtest.h>

#include <algorithm>
#include <future>

using Checker = KSTPermissionChecker;
using Row = KSTFixtureMac::PrivacyRow;

namespace {

class PermissionCheckerTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        KSTPreferences::standard()->clear();
    }

    // Counts folder-access notifications delivered to the main thread.
    void watchNotifications()
    {
        KSTNotificationCenter::defaultCenter().addObserver(
            Checker::FolderAccessStatusDidChangeNotification, &observerContext,
            [this](const KSTNotification &) { ++notifications; });
    }

    QObject observerContext;
    int notifications = 0;
};

struct DatabaseCase
{
    const char *description;
    int authValue;        // -1: no row for this program
    bool corrupt = false; // the file is not a database
    bool missing = false; // no database file at all
    KSTFixtureMac::PrivacySchema schema = KSTFixtureMac::PrivacySchema::Sonoma;
    bool granted;
    KSTFullDiskAccessStatus status;
};

class FullDiskAccessDatabaseTest : public PermissionCheckerTest,
                                   public ::testing::WithParamInterface<DatabaseCase>
{
};

TEST_P(FullDiskAccessDatabaseTest, DecidesGrantAndStatus)
{
    const DatabaseCase &c = GetParam();
    if (c.corrupt) {
        mac.writeCorruptPrivacyDatabase();
    } else if (!c.missing) {
        QList<Row> rows = {{QStringLiteral("com.example.Other"), 2}};
        if (c.authValue >= 0)
            rows << Row{KSTApplicationInfo::bundleIdentifier(), c.authValue};
        mac.writePrivacyDatabase(rows, c.schema);
    }
    EXPECT_EQ(Checker::hasFullDiskAccess(), c.granted) << c.description;
    EXPECT_EQ(Checker::fullDiskAccessStatus(), c.status) << c.description;
    EXPECT_EQ(Checker::needsFullDiskAccessReminder(), !c.granted) << c.description;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FullDiskAccessDatabaseTest,
    ::testing::Values(
        DatabaseCase{"allowed", 2, false, false, {}, true, KSTFullDiskAccessStatusGranted},
        DatabaseCase{"limited", 1, false, false, {}, true, KSTFullDiskAccessStatusGranted},
        DatabaseCase{"denied", 0, false, false, {}, false, KSTFullDiskAccessStatusListedButOff},
        DatabaseCase{"unknown 3", 3, false, false, {}, false, KSTFullDiskAccessStatusListedButOff},
        DatabaseCase{"big sur schema", 2, false, false, KSTFixtureMac::PrivacySchema::BigSur, true,
                     KSTFullDiskAccessStatusGranted},
        DatabaseCase{"no row", -1, false, false, {}, false, KSTFullDiskAccessStatusNotListed},
        DatabaseCase{"missing", -1, false, true, {}, false, KSTFullDiskAccessStatusNotListed},
        DatabaseCase{
            "not a database", -1, true, false, {}, false, KSTFullDiskAccessStatusNotListed},
        // The old schema has no auth_value column: the query cannot be prepared.
        DatabaseCase{"catalina schema", 2, false, false, KSTFixtureMac::PrivacySchema::Catalina,
                     false, KSTFullDiskAccessStatusNotListed}),
    [](const ::testing::TestParamInfo<DatabaseCase> &info) {
        std::string name = info.param.description;
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

TEST_F(PermissionCheckerTest, ExecutablePathIsAClientToo)
{
    const QStringList clients = Checker::fullDiskAccessClientIdentifiers();
    ASSERT_GE(clients.size(), 2);
    EXPECT_EQ(clients.first(), KSTApplicationInfo::bundleIdentifier());
    EXPECT_EQ(clients.last(), QDir::cleanPath(KSTApplicationInfo::executablePath()));
    EXPECT_EQ(clients.count(clients.last()), 1);

    mac.writePrivacyDatabase({{clients.last(), 2}});
    EXPECT_TRUE(Checker::hasFullDiskAccess());
}

TEST_F(PermissionCheckerTest, ReadableProbeGrantsWithoutADatabaseRow)
{
    const QString chat = mac.writeHomeFile(QStringLiteral("Library/Messages/chat.db"), "sqlite");
    EXPECT_TRUE(Checker::canAccessProtectedPath(chat));
    EXPECT_TRUE(Checker::hasFullDiskAccess());

    Checker::resetForTesting();
    QFile::resize(chat, 0); // an empty file says nothing
    EXPECT_FALSE(Checker::canAccessProtectedPath(chat));
    mac.makeHomeDirectory(QStringLiteral("Library/Safari"));
    EXPECT_FALSE(Checker::hasFullDiskAccess());
}

// FIFOs where the privacy database and the probe files belong: every answer comes at once
// (the window asks on its main thread) and says "not granted, not listed".
TEST_F(PermissionCheckerTest, FifosInPlaceOfTheDatabaseAndProbesAnswerAtOnce)
{
    const QStringList fifos = {
        mac.homePath(QStringLiteral("Library/Application Support/com.apple.TCC/TCC.db")),
        mac.homePath(QStringLiteral("Library/Messages/chat.db")),
        mac.homePath(QStringLiteral("Library/Safari/Bookmarks.plist"))};
    for (const QString &fifo : fifos)
        ASSERT_TRUE(KSTHostileFiles::makeFifo(fifo)) << fifo.toStdString();
    auto answers = std::async(std::launch::async, [] {
        return std::pair{Checker::hasFullDiskAccess(), Checker::fullDiskAccessStatus()};
    });
    if (answers.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
        ADD_FAILURE() << "a FIFO blocked the access check";
        for (const QString &fifo : fifos) { // give every stuck open a writer, then an end
            QFile writer(fifo);
            writer.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
        }
    }
    const auto [granted, status] = answers.get();
    EXPECT_FALSE(granted);
    EXPECT_EQ(status, KSTFullDiskAccessStatusNotListed);
    // Nothing was created beside the database.
    EXPECT_EQ(QDir(QFileInfo(fifos.first()).path()).entryList(QDir::Files | QDir::System),
              QStringList{QStringLiteral("TCC.db")});
}

TEST_F(PermissionCheckerTest, VisitingSettingsTurnsNotListedIntoSwitchedOff)
{
    EXPECT_EQ(Checker::fullDiskAccessStatus(), KSTFullDiskAccessStatusNotListed);
    EXPECT_EQ(Checker::fullDiskAccessReminderTitle(), QStringLiteral("Allow Full Disk Access"));
    EXPECT_EQ(Checker::fullDiskAccessReminderMessage(),
              QStringLiteral("Kestrel 3 needs Full Disk Access to scan protected folders. Add "
                             "Kestrel 3 to the Full Disk Access list and turn on the switch in "
                             "System Settings."));

    Checker::openFullDiskAccessSettings();
    EXPECT_TRUE(KSTPreferences::standard()->value(Checker::UserOpenedFDASettingsKey).toBool());
    EXPECT_EQ(Checker::fullDiskAccessStatus(), KSTFullDiskAccessStatusListedButOff);
    EXPECT_EQ(Checker::fullDiskAccessReminderTitle(), QStringLiteral("Turn On Full Disk Access"));
    EXPECT_EQ(Checker::fullDiskAccessReminderMessage(),
              QStringLiteral("Kestrel 3 is already listed in Full Disk Access, but the permission "
                             "switch is turned off. Open System Settings, turn on the switch next "
                             "to Kestrel 3, then quit and reopen the app."));
}

TEST_F(PermissionCheckerTest, StaleAnswerUntilRefreshThenOneNotificationPerChange)
{
    watchNotifications();
    Checker::refreshFullDiskAccessStatus(); // the first refresh compares "no" against "no"
    EXPECT_EQ(notifications, 0);
    mac.writePrivacyDatabase({{KSTApplicationInfo::bundleIdentifier(), 2}});
    EXPECT_EQ(Checker::fullDiskAccessStatus(), KSTFullDiskAccessStatusStale);
    EXPECT_EQ(Checker::fullDiskAccessReminderTitle(), QStringLiteral("Allow Full Disk Access"));

    KSTPreferences::standard()->setValue(Checker::UserOpenedFDASettingsKey, true);
    Checker::refreshFullDiskAccessStatus();
    EXPECT_EQ(Checker::fullDiskAccessStatus(), KSTFullDiskAccessStatusGranted);
    EXPECT_FALSE(KSTPreferences::standard()->contains(Checker::UserOpenedFDASettingsKey));
    EXPECT_EQ(notifications, 1);

    Checker::refreshFullDiskAccessStatus(); // unchanged: no notification
    EXPECT_EQ(notifications, 1);

    // With nothing cached, a grant found by the first refresh is a change from "no".
    Checker::resetForTesting();
    Checker::refreshFullDiskAccessStatus();
    EXPECT_EQ(notifications, 2);
}

TEST_F(PermissionCheckerTest, RemindLaterSuppressesThePrompt)
{
    EXPECT_TRUE(Checker::shouldShowFolderAccessPrompt());
    Checker::setRemindLater(true);
    EXPECT_FALSE(Checker::shouldShowFolderAccessPrompt());
    EXPECT_FALSE(Checker::shouldShowFullDiskAccessPrompt());
    Checker::clearRemindLater();
    EXPECT_TRUE(Checker::shouldShowFolderAccessPrompt());
}

TEST_F(PermissionCheckerTest, PrivacyRule)
{
    const struct
    {
        QString path;
        bool skipped;
    } cases[] = {
        {mac.homePath(QStringLiteral("Music")), true},
        {mac.homePath(QStringLiteral("Music/iTunes/x.mp3")), true},
        {mac.homePath(QStringLiteral("Music/")), true},
        {mac.homePath(QStringLiteral("Documents/../Music/a")), true},
        {mac.homePath(QStringLiteral("Musicals")), false},
        {mac.homePath(QStringLiteral("Documents/Music")), false},
        {mac.homePath(QStringLiteral("Pictures/Photos Library.photoslibrary")), true},
        {QStringLiteral("/Volumes/Backup/Old.PhotoLibrary"), true},
        {QStringLiteral("/Volumes/Backup/iTunes.itunesLibrary/x"), false},
        {QStringLiteral("/Volumes/Backup/Songs.musiclibrary"), true},
        {QStringLiteral("/tmp/photoslibrary"), false},
        {QString(), false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Checker::shouldSkipPrivacyProtectedPath(c.path), c.skipped)
            << c.path.toStdString();
}

TEST_F(PermissionCheckerTest, ProtectedPathsGiveNoURLNoSizeNoListing)
{
    const QString music = mac.homePath(QStringLiteral("Music"));
    mac.writeSizedHomeFile(QStringLiteral("Music/song.m4a"), 8192);
    const QString library =
        mac.makeHomeDirectory(QStringLiteral("Pictures/Photos Library.photoslibrary"));
    mac.writeSizedHomeFile(QStringLiteral("Pictures/Photos Library.photoslibrary/db"), 8192);

    for (const QString &path : {music, library}) {
        EXPECT_EQ(Checker::fileSizeAtAccessiblePath(path), 0u) << path.toStdString();
        EXPECT_TRUE(Checker::accessibleURLForPath(path, true).isEmpty());
        EXPECT_TRUE(Checker::directoryURLForSizeAtPath(path).isEmpty());
        EXPECT_TRUE(Checker::directoryURLForScanRoot(path).isEmpty());
        EXPECT_FALSE(Checker::directoryContentsAtAccessiblePath(path).has_value());
    }
    EXPECT_EQ(Checker::directorySizeAtAccessibleRelativePath(QStringLiteral("Music")), 0u);
    EXPECT_EQ(Checker::directoryURLForScanRoot(QString()), QString());
    EXPECT_EQ(Checker::directoryURLForScanRoot(mac.homePath(QStringLiteral("Music/x"))), QString());
    EXPECT_EQ(Checker::directoryURLForScanRoot(QStringLiteral("/Volumes/Disk/Old.photoslibrary")),
              QString());
    EXPECT_EQ(Checker::directoryURLForScanRoot(mac.homePath(QStringLiteral("Pictures"))),
              mac.homePath(QStringLiteral("Pictures")));
}

TEST_F(PermissionCheckerTest, FolderSizeSkipsHiddenAndProtectedEntriesAndLinks)
{
    mac.writeSizedHomeFile(QStringLiteral("Pictures/a.jpg"), 8192);
    mac.writeSizedHomeFile(QStringLiteral("Pictures/sub/b.jpg"), 16384);
    mac.writeSizedHomeFile(QStringLiteral("Pictures/.hidden/c.jpg"), 32768);
    mac.writeSizedHomeFile(QStringLiteral("Pictures/.thumb"), 32768);
    mac.writeSizedHomeFile(QStringLiteral("Pictures/Lib.photoslibrary/d.jpg"), 65536);
    mac.writeSizedHomeFile(QStringLiteral("Documents/outside.bin"), 1 << 20);
    mac.makeSymlink(QStringLiteral("Users/alice/Pictures/link"), mac.homePath("Documents"));

    const quint64 size = Checker::directorySizeAtAccessibleRelativePath(QStringLiteral("Pictures"));
    // 8 KiB + 16 KiB of data, plus at most one block per file of slack, plus the link itself.
    EXPECT_GE(size, 24576u);
    EXPECT_LT(size, 24576u + 3 * 4096u);
    EXPECT_EQ(Checker::fileSizeAtAccessiblePath(mac.homePath(QStringLiteral("Pictures/a.jpg"))),
              8192u);
    EXPECT_EQ(Checker::fileSizeAtAccessiblePath(mac.homePath(QStringLiteral("nothing"))), 0u);
}

TEST_F(PermissionCheckerTest, ListingOmitsHiddenEntries)
{
    mac.writeHomeFile(QStringLiteral("Downloads/a.dmg"), "x");
    mac.writeHomeFile(QStringLiteral("Downloads/.DS_Store"), "x");
    mac.makeHomeDirectory(QStringLiteral("Downloads/folder"));
    auto names =
        Checker::directoryContentsAtAccessiblePath(mac.homePath(QStringLiteral("Downloads")));
    ASSERT_TRUE(names.has_value());
    names->sort();
    EXPECT_EQ(*names, (QStringList{"a.dmg", "folder"}));

    auto empty = Checker::directoryContentsAtAccessiblePath(mac.homePath(QStringLiteral("Movies")));
    ASSERT_TRUE(empty.has_value());
    EXPECT_TRUE(empty->isEmpty());
    EXPECT_FALSE(Checker::directoryContentsAtAccessiblePath(mac.homePath("Nope")).has_value());
    EXPECT_FALSE(
        Checker::directoryContentsAtAccessiblePath(mac.homePath("Downloads/a.dmg")).has_value());
}

TEST_F(PermissionCheckerTest, ItemExistence)
{
    const QString file = mac.writeHomeFile(QStringLiteral("Documents/a.txt"), "x");
    bool isDirectory = true;
    EXPECT_TRUE(Checker::accessibleItemExistsAtPath(file, &isDirectory));
    EXPECT_FALSE(isDirectory);
    EXPECT_TRUE(Checker::accessibleItemExistsAtPath(mac.homePath("Documents"), &isDirectory));
    EXPECT_TRUE(isDirectory);
    EXPECT_FALSE(Checker::accessibleItemExistsAtPath(mac.homePath("Documents/none")));
    EXPECT_FALSE(Checker::accessibleItemExistsAtPath(QString()));
    EXPECT_TRUE(Checker::URLExists(file));
    EXPECT_FALSE(Checker::URLExists(QString()));
}

// Engines ask these two the same way in every build; both builds' answers are checked here,
// each with and without a home grant.
struct SandboxAnswerCase
{
    const char *description;
    bool sandboxed;
    bool granted;
    const char *path;     ///< "~/…" in the fixture home, "/…" under the fixture root
    const char *expected; ///< the same notation; "" for nothing
};

class SandboxAnswerTest : public PermissionCheckerTest
{
protected:
    QString resolved(const char *path) const
    {
        const QString text = QString::fromUtf8(path);
        if (text.isEmpty())
            return text;
        return text.startsWith(QLatin1Char('~')) ? mac.home() + text.mid(1) : mac.root() + text;
    }

    void grantHome(bool granted)
    {
        KSTPermissionChecker::resetForTesting();
        KSTPreferences::standard()->clear();
        if (granted) {
            ASSERT_TRUE(Checker::saveHomeFolderBookmarkForURL(mac.home()));
            ASSERT_TRUE(Checker::restoreStoredHomeFolderAccess());
        }
    }
};

TEST_F(SandboxAnswerTest, ItemsAreReachedAsTheBuildAllows)
{
    const SandboxAnswerCase cases[] = {
        {"plain: a home item as it is", false, false, "~/Documents/./a.txt", "~/Documents/./a.txt"},
        {"plain: a grant changes nothing", false, true, "~/Documents/./a.txt",
         "~/Documents/./a.txt"},
        {"plain: outside the home as it is", false, false, "/Volumes/Disk/a", "/Volumes/Disk/a"},
        {"sandbox: through the grant", true, true, "~/Documents/./a.txt", "~/Documents/a.txt"},
        {"sandbox: nothing without a grant", true, false, "~/Documents/a.txt", ""},
        {"sandbox: nothing outside the grant", true, true, "/Volumes/Disk/a", ""},
        {"sandbox: nothing protected", true, true, "~/Music/a.m4a", ""},
    };
    for (const SandboxAnswerCase &c : cases) {
        SCOPED_TRACE(c.description);
        grantHome(c.granted);
        EXPECT_EQ(Checker::itemURLForPath(resolved(c.path), false, c.sandboxed),
                  resolved(c.expected));
    }
    grantHome(false);
    // This build is not sandboxed.
    EXPECT_EQ(Checker::itemURLForPath(resolved("~/Music/a.m4a"), false), resolved("~/Music/a.m4a"));
}

TEST_F(SandboxAnswerTest, AHomeSearchCoversTheWholeFolderOrTheGrantedSubfolders)
{
    mac.makeHomeDirectory(QStringLiteral("Desktop"));
    mac.makeHomeDirectory(QStringLiteral("Documents"));
    mac.makeHomeDirectory(QStringLiteral("Music"));
    mac.writeHomeFile(QStringLiteral("notes.txt"), "not a folder");
    // Missing, protected, a file and an empty name are left out; the order is the list's.
    const QStringList folders = {QStringLiteral("Documents"),
                                 QStringLiteral("Missing"),
                                 QStringLiteral("Music"),
                                 QStringLiteral("notes.txt"),
                                 QString(),
                                 QStringLiteral("Desktop")};
    const QString userFolder = mac.path(QStringLiteral("Users/alice"));
    struct ScopeCase
    {
        const char *description;
        bool sandboxed;
        bool granted;
        QString home;
        QStringList roots;
    };
    const ScopeCase cases[] = {
        {"plain: the user folder whole", false, false, userFolder, {userFolder}},
        {"plain: a grant changes nothing", false, true, userFolder, {userFolder}},
        {"sandbox: nothing without a grant", true, false, QString(), {}},
        {"sandbox: the granted subfolders",
         true,
         true,
         mac.home(),
         {mac.homePath(QStringLiteral("Documents")), mac.homePath(QStringLiteral("Desktop"))}},
    };
    for (const ScopeCase &c : cases) {
        SCOPED_TRACE(c.description);
        grantHome(c.granted);
        const Checker::HomeSearchScope scope =
            Checker::homeSearchScope(userFolder, folders, c.sandboxed);
        EXPECT_EQ(scope.home, c.home);
        EXPECT_EQ(scope.roots, c.roots);
    }
    grantHome(false);
    EXPECT_EQ(Checker::homeSearchScope(userFolder, folders).roots, QStringList{userFolder});
}

// The screens' and the engines' other build-dependent questions: each build's answer, with
// and without a home grant, and this build's.
TEST_F(SandboxAnswerTest, GrantsWalksAndUserFoldersAsTheBuildAllows)
{
    const QStringList folders = {QStringLiteral("Desktop"), QStringLiteral("Documents")};
    const QStringList sandboxedFolders = {QStringLiteral("Movies")};
    const QStringList homeRoots = {mac.homePath(QStringLiteral("Desktop")),
                                   mac.homePath(QStringLiteral("Documents"))};
    struct BuildCase
    {
        const char *description;
        bool sandboxed;
        bool granted;
        KSTAccessGrant grant;
        const char *title;
        bool mayWalkHome;
        QStringList searched;
        QStringList roots;
    };
    const BuildCase cases[] = {
        {"plain", false, false, KSTAccessGrant::FullDiskAccess, "Full Disk Access", true, folders,
         homeRoots},
        {"plain: a grant changes nothing", false, true, KSTAccessGrant::FullDiskAccess,
         "Full Disk Access", true, folders, homeRoots},
        {"sandbox without a grant", true, false, KSTAccessGrant::HomeFolder, "User Folder Access",
         false, sandboxedFolders, sandboxedFolders},
        {"sandbox with a grant", true, true, KSTAccessGrant::HomeFolder, "User Folder Access", true,
         sandboxedFolders, sandboxedFolders},
    };
    for (const BuildCase &c : cases) {
        SCOPED_TRACE(c.description);
        grantHome(c.granted);
        EXPECT_EQ(Checker::requiredAccessGrant(c.sandboxed), c.grant);
        EXPECT_EQ(Checker::accessGrantTitle(c.sandboxed), QString::fromUtf8(c.title));
        EXPECT_EQ(Checker::mayWalkUserHome(c.sandboxed), c.mayWalkHome);
        EXPECT_EQ(Checker::userFoldersToSearch(folders, sandboxedFolders, c.sandboxed), c.searched);
        EXPECT_EQ(Checker::userFolderSearchRoots(folders, sandboxedFolders, c.sandboxed), c.roots);
    }
    grantHome(false);
    // This build is not sandboxed.
    EXPECT_EQ(Checker::requiredAccessGrant(), KSTAccessGrant::FullDiskAccess);
    EXPECT_EQ(Checker::accessGrantTitle(), QStringLiteral("Full Disk Access"));
    EXPECT_TRUE(Checker::mayWalkUserHome());
    EXPECT_EQ(Checker::userFoldersToSearch(folders, sandboxedFolders), folders);
    EXPECT_EQ(Checker::userFolderSearchRoots(folders, sandboxedFolders), homeRoots);
}

// Both formats and broken files are the property-list reader's (tested there); here only
// whether a dictionary, and nothing else, comes through.
TEST_F(PermissionCheckerTest, PlistDictionariesOnly)
{
    const QVariantMap info{{QStringLiteral("Device Name"), QStringLiteral("iPhone")}};
    const auto dictionary = Checker::dictionaryFromAccessiblePlistAtPath(
        mac.writeHomePlist(QStringLiteral("a.plist"), info));
    EXPECT_EQ(dictionary, std::optional(info));
    const QString array = mac.writeHomePlist(QStringLiteral("c.plist"), QVariantList{1, 2});
    for (const QString &path : {array, mac.homePath("missing.plist"), QString()})
        EXPECT_FALSE(Checker::dictionaryFromAccessiblePlistAtPath(path).has_value())
            << path.toStdString();
}

TEST_F(PermissionCheckerTest, TheHomeIsTheMachinesAndAlwaysAccessible)
{
    EXPECT_TRUE(Checker::hasHomeFolderAccess());
    EXPECT_EQ(Checker::accessibleUserHomeDirectoryPath(), mac.home());
    EXPECT_EQ(Checker::realUserHomeDirectoryPath(), mac.home());
    EXPECT_TRUE(Checker::isSelectedHomeFolderURL(mac.home() + QLatin1String("/")));
    EXPECT_FALSE(Checker::isSelectedHomeFolderURL(mac.homePath(QStringLiteral("Documents"))));
    bool ran = false;
    Checker::performWithGrantedHomeFolderAccess([&] { ran = true; });
    EXPECT_TRUE(ran);
    EXPECT_EQ(Checker::directoryURLInGrantedHomeWithRelativePath(QStringLiteral("Downloads")),
              mac.homePath(QStringLiteral("Downloads")));
    EXPECT_EQ(Checker::directoryURLInGrantedHomeWithRelativePath(QString()), mac.home());
    EXPECT_TRUE(
        Checker::directoryURLInGrantedHomeWithRelativePath(QStringLiteral("x.photoslibrary"))
            .isEmpty());
    EXPECT_TRUE(Checker::isSandboxReadableApplicationRootPath(QStringLiteral("/Applications")));
    EXPECT_TRUE(Checker::isSandboxReadableApplicationRootPath(
        QStringLiteral("/System/Applications/Notes.app")));
    EXPECT_FALSE(Checker::isSandboxReadableApplicationRootPath(QStringLiteral("/ApplicationsX")));
    EXPECT_FALSE(Checker::isSandboxReadableApplicationRootPath(QString()));
}

TEST_F(PermissionCheckerTest, NoPanelOrASubfolderRefusesAndStoresNoBookmark)
{
    std::optional<bool> answer;
    Checker::requestHomeFolderAccessWithCompletion([&](bool granted) { answer = granted; });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return answer.has_value(); }));
    EXPECT_FALSE(*answer);

    QStringList alerts;
    Checker::setAlertPresenter([&](const QString &message, const QString &informative,
                                   const QString &) { alerts << message << informative; });
    Checker::setHomeFolderPanelPresenter([this](const Checker::HomeFolderPanelRequest &request,
                                                std::function<void(bool, const QString &)> done) {
        EXPECT_EQ(request.prompt, QStringLiteral("Grant Access"));
        EXPECT_EQ(request.startDirectory, mac.home());
        done(true, mac.homePath(QStringLiteral("Documents")));
    });
    answer.reset();
    Checker::requestHomeFolderAccessWithCompletion([&](bool granted) { answer = granted; });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return answer.has_value(); }));
    EXPECT_FALSE(*answer);
    EXPECT_EQ(alerts, (QStringList{QStringLiteral("Select Your Home Folder"),
                                   QStringLiteral("Please choose your home folder (alice), not a "
                                                  "subfolder or another location.")}));
    EXPECT_FALSE(KSTPreferences::standard()->contains(Checker::HomeFolderBookmarkDataKey));
    Checker::setAlertPresenter(nullptr);
    Checker::setHomeFolderPanelPresenter(nullptr);
}

TEST_F(PermissionCheckerTest, ChoosingTheHomeStoresABookmarkThatRestores)
{
    Checker::setRemindLater(true);
    Checker::setHomeFolderPanelPresenter(
        [this](const Checker::HomeFolderPanelRequest &,
               std::function<void(bool, const QString &)> done) { done(true, mac.home()); });
    std::optional<bool> answer;
    Checker::requestHomeFolderAccessWithCompletion([&](bool granted) { answer = granted; });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return answer.has_value(); }));
    EXPECT_TRUE(*answer);
    EXPECT_FALSE(Checker::isRemindLaterSet());
    EXPECT_TRUE(KSTPreferences::standard()->contains(Checker::HomeFolderBookmarkDataKey));

    Checker::resetForTesting();
    EXPECT_TRUE(Checker::restoreStoredHomeFolderAccess());
    EXPECT_EQ(Checker::accessibleUserHomeDirectoryPath(), mac.home());
    Checker::setHomeFolderPanelPresenter(nullptr);
}

} // namespace
