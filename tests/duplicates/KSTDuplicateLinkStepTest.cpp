// Replacing duplicate copies with links on fixture homes, through the real removal guard:
// hard links and clones take the copy's place only when every check holds, report the bytes
// they really free, and leave the copy exactly as it was otherwise. Clones are tried on a
// Btrfs file system mounted for the test where the machine allows it.
#include "KSTDuplicateLinkStep.h"

#include "KSTDuplicateEngine.h"
#include "KSTDuplicateReviewModel.h"
#include "KSTDuplicateTestSupport.h"
#include "KSTFileClone.h"
#include "KSTFileName.h"
#include "KSTMachineTest.h"
#include "KSTPreferences.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <functional>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using LinkStep = KSTDuplicateLinkStep;
using Kind = LinkStep::Kind;
using LinkResult = LinkStep::Result;
using namespace KSTDuplicateTestSupport;

namespace {

const QDateTime LinkOlder(QDate(2021, 5, 6), QTime(7, 8, 9), Qt::UTC);
const QDateTime LinkNewer(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC);
const QString LinkNeverTouchSuite = QStringLiteral("com.kestrel.test.duplicates.link");

struct stat statusOf(const QString &path)
{
    struct stat status = {};
    ::lstat(KSTFileName::encoded(path).constData(), &status);
    return status;
}

// Whether the file system of @p folder makes clones.
bool canClone(const QString &folder)
{
    const QByteArray first = KSTFileName::encoded(folder + QStringLiteral("/clone-probe-a"));
    const QByteArray second = KSTFileName::encoded(folder + QStringLiteral("/clone-probe-b"));
    const int a = ::open(first.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const int b = ::open(second.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const bool cloned =
        a >= 0 && b >= 0 && ::write(a, "x", 1) == 1 && KSTFileClone::cloneInto(a, b) == 0;
    ::close(a);
    ::close(b);
    ::unlink(first.constData());
    ::unlink(second.constData());
    return cloned;
}

bool noTemporaryEntries(const QString &folder)
{
    return QDir(folder)
        .entryList({QStringLiteral(".kestrel-*")}, QDir::AllEntries | QDir::Hidden | QDir::System)
        .isEmpty();
}

class DuplicateLinkStepTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        KSTPreferences::suite(LinkNeverTouchSuite)->remove(QStringLiteral("whitelistPaths"));
        makeFiles(QStringLiteral("Pictures"));
    }

    // A kept copy and an older copy of it below @p folder (home-relative).
    void makeFiles(const QString &folder)
    {
        scanFolder = mac.homePath(folder);
        kept = recordOf(mac.writeHomeFile(folder + QStringLiteral("/new.jpg"), content, LinkNewer));
        copy = recordOf(
            mac.writeHomeFile(folder + QStringLiteral("/old/old.jpg"), content, LinkOlder));
    }

    LinkStep::Outcome link(Kind kind)
    {
        LinkStep step(kind, LinkNeverTouchSuite);
        step.beginLinking({scanFolder});
        return step.replaceWithLink(copy, {kept});
    }

    const QByteArray content = contentOfSize(200000, 5);
    QString scanFolder;
    KSTDuplicateFileRecord kept;
    KSTDuplicateFileRecord copy;
};

TEST_F(DuplicateLinkStepTest, AHardLinkTakesTheCopysPlaceAndFreesItsBlocks)
{
    const quint64 allocated = quint64(statusOf(copy.path).st_blocks) * 512u;
    const LinkStep::Outcome outcome = link(Kind::HardLink);
    ASSERT_EQ(outcome.result, LinkResult::Linked) << outcome.reason.toStdString();
    EXPECT_EQ(outcome.bytesFreed, allocated);
    EXPECT_EQ(statusOf(copy.path).st_ino, statusOf(kept.path).st_ino);
    EXPECT_EQ(statusOf(kept.path).st_nlink, 2u);
    EXPECT_EQ(KSTTestSupport::readFile(copy.path), content);
    EXPECT_TRUE(noTemporaryEntries(QFileInfo(copy.path).path()));

    // Done again, there is nothing left to do.
    copy = recordOf(copy.path);
    kept = recordOf(kept.path);
    EXPECT_EQ(link(Kind::HardLink).result, LinkResult::AlreadySameFile);
}

TEST_F(DuplicateLinkStepTest, ACopyWithAnotherNameFreesNothingWhenLinked)
{
    const QString other = mac.homePath(QStringLiteral("Documents/other-name.jpg"));
    QDir().mkpath(QFileInfo(other).path());
    ASSERT_EQ(::link(KSTFileName::encoded(copy.path).constData(),
                     KSTFileName::encoded(other).constData()),
              0);
    copy = recordOf(copy.path);
    const LinkStep::Outcome outcome = link(Kind::HardLink);
    ASSERT_EQ(outcome.result, LinkResult::Linked) << outcome.reason.toStdString();
    EXPECT_EQ(outcome.bytesFreed, 0u);
    EXPECT_EQ(KSTTestSupport::readFile(other), content);
}

TEST_F(DuplicateLinkStepTest, TheCopyStaysAsItWasWheneverACheckFails)
{
    struct Case
    {
        const char *what;
        Kind kind;
        std::function<void()> change;
        LinkResult result;
        const char *reason;
    };
    const QString pictures = mac.homePath(QStringLiteral("Pictures"));
    const Case cases[] = {
        {"the copy was rewritten", Kind::HardLink,
         [&] { mac.writeHomeFile("Pictures/old/old.jpg", content); }, LinkResult::FileChanged,
         "changed or moved since the scan"},
        {"the kept copy is gone", Kind::HardLink, [&] { QFile::remove(kept.path); },
         LinkResult::KeptCopyChanged, "kept copy changed"},
        {"the permissions differ from the kept copy's", Kind::HardLink,
         [&] { ::chmod(KSTFileName::encoded(copy.path).constData(), 0600); }, LinkResult::Refused,
         "permissions or owner differ"},
        {"the copy is a never-touch entry", Kind::HardLink,
         [&] {
             KSTPreferences::suite(LinkNeverTouchSuite)
                 ->setValue("whitelistPaths", QStringList{"~/Pictures/old/old.jpg"});
         },
         LinkResult::Refused, "never-touch"},
        {"the copy's folder was swapped for a link to itself", Kind::HardLink,
         [&] {
             QDir().rename(pictures + "/old", pictures + "/old-real");
             QFile::link(pictures + "/old-real", pictures + "/old");
         },
         LinkResult::FileChanged, "changed or moved"},
        {"the file system cannot clone", Kind::Clone, [] {}, LinkResult::Failed,
         "cannot make clones"},
    };
    const bool clones = canClone(pictures);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        if (c.kind == Kind::Clone && clones)
            continue; // this file system clones; the Btrfs test covers it
        KSTPreferences::suite(LinkNeverTouchSuite)->remove(QStringLiteral("whitelistPaths"));
        QFile::remove(pictures + "/old");
        QDir(pictures + "/old-real").removeRecursively();
        QDir(pictures + "/old").removeRecursively();
        makeFiles(QStringLiteral("Pictures"));
        c.change();
        const struct stat before = statusOf(copy.path);

        const LinkStep::Outcome outcome = link(c.kind);
        EXPECT_EQ(outcome.result, c.result) << outcome.reason.toStdString();
        EXPECT_TRUE(outcome.reason.contains(QLatin1String(c.reason)))
            << outcome.reason.toStdString();
        EXPECT_EQ(outcome.bytesFreed, 0u);
        const struct stat after = statusOf(copy.path);
        EXPECT_EQ(after.st_ino, before.st_ino);
        EXPECT_EQ(after.st_size, before.st_size);
        EXPECT_TRUE(noTemporaryEntries(QFileInfo(copy.path).path()));
    }
}

