// Every command that deletes, moves or renames, run as the real program on a hostile home:
// the whole machine is listed before and after, and nothing may change outside what the
// command was asked to act on; never-touch entries, the Music folder, a Photos library and
// everything outside the home stay byte for byte.
#include "KSTHostileHome.h"
#include "KSTFileName.h"
#include "KSTFixtureMac.h"
#include "KSTProgramProcess.h"
#include "KSTTreeListing.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

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

    KSTTreeListing listing() const
    {
        return KSTTestSupport::listTree(QFile::encodeName(mac.root()));
    }

    QByteArray rootRelative(const QString &path) const
    {
        return KSTFileName::encoded(path.mid(mac.root().size() + 1));
    }

    // Nothing changed outside @p selection (root-relative folders and files), and nothing at
    // all inside what must survive.
    void expectOnlySelectionChanged(const KSTTreeListing &before, const KSTTreeListing &after,
                                    const QList<QByteArray> &selection) const
    {
        const auto isUnder = [](const QByteArray &path, const QByteArray &folder) {
            return path == folder || path.startsWith(QByteArray(folder + '/'));
        };
        // The fixture's tools log their calls under usr/bin.
        const QStringList outside =
            KSTTestSupport::treeDifferences(before, after, [&](const QByteArray &path) {
                return path.startsWith("usr/bin/") ||
                       std::any_of(selection.cbegin(), selection.cend(),
                                   [&](const QByteArray &chosen) { return isUnder(path, chosen); });
            });
        EXPECT_TRUE(outside.isEmpty()) << outside.join('\n').toStdString();
        for (const QString &kept : hostile->mustSurvive()) {
            const QByteArray folder = QFile::encodeName(kept);
            const QStringList changed = KSTTestSupport::treeDifferences(
                before, after, [&](const QByteArray &path) { return !isUnder(path, folder); });
            EXPECT_TRUE(changed.isEmpty()) << changed.join('\n').toStdString();
        }
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

} // namespace
