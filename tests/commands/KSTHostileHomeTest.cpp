// Every command that deletes, moves or renames, run as the real program on a hostile home:
// the whole machine is listed before and after, and nothing may change outside what the
// command was asked to act on; never-touch entries, the Music folder, a Photos library and
// everything outside the home stay byte for byte.
#include "KSTHostileHome.h"
#include "KSTFileName.h"
#include "KSTFixtureLinux.h"
#include "KSTFixtureMac.h"
#include "KSTProgramProcess.h"
#include "KSTTreeListing.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/stat.h>

#include <gtest/gtest.h>

namespace {

KSTTreeListing listingOfRoot(const QString &root)
{
    return KSTTestSupport::listTree(QFile::encodeName(root));
}

QByteArray relativeToRoot(const QString &root, const QString &path)
{
    return KSTFileName::encoded(path.mid(root.size() + 1));
}

bool isAtOrUnder(const QByteArray &path, const QByteArray &folder)
{
    return path == folder || path.startsWith(QByteArray(folder + '/'));
}

// Nothing changed outside @p selection (root-relative folders and files), the fixture's tools
// aside (they log their calls beside themselves), and nothing at all inside @p kept.
void expectChangesOnlyIn(const KSTTreeListing &before, const KSTTreeListing &after,
                         const QList<QByteArray> &selection, const QList<QByteArray> &kept)
{
    const QStringList outside =
        KSTTestSupport::treeDifferences(before, after, [&](const QByteArray &path) {
            return path.startsWith("usr/bin/") || path.endsWith(".calls") ||
                   std::any_of(selection.cbegin(), selection.cend(),
                               [&](const QByteArray &chosen) { return isAtOrUnder(path, chosen); });
        });
    EXPECT_TRUE(outside.isEmpty()) << outside.join('\n').toStdString();
    for (const QByteArray &folder : kept) {
        const QStringList changed = KSTTestSupport::treeDifferences(
            before, after, [&](const QByteArray &path) { return !isAtOrUnder(path, folder); });
        EXPECT_TRUE(changed.isEmpty()) << changed.join('\n').toStdString();
    }
}

using Variant = KSTHostileHome::Variant;

class HostileHomeTest : public ::testing::TestWithParam<Variant>
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        ASSERT_TRUE(settings.isValid());
        hostile = std::make_unique<KSTHostileHome>(mac, GetParam());
        mac.linkHostTool(QStringLiteral("/usr/bin/find"));
        mac.linkHostTool(QStringLiteral("/usr/bin/wc"));
        mac.addTool(QStringLiteral("/usr/bin/tmutil"), "");
        // Every never-touch entry is set the way a user sets it, one call each.
        for (const QString &path : hostile->neverTouchPaths()) {
            const KSTProgramRun added = kestrel({"autoclean", "whitelist", "add", path});
            ASSERT_EQ(added.status, 0) << added.err.toStdString();
        }
    }

    KSTProgramRun kestrel(const QStringList &arguments, KSTProgramOptions options = {}) const
    {
        for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
            options.environment.insert(QString::fromLatin1(name), settings.path());
        return KSTTestSupport::runProgram(QStringLiteral(KESTREL_EXECUTABLE),
                                          QStringList{"--root", mac.root()} + arguments, options);
    }

    KSTTreeListing listing() const { return listingOfRoot(mac.root()); }

    QByteArray rootRelative(const QString &path) const { return relativeToRoot(mac.root(), path); }

    // Nothing changed outside @p selection (root-relative folders and files), and nothing at
    // all inside what must survive.
    void expectOnlySelectionChanged(const KSTTreeListing &before, const KSTTreeListing &after,
                                    const QList<QByteArray> &selection) const
    {
        QList<QByteArray> kept;
        for (const QString &path : hostile->mustSurvive())
            kept << QFile::encodeName(path);
        expectChangesOnlyIn(before, after, selection, kept);
    }

    KSTFixtureMac mac;
    QTemporaryDir settings;
    std::unique_ptr<KSTHostileHome> hostile;
};

INSTANTIATE_TEST_SUITE_P(Homes, HostileHomeTest,
                         ::testing::Values(Variant::Ordinary, Variant::LinkedTrashAndDownloads),
                         [](const auto &info) {
                             return std::string(info.param == Variant::Ordinary ? "Ordinary"
                                                                                : "LinkedTrash");
                         });