TEST_F(DuplicateLinkStepTest, ClonesKeepTheCopysOwnPermissionsAndDates)
{
    // A Btrfs file system inside the home, where clones exist.
    if (::geteuid() != 0 || QStandardPaths::findExecutable(QStringLiteral("mkfs.btrfs")).isEmpty())
        GTEST_SKIP() << "needs root and mkfs.btrfs to mount a file system that clones";
    QTemporaryDir images;
    ASSERT_TRUE(images.isValid());
    const QString image = images.filePath(QStringLiteral("volume.img"));
    QFile file(image);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.resize(160 * 1024 * 1024));
    file.close();
    const QString volume = mac.homePath(QStringLiteral("Volume"));
    QDir().mkpath(volume);
    if (KSTTestSupport::runHostTool(QStringLiteral("mkfs.btrfs"), {QStringLiteral("-q"), image}) !=
            0 ||
        KSTTestSupport::runHostTool(
            QStringLiteral("mount"),
            {QStringLiteral("-o"), QStringLiteral("loop"), image, volume}) != 0)
        GTEST_SKIP() << "no loop mount of a Btrfs file system here";
    struct Unmount
    {
        QString volume;
        ~Unmount() { ::umount2(KSTFileName::encoded(volume).constData(), MNT_DETACH); }
    } unmount{volume};

    makeFiles(QStringLiteral("Volume/t"));
    ASSERT_EQ(::chmod(KSTFileName::encoded(copy.path).constData(), 0640), 0);
    const struct timespec times[2] = {{1'600'000'000, 123'456'789}, {1'500'000'000, 987'654'321}};
    ASSERT_EQ(::utimensat(AT_FDCWD, KSTFileName::encoded(copy.path).constData(), times, 0), 0);
    copy = recordOf(copy.path);
    const struct stat before = statusOf(copy.path);

    const LinkStep::Outcome outcome = link(Kind::Clone);
    ASSERT_EQ(outcome.result, LinkResult::Linked) << outcome.reason.toStdString();
    EXPECT_EQ(outcome.bytesFreed, quint64(before.st_blocks) * 512u);
    const struct stat after = statusOf(copy.path);
    EXPECT_NE(after.st_ino, statusOf(kept.path).st_ino); // a file of its own
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(after.st_atim.tv_sec, before.st_atim.tv_sec);
    EXPECT_EQ(KSTTestSupport::readFile(copy.path), content);
    const int fd = ::open(KSTFileName::encoded(copy.path).constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(KSTFileClone::exclusiveBytes(fd), std::optional<quint64>(0)); // all shared now
    ::close(fd);

    // Cloned again, nothing more is freed.
    copy = recordOf(copy.path);
    const LinkStep::Outcome again = link(Kind::Clone);
    EXPECT_EQ(again.result, LinkResult::Linked);
    EXPECT_EQ(again.bytesFreed, 0u);
}

