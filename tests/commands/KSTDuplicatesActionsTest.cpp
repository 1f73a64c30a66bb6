// `kestrel duplicates remove` and `link` as the real program on fixture homes: older copies
// land in the Trash and can be put back, the shown group gives way to the next, copies become
// links to the kept one, and nothing is lost when a group keeps no copy, a copy changed since
// the scan, a kept copy vanished, the question is declined or the input is wrong.
#include "KSTDuplicateTestSupport.h"
#include "KSTFixtureMac.h"
#include "KSTProgramProcess.h"
#include "KSTTreeListing.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace KSTDuplicateTestSupport;

namespace {

const QDateTime ActionsDay1(QDate(2021, 2, 3), QTime(4, 5, 6), Qt::UTC);
const QDateTime ActionsDay2(QDate(2022, 2, 3), QTime(4, 5, 6), Qt::UTC);
const QDateTime Day3(QDate(2023, 2, 3), QTime(4, 5, 6), Qt::UTC);

class DuplicatesActionsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        // Photos: a group of three (6000 bytes reclaimable) and one of two (1000); images:
        // one of two (500).
        photo1 = contentOfSize(3000, 1);
        write("Pictures/trip/new.jpg", photo1, Day3);
        write("Pictures/trip/old.jpg", photo1, ActionsDay1);
        write("Pictures/backup/older.jpg", photo1, ActionsDay1);
        write("Pictures/a.jpg", contentOfSize(1000, 2), ActionsDay2);
        write("Pictures/b.jpg", contentOfSize(1000, 2), ActionsDay1);
        write("Pictures/x.png", contentOfSize(500, 3), ActionsDay2);
        write("Pictures/y.png", contentOfSize(500, 3), ActionsDay1);
        write("Pictures/alone.png", contentOfSize(500, 4), ActionsDay1);
    }

    void write(const char *homeRelative, const QByteArray &content, const QDateTime &modified)
    {
        mac.writeHomeFile(QString::fromLatin1(homeRelative), content, modified);
    }

    QString home(const char *homeRelative) const
    {
        return mac.homePath(QString::fromLatin1(homeRelative));
    }

    KSTProgramRun kestrel(const QStringList &arguments, KSTProgramOptions options = {}) const
    {
        return KSTTestSupport::runProgram(QStringLiteral(KESTREL_EXECUTABLE),
                                          QStringList{"--root", mac.root()} + arguments, options);
    }

    KSTTreeListing listing() const
    {
        return KSTTestSupport::listTree(QFile::encodeName(mac.root()));
    }

    static QStringList strings(const QJsonValue &array)
    {
        QStringList list;
        for (const QJsonValue &value : array.toArray())
            list << value.toString();
        return list;
    }

    QStringList trash() const
    {
        return QDir(home(".Trash")).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    QString keyOf(const QByteArray &content) const { return expectedHashKey(content); }

    KSTFixtureMac mac;
    QByteArray photo1;
};