TEST_P(HostileHomeTest, CleanUpTouchesNothingButTheSelection)
{
    const KSTTreeListing before = listing();
    const KSTProgramRun scan = kestrel({"--json", "cleanup"});
    ASSERT_EQ(scan.status, 0) << scan.err.toStdString();

    // What the user selects: every item the scan offers (the volume itself never).
    // The file the test itself rewrites is left out of the comparison too.
    QList<QByteArray> selection = {rootRelative(mac.homePath(".Trash")),
                                   rootRelative(hostile->changingFile())};
    QStringList offered;
    for (const QJsonValue &category : scan.json().object().value("categories").toArray()) {
        for (const char *list : {"items", "allItems"}) {
            for (const QJsonValue &item : category.toObject().value(list).toArray()) {
                const QString path = item.toObject().value("filePath").toString();
                if (path.startsWith(mac.root()))
                    selection << rootRelative(path);
                offered << path;
            }
        }
    }
    // Nothing outside the home or in a privacy-protected place is even offered (never-touch
    // entries may be: the removal leaves them).
    for (const char *kept : {"Victim", "Users/alice/Music", "Users/alice/Documents",
                             "Users/alice/Pictures/Photos Library.photoslibrary"}) {
        for (const QString &path : offered)
            EXPECT_FALSE(path.startsWith(mac.path(QString::fromLatin1(kept))))
                << path.toStdString();
    }

    KSTProgramOptions answer;
    answer.prompt = QStringLiteral("Clean? [y/N]");
    answer.input = "y\n";
    // Between the scan and the answer, one large file is rewritten: it must stay.
    answer.beforeAnswer = [this] {
        QFile file(hostile->changingFile());
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write("changed");
    };
    const KSTProgramRun clean =
        kestrel({"--json", "cleanup", "clean", "--category", "systemJunk", "--category", "trashes",
                 "--category", "largeFiles", "--category", "removable"},
                answer);
    ASSERT_NE(clean.status, -1) << clean.err.toStdString();
    const KSTTreeListing after = listing();
    expectOnlySelectionChanged(before, after, selection);

    const QByteArray changing = rootRelative(hostile->changingFile());
    EXPECT_TRUE(after.value(changing).startsWith("file")) << "the changed file was moved";
    if (GetParam() == Variant::Ordinary) {
        EXPECT_EQ(clean.status, 0) << clean.err.toStdString();
        const QJsonArray skipped = clean.json().object().value("skipped").toArray();
        const bool reported =
            std::any_of(skipped.cbegin(), skipped.cend(), [&](const QJsonValue &entry) {
                return entry.toObject().value("path").toString() == hostile->changingFile() &&
                       entry.toObject().value("reason").toString().contains(
                           "changed since the scan");
            });
        EXPECT_TRUE(reported) << clean.out.toStdString();
        // Odd names were found and moved by their own bytes.
        for (const QByteArray &name : KSTHostileHome::oddNames()) {
            EXPECT_FALSE(after.contains(rootRelative(mac.homePath("Movies")) + '/' + name));
            EXPECT_TRUE(after.contains(rootRelative(mac.homePath(".Trash")) + '/' + name) ||
                        after.contains(rootRelative(mac.homePath(".Trash")) + '/' + name + " 2"))
                << name.toStdString();
        }
    } else {
        // A Trash that is a link is neither emptied nor moved into: nothing leaves.
        EXPECT_EQ(clean.status, 1) << clean.out.toStdString();
        const QStringList changed =
            KSTTestSupport::treeDifferences(before, after, [&](const QByteArray &path) {
                return path.startsWith("usr/bin/") || path == changing;
            });
        EXPECT_TRUE(changed.isEmpty()) << changed.join('\n').toStdString();
    }
}

TEST_P(HostileHomeTest, AutoCleanRulesTouchNothingButTheirPlaces)
{
    const KSTTreeListing before = listing();
    ASSERT_EQ(kestrel({"autoclean", "on"}).status, 0);
    for (const char *rule : {"0", "1", "2", "3", "4", "5"}) {
        const KSTProgramRun run = kestrel({"autoclean", "rule", rule, "on"});
        ASSERT_EQ(run.status, 0) << rule << run.err.toStdString();
    }
    const KSTProgramRun state = kestrel({"--json", "autoclean"});
    ASSERT_EQ(state.status, 0);
    // A call is not a launch: the never-touch list made by earlier calls is still there.
    EXPECT_EQ(state.json().object().value("whitelistPaths").toArray().size(),
              hostile->neverTouchPaths().size());

    QList<QByteArray> selection;
    for (const char *place : {"Downloads", ".Trash", "Pictures", "Desktop",
                              "Library/Caches/com.apple.Safari", "Library/Caches/Google/Chrome",
                              "Library/Caches/Firefox", "Library/Caches/org.mozilla.firefox",
                              "Library/Logs", "Library/Application Support/MobileSync/Backup"})
        selection << rootRelative(mac.homePath(QString::fromLatin1(place)));
    const KSTTreeListing after = listing();
    expectOnlySelectionChanged(before, after, selection);
    if (GetParam() == Variant::Ordinary) {
        // The rules did act where they may.
        EXPECT_FALSE(after.contains(rootRelative(mac.homePath("Downloads/Setup.dmg"))));
        EXPECT_FALSE(after.contains(rootRelative(mac.homePath(".Trash/old.txt"))));
        EXPECT_TRUE(after.contains(
            rootRelative(mac.homePath("Pictures/Screenshots Archive/Screenshot 2024.png"))));
    }
}

// Every group of a duplicates scan of the whole home: its copies, and which a removal takes.
struct ScannedGroups
{
    QList<QStringList> groups; // every group's paths
    QStringList removable;     // the copies not kept
};

ScannedGroups scannedGroups(const QJsonDocument &snapshot)
{
    ScannedGroups scanned;
    for (const QJsonValue &category : snapshot.object().value("categories").toArray()) {
        for (const QJsonValue &group : category.toObject().value("groups").toArray()) {
            QStringList paths;
            for (const QJsonValue &file : group.toObject().value("files").toArray()) {
                const QJsonObject record = file.toObject();
                paths << record.value("path").toString();
                const QString reason = record.value("selectionReason").toString();
                if (reason != "newest" && reason != "sameDateFirstByPath" && reason != "keptByYou")
                    scanned.removable << record.value("path").toString();
            }
            scanned.groups << paths;
        }
    }
    return scanned;
}