TEST_F(DuplicateLinkStepTest, TheModelLinksTickedGroupsAndScansAgain)
{
    KSTSystemInfo info;
    KSTDuplicateEngine::install(info);
    KSTDuplicateReviewModel model(info);
    model.scanDuplicatesInPaths({scanFolder});
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [&] { return model.snapshot() && !model.snapshot()->isScanning; }, 30'000));
    ASSERT_EQ(model.snapshot()->totalGroupCount, 1u);
    model.toggleAllGroups(Qt::Checked);
    std::optional<KSTDuplicateLinkOutcome> outcome;
    ASSERT_TRUE(model.replaceSelectedDuplicatesWithLinks(
        Kind::HardLink, [&outcome](const KSTDuplicateLinkOutcome &done) { outcome = done; }));
    EXPECT_TRUE(model.isBusy());
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return outcome && !model.snapshot()->isScanning; },
                                          30'000));
    EXPECT_EQ(outcome->itemsLinked, 1u);
    EXPECT_EQ(outcome->linkedPaths, QStringList{copy.path});
    EXPECT_GT(outcome->bytesFreed, 0u);
    // Hard links are still two copies of one group, now the same file.
    ASSERT_EQ(model.snapshot()->totalGroupCount, 1u);
    const KSTDuplicateGroup group = model.snapshot()->categories.at(1).groups.first();
    EXPECT_TRUE(group.files.at(0).identity.isSameFile(group.files.at(1).identity));
    EXPECT_FALSE(model.replaceSelectedDuplicatesWithLinks(Kind::HardLink)); // nothing ticked now
}

} // namespace
