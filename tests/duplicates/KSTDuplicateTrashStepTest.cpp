// The program's removal step on fixture homes, with the real removal guard and the real
// Trash: what lands in the Trash (and can be put back), and everything that keeps a copy
// where it is: a change since the scan, a kept copy gone, a link on the way, a never-touch
// entry, a place outside the folders scanned.
#include "KSTDuplicateTrashStep.h"

#include "KSTDuplicateTestSupport.h"
#include "KSTFileName.h"
#include "KSTMachineTest.h"
#include "KSTPreferences.h"
#include "KSTTestSupport.h"
#include "KSTTrash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

#include <gtest/gtest.h>

#include <functional>
#include <unistd.h>

using TrashStep = KSTDuplicateTrashStep;
using TrashResult = KSTDuplicateRemovalStep::Result;
using namespace KSTDuplicateTestSupport;

namespace {

const QDateTime TrashOlder(QDate(2022, 5, 6), QTime(7, 8, 9), Qt::UTC);
const QDateTime TrashNewer(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC);
const QString NeverTouchSuite = QStringLiteral("com.kestrel.test.duplicates");

class DuplicateTrashStepTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        KSTPreferences::suite(NeverTouchSuite)->remove(QStringLiteral("whitelistPaths"));
        kept = recordOf(mac.writeHomeFile(QStringLiteral("Pictures/new.jpg"), content, TrashNewer));
        copy = recordOf(
            mac.writeHomeFile(QStringLiteral("Pictures/old/old.jpg"), content, TrashOlder));
    }

    TrashStep::Outcome move(const QStringList &scanFolders = {})
    {
        TrashStep step(NeverTouchSuite);
        step.beginRemoval(scanFolders.isEmpty()
                              ? QStringList{mac.homePath(QStringLiteral("Pictures"))}
                              : scanFolders);
        return step.moveToTrash(copy, {kept});
    }

    QStringList trashContents() const
    {
        return QDir(mac.homePath(QStringLiteral(".Trash")))
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    }

    QString trashed(const QString &name) const
    {
        return mac.homePath(QStringLiteral(".Trash/") + name);
    }

    const QByteArray content = contentOfSize(4000, 3);
    KSTDuplicateFileRecord kept;
    KSTDuplicateFileRecord copy;
};

TEST_F(DuplicateTrashStepTest, AnOlderCopyLandsInTheTrashAndCanBePutBack)
{
    const TrashStep::Outcome outcome = move();
    ASSERT_EQ(outcome.result, TrashResult::Moved) << outcome.reason.toStdString();
    EXPECT_FALSE(QFileInfo::exists(copy.path));
    EXPECT_EQ(KSTTestSupport::readFile(trashed(QStringLiteral("old.jpg"))), content);
    EXPECT_EQ(KSTTestSupport::readFile(kept.path), content);

    // Putting it back gives the very file the scan saw.
    ASSERT_TRUE(QFile::rename(trashed(QStringLiteral("old.jpg")), copy.path));
    EXPECT_TRUE(KSTDuplicateRemovalStep::isUnchangedSinceScan(copy));
}

TEST_F(DuplicateTrashStepTest, UnderTheLinuxLayoutTheTrashRemembersWhereACopyCameFrom)
{
    KSTEnvironment linux = mac.environment();
    linux.setLayout(KSTLayout::Linux);
    KSTScopedEnvironment scoped(linux);
    ASSERT_EQ(move().result, TrashResult::Moved);
    const QString trash = KSTTrash::trashDirectory();
    ASSERT_TRUE(QFileInfo::exists(trash + QStringLiteral("/old.jpg")));
    EXPECT_EQ(KSTTrash::originalPathForTrashedItem(trash + QStringLiteral("/old.jpg")), copy.path);
}