TEST_P(HostileHomeTest, DuplicatesRemoveTakesOnlyCopiesAndNeverTheLastOne)
{
    const KSTTreeListing before = listing();
    const KSTProgramRun scan = kestrel({"--json", "duplicates", "--quiet", "--path", "~"});
    ASSERT_EQ(scan.status, 0) << scan.err.toStdString();
    const ScannedGroups scanned = scannedGroups(scan.json());
    ASSERT_FALSE(scanned.groups.isEmpty());
    // Nothing outside the home, behind a link or in a privacy-protected place is offered.
    for (const QStringList &group : scanned.groups) {
        for (const QString &path : group) {
            EXPECT_TRUE(path.startsWith(mac.home() + '/')) << path.toStdString();
            for (const char *never : {"Music", "Pictures/Photos Library.photoslibrary",
                                      "Desktop/precious link.txt", "escape", "Library"})
                EXPECT_FALSE(path.startsWith(mac.homePath(QString::fromLatin1(never))))
                    << path.toStdString();
        }
    }
    ASSERT_TRUE(scanned.removable.contains(hostile->changingFile()));

    QList<QByteArray> selection = {rootRelative(mac.homePath(".Trash"))};
    for (const QString &path : scanned.removable)
        selection << rootRelative(path);
    KSTProgramOptions answer;
    answer.prompt = QStringLiteral("Remove? [y/N]");
    answer.input = "y\n";
    // Between the scan and the answer, one copy is rewritten: it must stay.
    answer.beforeAnswer = [this] {
        QFile file(hostile->changingFile());
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write("changed");
    };
    const KSTProgramRun removal =
        kestrel({"--json", "duplicates", "remove", "--quiet", "--path", "~", "--all"}, answer);
    ASSERT_NE(removal.status, -1) << removal.err.toStdString();
    const KSTTreeListing after = listing();
    expectOnlySelectionChanged(before, after, selection);

    // Never the last copy: every group keeps a copy exactly as it was.
    for (const QStringList &group : scanned.groups) {
        const bool oneLeft = std::any_of(group.cbegin(), group.cend(), [&](const QString &path) {
            const QByteArray key = rootRelative(path);
            return after.contains(key) && after.value(key) == before.value(key);
        });
        EXPECT_TRUE(oneLeft) << group.join(", ").toStdString();
    }
    const QJsonObject outcome = removal.json().object();
    QMap<QString, QString> skipped;
    for (const QJsonValue &entry : outcome.value("skipped").toArray())
        skipped.insert(entry.toObject().value("path").toString(),
                       entry.toObject().value("reason").toString());
    EXPECT_TRUE(after.value(rootRelative(hostile->changingFile())).startsWith("file"));
    EXPECT_TRUE(skipped.value(hostile->changingFile()).contains("changed or moved since the scan"))
        << removal.out.toStdString();
    if (GetParam() == Variant::Ordinary) {
        EXPECT_EQ(removal.status, 0) << removal.err.toStdString();
        // The never-touch copies were offered and refused.
        for (const char *never : {"Pictures/Screen Shot keep.png", "Downloads/Keep/plan.txt"}) {
            EXPECT_TRUE(
                skipped.value(mac.homePath(QString::fromLatin1(never))).contains("never-touch"))
                << never;
        }
        // Odd names were moved by their own bytes, all but the one copy kept.
        int oddLeft = 0;
        for (const QByteArray &name : KSTHostileHome::oddNames())
            oddLeft += after.contains(rootRelative(mac.homePath("Movies")) + '/' + name);
        EXPECT_EQ(oddLeft, 1);
    } else {
        // A Trash that is a link is never filled: nothing moved at all.
        EXPECT_EQ(removal.status, 1) << removal.out.toStdString();
        EXPECT_EQ(outcome.value("itemsRemoved").toInteger(), 0);
        const QStringList changed =
            KSTTestSupport::treeDifferences(before, after, [&](const QByteArray &path) {
                return path.startsWith("usr/bin/") || path == rootRelative(hostile->changingFile());
            });
        EXPECT_TRUE(changed.isEmpty()) << changed.join('\n').toStdString();
    }
}

TEST_P(HostileHomeTest, DuplicatesHardLinkingChangesNoContentAndSparesWhatItMust)
{
    const KSTTreeListing before = listing();
    const KSTProgramRun scan = kestrel({"--json", "duplicates", "--quiet", "--path", "~"});
    ASSERT_EQ(scan.status, 0) << scan.err.toStdString();
    const ScannedGroups scanned = scannedGroups(scan.json());
    const auto inodeOf = [](const QString &path) {
        struct stat status = {};
        return ::lstat(KSTFileName::encoded(path).constData(), &status) == 0 ? status.st_ino
                                                                             : ino_t(0);
    };
    QMap<QString, ino_t> neverTouchInodes;
    for (const QString &path : hostile->neverTouchPaths())
        neverTouchInodes.insert(path, inodeOf(mac.homePath(path.mid(2))));

    KSTProgramOptions answer;
    answer.prompt = QStringLiteral("Replace? [y/N]");
    answer.input = "y\n";
    answer.beforeAnswer = [this] {
        QFile file(hostile->changingFile());
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write("changed");
    };
    const ino_t changingInode = inodeOf(hostile->changingFile());
    const KSTProgramRun linking = kestrel(
        {"--json", "duplicates", "link", "--hardlink", "--quiet", "--path", "~", "--all"}, answer);
    ASSERT_EQ(linking.status, 0) << linking.err.toStdString();
    const KSTTreeListing after = listing();

    // No content changed anywhere (a hard link holds the same bytes), nothing was added (no
    // temporary name stays) and nothing was removed, outside the file the test rewrote.
    const QStringList changed =
        KSTTestSupport::treeDifferences(before, after, [&](const QByteArray &path) {
            return path.startsWith("usr/bin/") || path == rootRelative(hostile->changingFile());
        });
    EXPECT_TRUE(changed.isEmpty()) << changed.join('\n').toStdString();
    for (auto it = neverTouchInodes.cbegin(); it != neverTouchInodes.cend(); ++it)
        EXPECT_EQ(inodeOf(mac.homePath(it.key().mid(2))), it.value()) << it.key().toStdString();
    EXPECT_EQ(inodeOf(hostile->changingFile()), changingInode);

    const QJsonObject outcome = linking.json().object();
    QStringList linked;
    for (const QJsonValue &path : outcome.value("linkedPaths").toArray())
        linked << path.toString();
    ASSERT_FALSE(linked.isEmpty());
    // Each copy linked is now the same file as another copy of its group, and nothing
    // linked lies outside the copies offered.
    for (const QString &path : std::as_const(linked)) {
        EXPECT_TRUE(scanned.removable.contains(path)) << path.toStdString();
        const auto group =
            std::find_if(scanned.groups.cbegin(), scanned.groups.cend(),
                         [&](const QStringList &paths) { return paths.contains(path); });
        ASSERT_NE(group, scanned.groups.cend());
        EXPECT_TRUE(std::any_of(group->cbegin(), group->cend(), [&](const QString &other) {
            return other != path && !linked.contains(other) && inodeOf(other) == inodeOf(path);
        })) << path.toStdString();
    }
    EXPECT_FALSE(linked.contains(hostile->changingFile()));
}

