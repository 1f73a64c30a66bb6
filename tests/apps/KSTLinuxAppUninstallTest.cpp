// Uninstalls on the fixture Debian desktop: what needs the package manager is refused with its
// command and touches nothing, a user's Flatpak is flatpak's (its sandbox data goes to the
// Trash), an AppImage and an unowned entry go to the Trash, and the related paths never
// include the desktop's own folders.
#include "KSTAppInventoryEngine.h"
#include "KSTAppUninstallHistory.h"
#include "KSTAppUninstaller.h"
#include "KSTDebianDesktop.h"
#include "KSTDesktopAppRecords.h"
#include "KSTDesktopRelatedPaths.h"
#include "KSTFixtureLinux.h"
#include "KSTPermissionChecker.h"
#include "KSTRelatedPathLookup.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"
#include "KSTTreeListing.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using Result = KSTAppUninstaller::Result;

namespace {

bool uninstallPathsContain(const Result &result, const QString &path)
{
    return result.uninstallPaths.contains(QDir::cleanPath(path));
}

class LinuxAppUninstallTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid());
        KSTDebianDesktop::populate(machine);
        machine.addTool(flatpak, "Uninstalling…\n");
        machine.writeSizedHomeFile(u".var/app/org.videolan.VLC/config/vlc/vlcrc"_s, 8192);
        machine.writeSizedHomeFile(u".var/app/org.gnome.Calculator/data/history"_s, 4096);
        machine.writeSizedHomeFile(u"snap/code/176/.config/Code/settings.json"_s, 4096);
        machine.writeSizedHomeFile(u".config/obsidian-1.5.3/obsidian.json"_s, 4096);
        machine.activate();
        KSTPermissionChecker::resetForTesting();
        KSTAppUninstallHistory::forget();
        engine = KSTAppInventoryEngine::install(info);
    }

    void TearDown() override
    {
        info.cancelAppInventoryScan();
        info.appInventoryQueue().sync([] {});
        KSTAppUninstallHistory::forget();
        KSTPermissionChecker::resetForTesting();
    }

    KSTInstalledAppRecord named(const QString &name)
    {
        for (const KSTInstalledAppRecord &record :
             KSTDesktopAppRecords::records(machine.environment())) {
            if (record.name == name) {
                KSTInstalledAppRecord withPaths = record;
                KSTRelatedPathLookup::applyRelatedPaths(
                    withPaths, engine->relatedPaths().relatedPathsForInstalledApp(record));
                return withPaths;
            }
        }
        ADD_FAILURE() << name.toStdString();
        return {};
    }

    Result uninstall(const KSTInstalledAppRecord &record)
    {
        std::optional<Result> result;
        KSTAppUninstaller(*engine).uninstallApp(
            record,
            std::function<void(const Result &)>([&result](const Result &done) { result = done; }));
        EXPECT_TRUE(KSTTestSupport::pumpUntil([&result] { return result.has_value(); }, 30'000));
        return result.value_or(Result());
    }

    KSTTreeListing listing() const
    {
        return KSTTestSupport::listTree(QFile::encodeName(machine.root()));
    }

    QStringList changes(const KSTTreeListing &before) const
    {
        return KSTTestSupport::treeDifferences(before, listing(),
                                               [](const QByteArray &) { return false; });
    }

    QString trashed(const QString &name) const
    {
        return machine.homePath(u".local/share/Trash/files/"_s + name);
    }

    KSTFixtureLinux machine;
    const QString flatpak = u"/usr/bin/flatpak"_s;
    KSTSystemInfo info;
    std::shared_ptr<KSTAppInventoryEngine> engine;
};

TEST_F(LinuxAppUninstallTest, WhatNeedsThePackageManagerIsRefusedWithItsCommand)
{
    const struct
    {
        const char *name;
        const char *command;
    } cases[] = {
        {"Firefox (private)", "sudo apt remove firefox-esr"},
        {"Files", "sudo apt remove nautilus"},
        {"Calculator", "flatpak uninstall org.gnome.Calculator"},
        {"Visual Studio Code", "sudo snap remove code"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.name);
        const KSTInstalledAppRecord record = named(QString::fromUtf8(row.name));
        const KSTTreeListing before = listing();
        const Result result = uninstall(record);
        EXPECT_FALSE(result.success);
        ASSERT_TRUE(result.error.has_value());
        EXPECT_EQ(result.error->code, KSTAppUninstaller::SystemApplication);
        EXPECT_EQ(result.error->description,
                  u"Installed by a package manager: run “%1” to uninstall it."_s.arg(
                      QString::fromUtf8(row.command)));
        EXPECT_EQ(result.removedCount, 0u);
        EXPECT_EQ(changes(before), QStringList());
    }
    EXPECT_TRUE(machine.toolCalls(flatpak).isEmpty());
}

TEST_F(LinuxAppUninstallTest, AUsersFlatpakIsFlatpaksToRemoveAndItsSandboxGoesToTheTrash)
{
    const KSTInstalledAppRecord vlc = named(u"VLC media player"_s);
    const QString sandbox = machine.homePath(u".var/app/org.videolan.VLC"_s);
    const auto related = std::find_if(vlc.relatedPaths.cbegin(), vlc.relatedPaths.cend(),
                                      [&](const auto &path) { return path.path == sandbox; });
    ASSERT_NE(related, vlc.relatedPaths.cend());
    EXPECT_TRUE(related->isStrongMatch && related->isRemovable);

    // flatpak finds the user installation through its environment: the analysed user's,
    // never the running user's own.
    const QString seen = machine.path(u"flatpak-environment"_s);
    machine.addToolScript(flatpak, "printf '%s\\n' \"$HOME\" \"$XDG_DATA_HOME\" "
                                   "\"$FLATPAK_USER_DIR\" >'" +
                                       QFile::encodeName(seen) + "'\n");

    const Result result = uninstall(vlc);
    EXPECT_TRUE(result.success) << (result.error ? result.error->description.toStdString() : "");
    EXPECT_EQ(result.removedCount, 2u);
    EXPECT_EQ(machine.toolCalls(flatpak),
              QStringList{u"uninstall --user --noninteractive org.videolan.VLC"_s});
    EXPECT_EQ(QString::fromUtf8(KSTTestSupport::readFile(seen)),
              machine.home() + u"\n"_s + machine.homePath(u".local/share"_s) + u"\n"_s +
                  machine.homePath(u".local/share/flatpak"_s) + u"\n"_s);
    EXPECT_FALSE(QFileInfo::exists(sandbox));
    EXPECT_TRUE(QFileInfo::exists(trashed(u"org.videolan.VLC"_s)));
    // The exported entry is flatpak's to remove, never moved by us.
    EXPECT_TRUE(QFileInfo(vlc.bundlePath).isSymLink());
    EXPECT_FALSE(uninstallPathsContain(result, vlc.bundlePath));
}

// What the user set up to start an application (an autostart entry, a user unit) goes with it
// for sure; what starts another program, or is a link, is never taken for it.
TEST_F(LinuxAppUninstallTest, TheUsersOwnStartersOfAnAppGoWithIt)
{
    const QString units = u"home/"_s + machine.login() + u"/.config/systemd/user"_s;
    const QString atLogin = machine.addAutostartEntry(
        u"firefox-at-login.desktop"_s,
        "[Desktop Entry]\nType=Application\nName=Firefox at login\nExec=firefox-esr --new\n", true);
    machine.addEnabledUnit(units, units, u"default.target"_s, u"firefox-headless.service"_s,
                           u"/usr/bin/firefox-esr --headless"_s);
    machine.addEnabledUnit(units, units, u"default.target"_s, u"notes.service"_s,
                           u"/usr/bin/gnome-text-editor"_s);
    machine.makeSymlink(units + u"/linked.service"_s,
                        machine.path(units + u"/firefox-headless.service"_s));

    QStringList strong;
    QStringList all;
    for (const KSTInstalledAppRelatedPath &related : named(u"Firefox (private)"_s).relatedPaths) {
        all << related.path;
        if (related.isStrongMatch)
            strong << related.path;
    }
    EXPECT_TRUE(strong.contains(atLogin)) << all.join(u", "_s).toStdString();
    EXPECT_TRUE(strong.contains(machine.path(units + u"/firefox-headless.service"_s)))
        << all.join(u", "_s).toStdString();
    EXPECT_FALSE(all.contains(machine.path(units + u"/notes.service"_s)));
    EXPECT_FALSE(all.contains(machine.path(units + u"/linked.service"_s)));
}

TEST_F(LinuxAppUninstallTest, AFailingFlatpakIsReportedAndNothingElseIsClaimed)
{
    machine.addTool(u"/usr/bin/flatpak"_s, "", 1, "error: not installed\n");
    KSTInstalledAppRecord vlc = named(u"VLC media player"_s);
    vlc.relatedPaths.clear(); // nothing ticked: only flatpak's part
    const Result result = uninstall(vlc);
    EXPECT_FALSE(result.success);
    ASSERT_TRUE(result.error.has_value());
    EXPECT_EQ(result.error->code, KSTAppUninstaller::NothingRemoved);
    EXPECT_EQ(result.error->userInfo.value(KSTAppUninstaller::FailedPathsKey).toStringList(),
              QStringList{vlc.bundlePath});
    EXPECT_TRUE(QFileInfo::exists(machine.homePath(u".var/app/org.videolan.VLC"_s)));
}

TEST_F(LinuxAppUninstallTest, AnAppImageAndAnUnownedEntryGoToTheTrash)
{
    KSTFixtureLinux::DesktopEntry local;
    local.fileName = u"my-script.desktop"_s;
    local.name = u"My Script"_s;
    local.exec = u"/home/alice/bin/my-script"_s;
    local.place = KSTFixtureLinux::EntryPlace::User;
    const QString entry = machine.addDesktopEntry(local);

    const KSTInstalledAppRecord obsidian = named(u"Obsidian-1.5.3"_s);
    const QString settings = machine.homePath(u".config/obsidian-1.5.3"_s);
    EXPECT_TRUE(std::any_of(obsidian.relatedPaths.cbegin(), obsidian.relatedPaths.cend(),
                            [&](const auto &path) { return path.path == settings; }));
    const Result image = uninstall(obsidian);
    EXPECT_TRUE(image.success);
    EXPECT_EQ(image.removedCount, 2u);
    EXPECT_TRUE(QFileInfo::exists(trashed(u"Obsidian-1.5.3.AppImage"_s)));
    EXPECT_TRUE(QFileInfo::exists(trashed(u"obsidian-1.5.3"_s)));
    EXPECT_EQ(KSTAppUninstallHistory::lastUninstallItems().size(), 2);

    const KSTInstalledAppRecord script = named(u"My Script"_s);
    EXPECT_EQ(script.source, 1u);
    const Result removed = uninstall(script);
    EXPECT_TRUE(removed.success);
    EXPECT_FALSE(QFileInfo::exists(entry));
    EXPECT_TRUE(QFileInfo::exists(trashed(u"my-script.desktop"_s)));
    EXPECT_TRUE(machine.toolCalls(flatpak).isEmpty());
}

TEST_F(LinuxAppUninstallTest, TheDesktopsOwnFoldersAreNeverRelatedPaths)
{
    const QString home = machine.home();
    const struct
    {
        const char *path;
        bool neverListed;
    } cases[] = {
        {"", true},
        {".config", true},
        {".local", true},
        {".local/share", true},
        {".local/share/applications", true},
        {".local/share/flatpak", true},
        {".var", true},
        {".var/app", true},
        {"snap", true},
        {".ssh", true},
        {"Documents", true},
        {".config/autostart", true},
        {".config/obsidian", false},
        {".var/app/org.videolan.VLC", false},
        {".mozilla", false},
    };
    for (const auto &row : cases)
        EXPECT_EQ(KSTDesktopRelatedPaths::isNeverListed(
                      QDir::cleanPath(home + u'/' + QString::fromUtf8(row.path))),
                  row.neverListed)
            << row.path;

    // An application named like a base dir's folder lists none of them.
    machine.writeSizedHomeFile(u".local/share/kept.txt"_s, 4096);
    KSTInstalledAppRecord local;
    local.name = u"Local"_s;
    local.bundleIdentifier = u"local"_s;
    local.bundlePath = machine.homePath(u".local/share/applications/local.desktop"_s);
    for (const KSTInstalledAppRelatedPath &path :
         KSTDesktopRelatedPaths::relatedPathsForApp(local, {}))
        ADD_FAILURE() << path.path.toStdString();
}

} // namespace