TEST_F(DuplicateTrashStepTest, ACopyStaysWheneverItIsNotSafeToMove)
{
    const QString pictures = mac.homePath(QStringLiteral("Pictures"));
    struct Case
    {
        const char *what;
        std::function<void()> change;
        QStringList scanFolders; // the Pictures folder when empty
        TrashResult result;
        const char *reason;
    };
    const Case cases[] = {
        {"the copy was rewritten",
         [&] { mac.writeHomeFile("Pictures/old/old.jpg", content); },
         {},
         TrashResult::FileChanged,
         "changed or moved since the scan"},
        {"the copy is gone",
         [&] { QFile::remove(copy.path); },
         {},
         TrashResult::FileChanged,
         "changed or moved since the scan"},
        {"the kept copy is gone",
         [&] { QFile::remove(kept.path); },
         {},
         TrashResult::KeptCopyChanged,
         "kept copy changed"},
        {"the kept copy was replaced by a link to an equal file",
         [&] {
             const QString elsewhere = mac.writeHomeFile("Documents/same.jpg", content, TrashNewer);
             QFile::remove(kept.path);
             QFile::link(elsewhere, kept.path);
         },
         {},
         TrashResult::KeptCopyChanged,
         "kept copy changed"},
        {"the copy's folder was swapped for a link to itself",
         [&] {
             QDir().rename(pictures + "/old", pictures + "/old-real");
             QFile::link(pictures + "/old-real", pictures + "/old");
         },
         {},
         TrashResult::Refused,
         "only through a symbolic link"},
        {"the copy is a never-touch entry",
         [&] {
             KSTPreferences::suite(NeverTouchSuite)
                 ->setValue("whitelistPaths", QStringList{"~/Pictures/old/old.jpg"});
         },
         {},
         TrashResult::Refused,
         "never-touch"},
        {"the copy lies inside a never-touch folder",
         [&] {
             KSTPreferences::suite(NeverTouchSuite)
                 ->setValue("whitelistPaths", QStringList{"~/Pictures/old"});
         },
         {},
         TrashResult::Refused,
         "never-touch"},
        {"the copy lies outside the folders scanned",
         [] {},
         {mac.homePath("Documents")},
         TrashResult::Refused,
         "outside the folders chosen"},
        {"the whole disk is no scope",
         [] {},
         {QStringLiteral("/")},
         TrashResult::Refused,
         "outside the folders chosen"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        // Every case starts from the scanned state.
        KSTPreferences::suite(NeverTouchSuite)->remove(QStringLiteral("whitelistPaths"));
        QFile::remove(pictures + "/old");
        QDir(pictures + "/old-real").removeRecursively();
        QFile::remove(kept.path);
        QDir(mac.homePath("Documents")).removeRecursively();
        kept = recordOf(mac.writeHomeFile("Pictures/new.jpg", content, TrashNewer));
        copy = recordOf(mac.writeHomeFile("Pictures/old/old.jpg", content, TrashOlder));

        c.change();
        const QStringList trashBefore = trashContents();
        const TrashStep::Outcome outcome = move(c.scanFolders);
        EXPECT_EQ(outcome.result, c.result) << outcome.reason.toStdString();
        EXPECT_TRUE(outcome.reason.contains(QLatin1String(c.reason)))
            << outcome.reason.toStdString();
        EXPECT_EQ(trashContents(), trashBefore); // nothing reached the Trash
    }
    // The last case left everything in place.
    EXPECT_EQ(KSTTestSupport::readFile(copy.path), content);
    EXPECT_EQ(KSTTestSupport::readFile(kept.path), content);
}

TEST_F(DuplicateTrashStepTest, ScopeIsTheScanFoldersNeverTheWholeDisk)
{
    EXPECT_EQ(TrashStep::scopeForScanFolders(
                  {QStringLiteral("/"), mac.root(), mac.homePath(QStringLiteral("Pictures/")),
                   mac.homePath(QStringLiteral("Pictures")), QStringLiteral("relative/folder"),
                   mac.homePath(QStringLiteral("Documents/../Movies"))}),
              (QStringList{mac.homePath(QStringLiteral("Pictures")),
                           mac.homePath(QStringLiteral("Movies"))}));
    // Without a scope nothing moves at all.
    TrashStep step(NeverTouchSuite);
    step.beginRemoval({QStringLiteral("/")});
    EXPECT_EQ(step.moveToTrash(copy, {kept}).result, TrashResult::Refused);
    EXPECT_TRUE(QFileInfo::exists(copy.path));
}

} // namespace