TEST_P(HostileHomeTest, EraseTouchesOnlyWhatWasChosen)
{
    const bool ordinary = GetParam() == Variant::Ordinary;
    QStringList chosen;
    if (ordinary) {
        // A folder holding links out, a second name of a document, a FIFO, every odd name,
        // a second name of a large file, and last a never-touch folder, which stops the job.
        for (const char *entry :
             {"Downloads/dir", "Downloads/tax-copy.pdf", "Downloads/pipe", "Movies/big-twin.iso"})
            chosen << mac.homePath(QString::fromLatin1(entry));
        // (A name that is not UTF-8 cannot travel through QProcess's arguments.)
        for (const QByteArray &name : KSTHostileHome::oddNames()) {
            if (!KSTFileName::hasEscapedBytes(KSTFileName::decoded(name)))
                chosen << mac.homePath("Downloads/") + KSTFileName::decoded(name);
        }
        chosen << mac.homePath("Downloads/Keep");
    } else {
        // Through the linked Downloads into the Music folder.
        chosen << mac.homePath("Downloads/setup.dmg");
    }
    QList<QByteArray> selection;
    for (const QString &path : std::as_const(chosen))
        selection << rootRelative(path);

    const KSTTreeListing before = listing();
    const KSTProgramRun erased = kestrel(QStringList{"--json", "erase", "--yes"} + chosen);
    EXPECT_EQ(erased.status, 1) << erased.err.toStdString();
    const KSTTreeListing after = listing();
    expectOnlySelectionChanged(before, after, selection);
    if (ordinary) {
        EXPECT_EQ(erased.json().object().value("error").toObject().value("domain"),
                  "KSTRemovalGuard");
        for (const QByteArray &path : std::as_const(selection).mid(0, selection.size() - 1))
            EXPECT_FALSE(after.contains(path)) << path.toStdString();
        EXPECT_EQ(after.value(rootRelative(mac.homePath("Downloads/Keep/plan.txt"))),
                  before.value(rootRelative(mac.homePath("Downloads/Keep/plan.txt"))));
        // The other names of the files only unlinked kept their bytes.
        EXPECT_EQ(after.value(rootRelative(mac.homePath("Movies/big.iso"))),
                  before.value(rootRelative(mac.homePath("Movies/big.iso"))));
    } else {
        const QStringList changed = KSTTestSupport::treeDifferences(
            before, after, [](const QByteArray &path) { return path.startsWith("usr/bin/"); });
        EXPECT_TRUE(changed.isEmpty()) << changed.join('\n').toStdString();
    }
}