TEST_F(DuplicatesActionsTest, OlderCopiesLandInTheTrashAndCanBePutBack)
{
    const KSTTreeListing before = listing();
    const KSTProgramRun run = kestrel(
        {"--json", "duplicates", "remove", "--quiet", "--path", "~/Pictures", "--all", "--yes"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject outcome = run.json().object();
    EXPECT_EQ(QStringList(outcome.keys()),
              (QStringList{"bytesRemoved", "itemsRemoved", "removedPaths", "selectedCategoryType",
                           "selectedGroup", "skipped", "snapshot"}));
    EXPECT_EQ(outcome.value("itemsRemoved").toInteger(), 4);
    EXPECT_EQ(outcome.value("bytesRemoved").toInteger(), 7500);
    QStringList removed = strings(outcome.value("removedPaths"));
    removed.sort();
    EXPECT_EQ(removed, (QStringList{home("Pictures/b.jpg"), home("Pictures/backup/older.jpg"),
                                    home("Pictures/trip/old.jpg"), home("Pictures/y.png")}));
    EXPECT_TRUE(outcome.value("skipped").toArray().isEmpty());
    EXPECT_TRUE(outcome.value("selectedCategoryType").isNull());
    EXPECT_TRUE(outcome.value("selectedGroup").isNull());
    // The same folders were scanned again.
    const QJsonObject snapshot = outcome.value("snapshot").toObject();
    EXPECT_EQ(snapshot.value("totalGroupCount").toInteger(), 0);
    EXPECT_EQ(snapshot.value("filesScanned").toInteger(), 4);
    EXPECT_EQ(snapshot.value("statusText").toString(), QStringLiteral("No duplicate files found"));
    // The question and the plan went to standard error.
    EXPECT_TRUE(run.err.startsWith(QStringLiteral("Remove 7.3 KB of duplicates\n")))
        << run.err.toStdString();

    EXPECT_EQ(trash(), (QStringList{"b.jpg", "old.jpg", "older.jpg", "y.png"}));
    // Every copy comes back as it was.
    for (const auto &[trashed, original] :
         {std::pair{"b.jpg", "Pictures/b.jpg"}, std::pair{"old.jpg", "Pictures/trip/old.jpg"},
          std::pair{"older.jpg", "Pictures/backup/older.jpg"},
          std::pair{"y.png", "Pictures/y.png"}})
        ASSERT_TRUE(QFile::rename(home(".Trash/") + QLatin1String(trashed), home(original)));
    const QStringList changed =
        KSTTestSupport::treeDifferences(before, listing(), [](const QByteArray &path) {
            return path.endsWith("/.Trash") || path.contains("/Library/Preferences");
        });
    EXPECT_TRUE(changed.isEmpty()) << changed.join('\n').toStdString();
}

TEST_F(DuplicatesActionsTest, AfterTheShownGroupTheNextGroupOrCategoryIsShown)
{
    struct Case
    {
        const char *what;
        QString key;
        int groupsLeft;
        const char *category;
        const char *shownFile; // nullptr: no group left to show
    };
    const Case cases[] = {
        {"the first of two photo groups", keyOf(photo1), 2, "photos", "a.jpg"},
        {"the last photo group", keyOf(contentOfSize(1000, 2)).left(8), 1, "images", "x.png"},
        {"the last group of all", keyOf(contentOfSize(500, 3)), 0, "images", nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const KSTProgramRun run = kestrel({"--json", "duplicates", "remove", "--quiet", "--path",
                                           "~/Pictures", "--current", c.key, "--yes"});
        ASSERT_EQ(run.status, 0) << run.err.toStdString();
        const QJsonObject outcome = run.json().object();
        EXPECT_EQ(outcome.value("snapshot").toObject().value("totalGroupCount").toInteger(),
                  c.groupsLeft);
        EXPECT_EQ(outcome.value("selectedCategoryType").toString(), QLatin1String(c.category));
        if (c.shownFile)
            EXPECT_EQ(outcome.value("selectedGroup").toObject().value("fileName").toString(),
                      QLatin1String(c.shownFile));
        else
            EXPECT_TRUE(outcome.value("selectedGroup").isNull());
    }
    EXPECT_TRUE(QFileInfo::exists(home("Pictures/trip/new.jpg")));
    EXPECT_TRUE(QFileInfo::exists(home("Pictures/a.jpg")));
    EXPECT_TRUE(QFileInfo::exists(home("Pictures/x.png")));
    EXPECT_EQ(trash().size(), 4);
}

TEST_F(DuplicatesActionsTest, KeepAndUnkeepWorkAsTheCopysCheckBox)
{
    // Keeping the older copy too leaves only one copy removable; a group that keeps no copy
    // is skipped whole and named.
    const KSTProgramRun run =
        kestrel({"--json", "duplicates", "remove", "--quiet", "--path", "~/Pictures", "--group",
                 keyOf(photo1), "--group", keyOf(contentOfSize(1000, 2)), "--keep",
                 home("Pictures/trip/old.jpg"), "--unkeep", home("Pictures/a.jpg"), "--yes"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject outcome = run.json().object();
    EXPECT_EQ(strings(outcome.value("removedPaths")),
              QStringList{home("Pictures/backup/older.jpg")});
    QStringList skipped;
    for (const QJsonValue &entry : outcome.value("skipped").toArray())
        skipped << entry.toObject().value("path").toString() + QLatin1String(": ") +
                       entry.toObject().value("reason").toString();
    EXPECT_EQ(skipped,
              (QStringList{home("Pictures/a.jpg") + ": No copy of this group is kept, so none of "
                                                    "its copies was removed.",
                           home("Pictures/b.jpg") + ": No copy of this group is kept, so none of "
                                                    "its copies was removed."}));
    for (const char *kept : {"Pictures/trip/new.jpg", "Pictures/trip/old.jpg", "Pictures/a.jpg",
                             "Pictures/b.jpg", "Pictures/y.png"})
        EXPECT_TRUE(QFileInfo::exists(home(kept))) << kept;
    EXPECT_TRUE(run.err.contains(home("Pictures/a.jpg") +
                                 "  (left in place: no copy of its group is kept)"))
        << run.err.toStdString();

    // Keeping every copy of the only group chosen leaves nothing to remove.
    const KSTProgramRun nothing =
        kestrel({"--json", "duplicates", "remove", "--quiet", "--path", "~/Pictures", "--group",
                 keyOf(contentOfSize(500, 3)), "--keep", home("Pictures/y.png")});
    EXPECT_EQ(nothing.status, 1);
    EXPECT_TRUE(nothing.err.contains("nothing to remove")) << nothing.err.toStdString();
    EXPECT_EQ(nothing.json().object().value("itemsRemoved").toInteger(), 0);
}

TEST_F(DuplicatesActionsTest, CopiesThatChangedBeforeTheAnswerStay)
{
    KSTProgramOptions answer;
    answer.prompt = QStringLiteral("Remove? [y/N]");
    answer.input = "y\n";
    // Between the scan and the answer a copy is rewritten with the same bytes, and the kept
    // copy of another group vanishes.
    answer.beforeAnswer = [this] {
        write("Pictures/trip/old.jpg", photo1, ActionsDay2);
        QFile::remove(home("Pictures/x.png"));
    };
    const KSTProgramRun run = kestrel(
        {"--json", "duplicates", "remove", "--quiet", "--path", "~/Pictures", "--all"}, answer);
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject outcome = run.json().object();
    QStringList removed = strings(outcome.value("removedPaths"));
    removed.sort();
    EXPECT_EQ(removed, (QStringList{home("Pictures/b.jpg"), home("Pictures/backup/older.jpg")}));
    QStringList skipped;
    for (const QJsonValue &entry : outcome.value("skipped").toArray())
        skipped << entry.toObject().value("path").toString() + QLatin1String(": ") +
                       entry.toObject().value("reason").toString();
    skipped.sort();
    EXPECT_EQ(skipped,
              (QStringList{home("Pictures/trip/old.jpg") +
                               ": The file changed or moved since the scan, so it was left in "
                               "place.",
                           home("Pictures/y.png") +
                               ": The kept copy changed or moved since the scan, so this copy "
                               "was left in place."}));
    EXPECT_TRUE(QFileInfo::exists(home("Pictures/trip/old.jpg")));
    EXPECT_TRUE(QFileInfo::exists(home("Pictures/y.png")));
}

TEST_F(DuplicatesActionsTest, BadInputExplainsItselfAndLosesNothing)
{
    KSTProgramOptions declined;
    declined.prompt = QStringLiteral("Remove? [y/N]");
    declined.input = "n\n";

    struct Case
    {
        const char *what;
        QStringList arguments;
        KSTProgramOptions options;
        int status;
        const char *message;
    };
    const QString photoKey = keyOf(photo1);
    const Case cases[] = {
        {"a missing folder", {"--path", "~/Missing", "--all"}, {}, 2, "no such folder"},
        {"no selection", {"--path", "~/Pictures"}, {}, 2, "choose what to remove"},
        {"two selections",
         {"--path", "~/Pictures", "--all", "--current", photoKey},
         {},
         2,
         "cannot be combined"},
        {"a key too short",
         {"--path", "~/Pictures", "--group", photoKey.left(7)},
         {},
         2,
         "is no group key"},
        {"an unknown key",
         {"--path", "~/Pictures", "--group", "0123456789abcdef"},
         {},
         2,
         "no duplicate group has the key 0123456789abcdef"},
        {"a path in no group",
         {"--path", "~/Pictures", "--all", "--keep", home("Pictures/alone.png")},
         {},
         2,
         "is no copy in any duplicate group"},
        {"a declined question", {"--path", "~/Pictures", "--all"}, declined, 1, "Cancelled."},
    };
    const KSTTreeListing before = listing();
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const KSTProgramRun run =
            kestrel(QStringList{"duplicates", "remove", "--quiet"} + c.arguments, c.options);
        EXPECT_EQ(run.status, c.status) << run.out.toStdString() << run.err.toStdString();
        EXPECT_TRUE(QString(run.err + run.out).contains(QLatin1String(c.message)))
            << run.out.toStdString() << run.err.toStdString();
    }
    const QStringList changed =
        KSTTestSupport::treeDifferences(before, listing(), [](const QByteArray &path) {
            return path.contains("/Library/Preferences");
        });
    EXPECT_TRUE(changed.isEmpty()) << changed.join('\n').toStdString();
}

TEST_F(DuplicatesActionsTest, LinkReplacesCopiesAndSaysWhatItFreed)
{
    struct stat keptBefore = {};
    ASSERT_EQ(::lstat(QFile::encodeName(home("Pictures/trip/new.jpg")).constData(), &keptBefore),
              0);
    const KSTProgramRun run = kestrel({"--json", "duplicates", "link", "--hardlink", "--quiet",
                                       "--path", "~/Pictures", "--group", keyOf(photo1), "--yes"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject outcome = run.json().object();
    EXPECT_EQ(QStringList(outcome.keys()),
              (QStringList{"bytesFreed", "itemsLinked", "linkedPaths", "skipped", "snapshot"}));
    EXPECT_EQ(outcome.value("itemsLinked").toInteger(), 2);
    EXPECT_EQ(outcome.value("bytesFreed").toInteger(), 2 * 4096); // two 3000-byte files' blocks
    for (const char *copy : {"Pictures/trip/old.jpg", "Pictures/backup/older.jpg"}) {
        struct stat status = {};
        ASSERT_EQ(::lstat(QFile::encodeName(home(copy)).constData(), &status), 0);
        EXPECT_EQ(status.st_ino, keptBefore.st_ino) << copy;
        EXPECT_EQ(KSTTestSupport::readFile(home(copy)), photo1);
    }
    EXPECT_TRUE(trash().isEmpty());
    // The rescan still finds the group: three names of one file now.
    EXPECT_EQ(outcome.value("snapshot").toObject().value("totalGroupCount").toInteger(), 3);

    struct Case
    {
        const char *what;
        QStringList arguments;
        int status;
        const char *message;
    };
    const Case cases[] = {
        {"neither way", {"--all"}, 2, "--clone or --hardlink"},
        {"both ways", {"--clone", "--hardlink", "--all"}, 2, "--clone or --hardlink"},
        {"no selection", {"--clone"}, 2, "choose the groups"},
        {"the shown group is no choice here",
         {"--clone", "--current", keyOf(photo1)},
         2,
         "--current is for 'duplicates remove'"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const KSTProgramRun bad = kestrel(
            QStringList{"duplicates", "link", "--quiet", "--path", "~/Pictures"} + c.arguments);
        EXPECT_EQ(bad.status, c.status);
        EXPECT_TRUE(bad.err.contains(QLatin1String(c.message))) << bad.err.toStdString();
    }
}

} // namespace