TEST_P(HostileHomeTest, EncryptOnlyAddsArchivesNextToWhatWasChosen)
{
    const bool ordinary = GetParam() == Variant::Ordinary;
    // Pictures holds a Photos library, a never-touch file and a link to Documents; Downloads
    // is a link to Music in the other home.
    const QStringList chosen = {mac.homePath("Pictures"),
                                mac.homePath(ordinary ? "Downloads/dir" : "Downloads/setup.dmg")};
    const KSTTreeListing before = listing();
    KSTProgramOptions options;
    options.input = "hostile-pw\n";
    const KSTProgramRun encrypted =
        kestrel(QStringList{"--json", "encrypt", "--password-stdin", "--yes"} + chosen, options);
    EXPECT_EQ(encrypted.status, ordinary ? 0 : 1) << encrypted.err.toStdString();
    const QByteArray pictures = rootRelative(mac.homePath("Pictures.zip"));
    const QByteArray dir = rootRelative(mac.homePath("Downloads/dir.zip"));
    const KSTTreeListing after = listing();
    expectOnlySelectionChanged(before, after, {pictures, dir});
    EXPECT_TRUE(after.contains(pictures));
    EXPECT_EQ(after.contains(dir), ordinary);
    EXPECT_EQ(encrypted.json().object().value("archivesCreated"), ordinary ? 2 : 1);

    QProcess list;
    list.start("unzip", {"-Z1", mac.homePath("Pictures.zip")});
    ASSERT_TRUE(list.waitForFinished(30'000));
    const QString names = QString::fromUtf8(list.readAllStandardOutput());
    EXPECT_FALSE(names.contains("photoslibrary")) << names.toStdString();
    EXPECT_TRUE(names.contains("Pictures/Screenshots\n")) << "the link is stored as itself";
    EXPECT_FALSE(names.contains("Pictures/Screenshots/")) << names.toStdString();
}

TEST_P(HostileHomeTest, DisablingAStartupItemRenamesOnlyItsPlist)
{
    mac.addTool("/bin/launchctl", "");
    mac.writeFile("Victim/agent.plist",
                  "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Label</key>"
                  "<string>com.victim.agent</string></dict></plist>");
    mac.makeSymlink("Users/alice/Library/LaunchAgents/com.victim.agent.plist",
                    mac.path("Victim/agent.plist"));
    mac.addLaunchdPlist(KSTFixtureMac::LaunchdDomain::UserAgent, "com.hostile.agent",
                        {{"Program", "/usr/local/bin/hostile"}});
    const KSTTreeListing before = listing();
    for (const char *label : {"com.hostile.agent", "com.victim.agent"}) {
        const KSTProgramRun disabled =
            kestrel({"--json", "startup", "disable", QString::fromLatin1(label), "--yes"});
        EXPECT_EQ(disabled.status, 0) << label << disabled.err.toStdString();
    }
    const KSTTreeListing after = listing();
    expectOnlySelectionChanged(before, after, {rootRelative(mac.homePath("Library/LaunchAgents"))});
    EXPECT_TRUE(after
                    .value(rootRelative(
                        mac.homePath("Library/LaunchAgents/com.victim.agent.plist.disabled")))
                    .startsWith("link"));
    EXPECT_EQ(after.value("Victim/agent.plist"), before.value("Victim/agent.plist"));
}

TEST_P(HostileHomeTest, ChangingADefaultAppRewritesOnlyItsPreferences)
{
    const bool ordinary = GetParam() == Variant::Ordinary;
    KSTFixtureMac::App preview;
    preview.name = "Preview";
    preview.bundleIdentifier = "com.apple.Preview";
    mac.addApp(preview);
    const QString file = "Library/Preferences/com.apple.LaunchServices/"
                         "com.apple.launchservices.secure.plist";
    if (ordinary) {
        mac.writeHomePlist(file, QVariantMap{{"LSHandlers", QVariantList{}}});
    } else {
        // The preferences are a link out of the home: never written through.
        mac.writeFile("Victim/secure.plist", "<plist/>");
        mac.makeHomeDirectory("Library/Preferences/com.apple.LaunchServices");
        mac.makeSymlink("Users/alice/" + file, mac.path("Victim/secure.plist"));
    }
    const KSTTreeListing before = listing();
    const KSTProgramRun set =
        kestrel({"--json", "default-apps", "set", "com.adobe.pdf", "com.apple.Preview", "--yes"});
    EXPECT_EQ(set.status, ordinary ? 0 : 1) << set.err.toStdString();
    const KSTTreeListing after = listing();
    expectOnlySelectionChanged(before, after, {rootRelative(mac.homePath(file))});
    EXPECT_EQ(after.value("Victim/secure.plist"), before.value("Victim/secure.plist"));
    EXPECT_EQ(after.value(rootRelative(mac.homePath(file))) !=
                  before.value(rootRelative(mac.homePath(file))),
              ordinary);
}

TEST_P(HostileHomeTest, AppsUninstallAndPutBackTouchNothingButTheChosenApp)
{
    const KSTTreeListing before = listing();
    const KSTProgramRun show = kestrel({"--json", "apps", "show", "com.example.go"});
    ASSERT_EQ(show.status, 0) << show.err.toStdString();
    QStringList weak;
    for (const QJsonValue &related : show.json().object().value("relatedPaths").toArray()) {
        if (!related.toObject().value("isStrongMatch").toBool())
            weak << related.toObject().value("path").toString();
    }
    std::sort(weak.begin(), weak.end());
    EXPECT_EQ(weak,
              (QStringList{mac.homePath("Library/Containers/com.google.Chrome"),
                           mac.homePath("Library/Group Containers/EQHXZ8M8AV.group.com.google")}));

    // What the user selects: the default, which leaves every weak match.
    QList<QByteArray> selection = {rootRelative(mac.homePath(".Trash"))};
    for (const QJsonValue &path : show.json().object().value("uninstallPaths").toArray())
        selection << rootRelative(path.toString());
    const KSTProgramRun uninstall =
        kestrel({"--json", "apps", "uninstall", "com.example.go", "--yes"});
    const KSTTreeListing afterUninstall = listing();
    expectOnlySelectionChanged(before, afterUninstall, selection);
    const QJsonObject result = uninstall.json().object();
    if (GetParam() == Variant::Ordinary) {
        EXPECT_EQ(uninstall.status, 0) << uninstall.err.toStdString();
        // The never-touch preferences stay and are named; the link out moved as a link.
        EXPECT_EQ(result.value("error").toObject().value("code").toInt(), 104);
        EXPECT_EQ(result.value("error").toObject().value("failedPaths").toArray(),
                  QJsonArray{mac.homePath("Library/Preferences/com.example.go.plist")});
        EXPECT_TRUE(
            afterUninstall.value(rootRelative(mac.homePath(".Trash/Go"))).startsWith("link"));
        EXPECT_FALSE(afterUninstall.contains(rootRelative(mac.path("Applications/Go.app"))));

        const KSTProgramRun undo = kestrel({"--json", "apps", "undo", "--yes"});
        EXPECT_EQ(undo.status, 0) << undo.err.toStdString();
        const QStringList changed = KSTTestSupport::treeDifferences(
            before, listing(), [](const QByteArray &path) { return path.startsWith("usr/bin/"); });
        EXPECT_TRUE(changed.isEmpty()) << changed.join('\n').toStdString();
    } else {
        // A Trash that is a link is never filled: nothing moved, nothing to put back.
        EXPECT_EQ(uninstall.status, 1) << uninstall.out.toStdString();
        EXPECT_EQ(result.value("error").toObject().value("code").toInt(), 103);
        EXPECT_EQ(kestrel({"apps", "undo", "--yes"}).status, 1);
        const QStringList changed = KSTTestSupport::treeDifferences(
            before, listing(), [](const QByteArray &path) { return path.startsWith("usr/bin/"); });
        EXPECT_TRUE(changed.isEmpty()) << changed.join('\n').toStdString();
    }

    // "../../Documents" names nothing of the Documents folder; a bundle reached through a link
    // is no application here; a FIFO executable is read as nothing, without a hang.
    const KSTProgramRun docs = kestrel({"--json", "apps", "show", "com.example.docs"});
    ASSERT_EQ(docs.status, 0) << docs.err.toStdString();
    EXPECT_EQ(docs.json().object().value("uninstallPaths").toArray(),
              (QJsonArray{mac.homePath("Library/Caches/com.example.docs"),
                          mac.path("Applications/Docs.app")}));
    EXPECT_EQ(kestrel({"apps", "show", "com.example.outside"}).status, 2);
    const KSTProgramRun piped = kestrel({"--json", "apps", "show", "com.example.piped"});
    ASSERT_EQ(piped.status, 0) << piped.err.toStdString();
    EXPECT_EQ(piped.json().object().value("architectureLabel").toString(), QStringLiteral("—"));
}

} // namespace

namespace {

// A Linux desktop whose new places are traps: links out of the home at the XDG caches, in a
// Flatpak's and a snap's folders, at a browser cache and, in the linked variant, at the Trash's
// files/, the X logs and the Downloads user folder; never-touch entries inside the caches and
// the Trash. Clean Up and every Auto Clean rule may change only their own places, and never
// what lies behind a link.
enum class LinuxVariant { Ordinary, LinkedPlaces };

class HostileLinuxHomeTest : public ::testing::TestWithParam<LinuxVariant>
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid());
        ASSERT_TRUE(settings.isValid());
        const QDateTime old = QDateTime::currentDateTime().addDays(-400);
        const bool linked = GetParam() == LinuxVariant::LinkedPlaces;
        // What lies outside the home, behind every link.
        victim = machine.makeDirectory("srv/victim");
        for (const char *file :
             {"srv/victim/precious.txt", "srv/victim/firefox/cache2/blob", "srv/victim/Xorg.0.log",
              "srv/victim/film.part", "srv/victim/cache/blob"})
            machine.writeFile(QString::fromLatin1(file), QByteArray(4096, 'v'), old);
        const auto link = [&](const char *homeRelative, const QString &target) {
            const QString path = machine.homePath(QString::fromLatin1(homeRelative));
            QDir().mkpath(QFileInfo(path).path());
            machine.makeSymlink(machine.environment().pathRelativeToRoot(path).mid(1), target);
        };
        for (const char *file : {".cache/spotify/blob", ".var/app/org.gimp.GIMP/cache/tile",
                                 ".cache/keepme/blob", ".cache/google-chrome/Default/blob",
                                 "Documents/report.odt", "Pictures/Screenshot 2024.png"})
            machine.writeSizedHomeFile(QString::fromLatin1(file), 4096, old);
        link(".cache/escape", victim);
        link(".var/app/org.linked.App", victim);
        link(".var/app/org.inner.App/cache", victim);
        link("snap/chromium/common/.cache", victim);
        link(".cache/mozilla/firefox", victim + "/firefox");
        link(".var/app/org.chromium.Chromium", victim);
        if (linked) {
            link(".local/share/xorg", victim);
            machine.makeHomeDirectory(".local/share/Trash/info");
            link(".local/share/Trash/files", victim);
            machine.writeHomeFile(".local/share/Trash/info/precious.txt.trashinfo",
                                  "[Trash Info]\nPath=/srv/victim/precious.txt\n", old);
            link("dl", victim);
            machine.writeUserDirs({{"DOWNLOAD", "$HOME/dl"}});
        } else {
            machine.writeSizedHomeFile(".local/share/xorg/Xorg.0.log.old", 4096, old);
            for (const char *name : {"old.txt", "kept.txt"})
                machine.addTrashItem(QString::fromLatin1(name), QByteArray(4096, 't'),
                                     "/home/alice/" + QString::fromLatin1(name), old);
            for (const char *file : {"Downloads/film.mkv.part", "Downloads/tool.deb",
                                     "Downloads/old.iso", "Downloads/Screenshot 1.png"})
                machine.writeSizedHomeFile(QString::fromLatin1(file), 4096, old);
        }
        neverTouch = {"~/.cache/keepme", "~/.local/share/Trash/files/kept.txt", "~/Documents"};
        machine.linkHostTool(QStringLiteral("/usr/bin/find"));
        for (const QString &path : neverTouch) {
            const KSTProgramRun added = kestrel({"autoclean", "whitelist", "add", path});
            if (QFileInfo::exists(QString(path).replace("~", machine.home()))) {
                ASSERT_EQ(added.status, 0) << added.err.toStdString();
            }
        }
    }

    KSTProgramRun kestrel(const QStringList &arguments, KSTProgramOptions options = {}) const
    {
        for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
            options.environment.insert(QString::fromLatin1(name), settings.path());
        return KSTTestSupport::runProgram(
            QStringLiteral(KESTREL_EXECUTABLE),
            QStringList{"--root", machine.root(), "--layout", "linux"} + arguments, options);
    }

    KSTTreeListing listing() const { return listingOfRoot(machine.root()); }
    QByteArray rootRelative(const QString &path) const
    {
        return relativeToRoot(machine.root(), path);
    }

    // Nothing changed outside @p selection, and nothing behind a link or never to be touched.
    void expectOnlySelectionChanged(const KSTTreeListing &before, const KSTTreeListing &after,
                                    const QList<QByteArray> &selection) const
    {
        QList<QByteArray> kept = {"srv"};
        for (const QString &path : neverTouch)
            kept << rootRelative(QString(path).replace("~", machine.home()));
        expectChangesOnlyIn(before, after, selection, kept);
    }

    KSTFixtureLinux machine;
    QTemporaryDir settings;
    QString victim;
    QStringList neverTouch;
};

INSTANTIATE_TEST_SUITE_P(Homes, HostileLinuxHomeTest,
                         ::testing::Values(LinuxVariant::Ordinary, LinuxVariant::LinkedPlaces),
                         [](const auto &info) {
                             return std::string(info.param == LinuxVariant::Ordinary
                                                    ? "Ordinary"
                                                    : "LinkedPlaces");
                         });

TEST_P(HostileLinuxHomeTest, CleanUpTouchesNothingButTheSelection)
{
    const KSTTreeListing before = listing();
    const KSTProgramRun scan = kestrel({"--json", "cleanup"});
    ASSERT_EQ(scan.status, 0) << scan.err.toStdString();
    // Every item offered lies in the home, and removal moves into its Trash.
    QList<QByteArray> selection = {rootRelative(machine.homePath(".local/share/Trash"))};
    for (const QJsonValue &category : scan.json().object().value("categories").toArray()) {
        for (const char *list : {"items", "allItems"}) {
            for (const QJsonValue &item : category.toObject().value(list).toArray()) {
                const QString path = item.toObject().value("filePath").toString();
                EXPECT_TRUE(path.startsWith(machine.home() + '/')) << path.toStdString();
                EXPECT_FALSE(path.contains("org.linked.App") || path.contains("org.inner.App") ||
                             path.contains("snap/chromium"))
                    << path.toStdString();
                if (path.startsWith(machine.root()))
                    selection << rootRelative(path);
            }
        }
    }
    const KSTProgramRun clean =
        kestrel({"--json", "cleanup", "clean", "--yes", "--category", "systemJunk", "--category",
                 "trashes", "--category", "largeFiles", "--category", "removable"});
    ASSERT_NE(clean.status, -1) << clean.err.toStdString();
    const KSTTreeListing after = listing();
    expectOnlySelectionChanged(before, after, selection);
    if (GetParam() == LinuxVariant::Ordinary) {
        // The removal did act: the Trash was emptied but for the never-touch item and its
        // record, and the caches moved into it.
        const QByteArray trash = rootRelative(machine.homePath(".local/share/Trash"));
        EXPECT_FALSE(after.contains(trash + "/info/old.txt.trashinfo"));
        EXPECT_TRUE(after.contains(trash + "/files/kept.txt"));
        EXPECT_TRUE(after.contains(trash + "/info/kept.txt.trashinfo"));
        EXPECT_TRUE(after.contains(trash + "/files/spotify"));
        EXPECT_FALSE(after.contains(rootRelative(machine.homePath(".cache/spotify"))));
    }
}

TEST_P(HostileLinuxHomeTest, AutoCleanRulesTouchNothingButTheirPlaces)
{
    const KSTTreeListing before = listing();
    ASSERT_EQ(kestrel({"autoclean", "on"}).status, 0);
    for (const char *rule : {"0", "1", "2", "3", "4", "5"}) {
        const KSTProgramRun run = kestrel({"autoclean", "rule", rule, "on"});
        ASSERT_EQ(run.status, 0) << rule << run.err.toStdString();
    }
    QList<QByteArray> selection;
    for (const char *place :
         {"Downloads", "dl", ".local/share/Trash", "Pictures", "Desktop", ".cache/mozilla/firefox",
          ".cache/google-chrome", ".cache/chromium", ".local/share/xorg",
          ".var/app/org.chromium.Chromium", "snap/chromium/common/.cache"})
        selection << rootRelative(machine.homePath(QString::fromLatin1(place)));
    const KSTTreeListing after = listing();
    expectOnlySelectionChanged(before, after, selection);
    // Links are acted on as links at most: the victim is whole (checked above) and the links
    // at places no rule owns are still there.
    for (const char *link :
         {".cache/escape", ".var/app/org.linked.App", ".var/app/org.inner.App/cache"})
        EXPECT_TRUE(after.value(rootRelative(machine.homePath(link))).startsWith("link")) << link;
    if (GetParam() == LinuxVariant::Ordinary) {
        EXPECT_FALSE(after.contains(rootRelative(machine.homePath("Downloads/old.iso"))));
        EXPECT_FALSE(after.contains(rootRelative(machine.homePath(".cache/google-chrome"))));
        EXPECT_FALSE(
            after.contains(rootRelative(machine.homePath(".local/share/Trash/files/old.txt"))));
        EXPECT_TRUE(
            after.contains(rootRelative(machine.homePath(".local/share/Trash/files/kept.txt"))));
        EXPECT_TRUE(after.contains(
            rootRelative(machine.homePath("Pictures/Screenshots Archive/Screenshot 2024.png"))));
    }
}

// App Manage on the trapped desktop: a package is refused with nothing touched; an AppImage
// whose strong settings folder is a link out of the home, and a user's Flatpak whose sandbox
// is one, move only what was chosen, each link as a link.
TEST_P(HostileLinuxHomeTest, AppsUninstallTouchesNothingButTheChosenApp)
{
    KSTFixtureLinux::DesktopEntry base;
    base.fileName = "base.desktop";
    base.name = "Base";
    base.exec = "base";
    machine.addDesktopEntry(base);
    machine.addDebPackage(
        {"base", "1.0-1", 100, "amd64", {"/usr/share/applications/base.desktop"}});
    machine.addAppImage("Applications/Tool.AppImage", 8192);
    const QString settingsLink = machine.homePath(".config/Tool");
    machine.makeSymlink(machine.environment().pathRelativeToRoot(settingsLink).mid(1), victim);
    machine.writeSizedHomeFile(".local/share/Tool/state", 4096);
    machine.addFlatpak({"org.linked.App", "Linked", true, 4096});
    machine.addTool("/usr/bin/flatpak", "");

    const KSTTreeListing before = listing();
    const KSTProgramRun refused = kestrel({"--json", "apps", "uninstall", "base", "--yes"});
    EXPECT_EQ(refused.status, 1) << refused.err.toStdString();
    EXPECT_EQ(refused.json().object().value("error").toObject().value("code").toInt(), 100);
    expectOnlySelectionChanged(before, listing(), {});

    QList<QByteArray> selection = {rootRelative(machine.homePath(".local/share/Trash"))};
    for (const char *app : {"Tool.AppImage", "org.linked.App"}) {
        const KSTProgramRun show = kestrel({"--json", "apps", "show", app});
        ASSERT_EQ(show.status, 0) << app << show.err.toStdString();
        for (const QJsonValue &path : show.json().object().value("uninstallPaths").toArray()) {
            EXPECT_TRUE(path.toString().startsWith(machine.home() + '/')) << app;
            selection << rootRelative(path.toString());
        }
    }
    EXPECT_TRUE(selection.contains(rootRelative(settingsLink)));
    EXPECT_TRUE(selection.contains(rootRelative(machine.homePath(".var/app/org.linked.App"))));
    for (const char *app : {"Tool.AppImage", "org.linked.App"})
        kestrel({"--json", "apps", "uninstall", app, "--yes"});
    const KSTTreeListing after = listing();
    expectOnlySelectionChanged(before, after, selection);
    EXPECT_EQ(machine.toolCalls("/usr/bin/flatpak"),
              QStringList{"uninstall --user --noninteractive org.linked.App"});
    if (GetParam() == LinuxVariant::Ordinary) {
        const QByteArray trash = rootRelative(machine.homePath(".local/share/Trash/files"));
        EXPECT_TRUE(after.contains(trash + "/Tool.AppImage"));
        // Both of Tool's folders are named "Tool": the second moved in under a name of its own.
        QStringList links;
        for (auto it = after.cbegin(); it != after.cend(); ++it) {
            if (it.key().startsWith(QByteArray(trash + "/Tool")) && it.value().startsWith("link"))
                links << QString::fromUtf8(it.key());
        }
        EXPECT_EQ(links.size(), 1) << links.join(' ').toStdString();
        EXPECT_TRUE(after.value(trash + "/org.linked.App").startsWith("link"));
    }
}

} // namespace

namespace {

// Disabling start-up items and setting a default app write only the user's own autostart
// entry and mimeapps.list, and move only the unit's .wants link to the Trash; in the linked
// variant both files are links to the victim, which are refused and never written through,
// and the Trash's files/ is a link, so the unit's link stays.
TEST_P(HostileLinuxHomeTest, StartupAndDefaultAppsWriteOnlyTheUsersOwnFiles)
{
    const bool linked = GetParam() == LinuxVariant::LinkedPlaces;
    const QByteArray entry = "[Desktop Entry]\nType=Application\nName=Sys\nExec=sys\n";
    machine.writeFile("srv/victim/sys.desktop", entry);
    machine.writeFile("srv/victim/mimeapps.list", "[Default Applications]\n");
    machine.addAutostartEntry("sys.desktop", entry, false);
    machine.addEnabledUnit("usr/lib/systemd/user", "home/alice/.config/systemd/user",
                           "default.target", "sync.service", "/usr/bin/sync");
    machine.addDesktopEntry({"a.desktop",
                             "A",
                             "a",
                             {},
                             "Application",
                             false,
                             false,
                             "MimeType=text/plain;\n",
                             KSTFixtureLinux::EntryPlace::System});
    if (linked) {
        // Links by the machine's own paths, so that reading them stays inside the root.
        machine.makeSymlink("home/alice/.config/autostart/sys.desktop", "/srv/victim/sys.desktop");
        machine.makeSymlink("home/alice/.config/mimeapps.list", "/srv/victim/mimeapps.list");
    }
    const KSTTreeListing before = listing();
    const KSTProgramRun entryRun = kestrel({"--json", "startup", "disable", "sys", "--yes"});
    const KSTProgramRun unitRun =
        kestrel({"--json", "startup", "disable", "sync.service", "--yes"});
    const KSTProgramRun defaultRun =
        kestrel({"--json", "default-apps", "set", "text/plain", "a", "--yes"});
    const KSTTreeListing after = listing();

    const QList<QByteArray> selection = {
        rootRelative(machine.homePath(".config/autostart")),
        rootRelative(machine.homePath(".config/mimeapps.list")),
        rootRelative(machine.homePath(".config/systemd/user/default.target.wants")),
        rootRelative(machine.homePath(".local/share/Trash"))};
    expectOnlySelectionChanged(before, after, selection);
    EXPECT_EQ(after.value(rootRelative(machine.path("etc/xdg/autostart/sys.desktop"))),
              before.value(rootRelative(machine.path("etc/xdg/autostart/sys.desktop"))));
    const QByteArray wants =
        rootRelative(machine.homePath(".config/systemd/user/default.target.wants/sync.service"));
    if (linked) {
        // The Trash's files/ is a link: the unit's link has nowhere safe to go and stays.
        EXPECT_EQ(unitRun.status, 1) << unitRun.err.toStdString();
        EXPECT_TRUE(after.contains(wants));
        EXPECT_EQ(entryRun.status, 1) << entryRun.err.toStdString();
        EXPECT_EQ(defaultRun.status, 1) << defaultRun.err.toStdString();
        for (const char *file : {".config/autostart/sys.desktop", ".config/mimeapps.list"})
            EXPECT_TRUE(after.value(rootRelative(machine.homePath(file))).startsWith("link"))
                << file;
    } else {
        EXPECT_EQ(unitRun.status, 0) << unitRun.err.toStdString();
        EXPECT_FALSE(after.contains(wants));
        EXPECT_EQ(entryRun.status, 0) << entryRun.err.toStdString();
        EXPECT_EQ(defaultRun.status, 0) << defaultRun.err.toStdString();
        EXPECT_TRUE(KSTTestSupport::readFile(machine.homePath(".config/autostart/sys.desktop"))
                        .contains("Hidden=true"));
        EXPECT_TRUE(KSTTestSupport::readFile(machine.homePath(".config/mimeapps.list"))
                        .contains("text/plain=a.desktop"));
    }
}

} // namespace
