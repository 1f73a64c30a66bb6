// The removal guard on a fixture Mac: which entries it admits and which it refuses, and why,
// and that what it then does touches exactly the admitted entry.
#include "KSTRemovalGuard.h"

#include "KSTMachineTest.h"
#include "KSTPreferences.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSettings>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace {

using Guard = KSTRemovalGuard;

class RemovalGuardTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        for (const char *folder : {"Documents", "Downloads", "Library/Caches", "Music", ".Trash"})
            mac.makeHomeDirectory(folder);
        mac.writeHomeFile("Documents/Keep/plan.txt", "keep");
        mac.writeHomeFile("Documents/Keeper/notes.txt", "go");
        mac.writeHomeFile("Projects/app/Keep-me/a.txt", "keep");
        mac.writeHomeFile("Real/Kept/b.txt", "keep");
        mac.makeSymlink("Users/alice/Linked", mac.homePath("Real"));
        mac.makeSymlink("Users/alice/Shortcut", mac.homePath("Real"));
        mac.writeHomeFile("Downloads/file.bin", "bytes");
        mac.writeHomeFile("Music/song.mp3", "la");
        mac.writeHomeFile("Pictures/Photos Library.photoslibrary/originals/big.jpg", "jpg");
        mac.writeHomeFile("Pictures/Old/Family.photoslibrary/x.jpg", "jpg");
        mac.writeHomeFile("Pictures/Loose/x.jpg", "jpg");
        outside = mac.writeFile("Volumes/Other/file.bin", "bytes");
    }

    Guard guard() const
    {
        return Guard(
            Guard::Policy{{},
                          {QStringLiteral("~/Documents/Keep"), mac.homePath("Projects/app/Keep-me"),
                           QStringLiteral("~/Linked/Kept")}});
    }

    QString outside;
};

TEST_F(RemovalGuardTest, AdmitsOnlyWhatEveryRuleAllows)
{
    const Guard rules = guard();
    const struct
    {
        QString path;
        std::optional<Guard::RefusalCode> refusal; // nothing: admitted
    } cases[] = {
        {mac.homePath("Downloads/file.bin"), std::nullopt},
        {mac.homePath("Documents/Keeper"), std::nullopt},   // a sibling sharing a name prefix
        {mac.homePath("Shortcut"), std::nullopt},           // the link itself, as the link
        {mac.homePath("Linked"), Guard::RefusedNeverTouch}, // a never-touch entry's path
        {mac.homePath("Pictures/Loose"), std::nullopt},
        {mac.homePath("Linked/Kept/b.txt"), Guard::RefusedThroughLink},
        {mac.homePath("Linked/other"), Guard::RefusedThroughLink},
        {outside, Guard::RefusedOutsideChoice},
        {"relative/path", Guard::RefusedProtectedFolder},
        {"/", Guard::RefusedProtectedFolder},
        {mac.root(), Guard::RefusedProtectedFolder},
        {mac.home(), Guard::RefusedProtectedFolder},
        {mac.homePath("Library"), Guard::RefusedProtectedFolder},
        {mac.homePath("Documents"), Guard::RefusedProtectedFolder},
        {mac.homePath("Downloads/"), Guard::RefusedProtectedFolder},
        {mac.homePath(".Trash"), Guard::RefusedProtectedFolder},
        {mac.homePath("Documents/Keep"), Guard::RefusedNeverTouch},
        {mac.homePath("Documents/Keep/plan.txt"), Guard::RefusedNeverTouch},
        {mac.homePath("Documents/./Keep/../Keep/plan.txt"), Guard::RefusedNeverTouch},
        {mac.homePath("Projects"), Guard::RefusedNeverTouch}, // holds a never-touch entry
        {mac.homePath("Projects/app"), Guard::RefusedNeverTouch},
        {mac.homePath("Real/Kept"), Guard::RefusedNeverTouch}, // the entry, reached directly
        {mac.homePath("Real"), Guard::RefusedNeverTouch},
        {mac.homePath("Music/song.mp3"), Guard::RefusedPrivacyProtected},
        {mac.homePath("Pictures/Photos Library.photoslibrary/originals/big.jpg"),
         Guard::RefusedPrivacyProtected},
        {mac.homePath("Pictures/Old"), Guard::RefusedPrivacyProtected}, // holds a library
        {mac.homePath("Downloads/gone.bin"), Guard::RefusedMissing},
    };
    for (const auto &c : cases) {
        KSTError error;
        const std::optional<KSTHeldEntry> entry = rules.admit(c.path, std::nullopt, &error);
        EXPECT_EQ(entry.has_value(), !c.refusal) << c.path.toStdString();
        if (c.refusal) {
            EXPECT_EQ(error.domain, Guard::ErrorDomain) << c.path.toStdString();
            EXPECT_EQ(error.code, *c.refusal) << c.path.toStdString();
            EXPECT_TRUE(error.description.contains(QLatin1String("left in place")))
                << error.description.toStdString();
        }
    }
}

TEST_F(RemovalGuardTest, AnotherNameOfANeverTouchFileIsTheSameFile)
{
    const QString file = mac.writeHomeFile("Documents/tax.pdf", "pdf");
    const QString second = mac.homePath("Downloads/tax-again.pdf");
    ASSERT_EQ(::link(QFile::encodeName(file).constData(), QFile::encodeName(second).constData()),
              0);
    const Guard rules(Guard::Policy{{}, {QStringLiteral("~/Documents/tax.pdf")}});
    KSTError error;
    EXPECT_FALSE(rules.removePermanently(second, std::nullopt, &error));
    EXPECT_EQ(error.code, Guard::RefusedNeverTouch);
    EXPECT_TRUE(QFileInfo::exists(second));
}

TEST_F(RemovalGuardTest, AnEntryThatChangedSinceTheScanStays)
{
    const QString file = mac.homePath("Downloads/file.bin");
    const std::optional<KSTFileIdentity> seen = Guard::identityOf(file);
    ASSERT_TRUE(seen);
    ASSERT_EQ(seen->kind, KSTFileIdentity::Kind::File);

    // Rewritten in place (new size), and replaced by another file of the same name.
    KSTTestSupport::writeFile(file, "longer bytes");
    KSTError error;
    EXPECT_FALSE(guard().moveToTrash(file, seen, nullptr, &error));
    EXPECT_EQ(error.code, Guard::RefusedChanged);
    const std::optional<KSTFileIdentity> rewritten = Guard::identityOf(file);
    ASSERT_TRUE(QFile::remove(file));
    KSTTestSupport::writeFile(file, "longer bytes");
    EXPECT_FALSE(guard().moveToTrash(file, rewritten, nullptr, &error));
    EXPECT_EQ(error.code, Guard::RefusedChanged);
    EXPECT_TRUE(QFileInfo::exists(file));

    // Unchanged, it goes.
    QString landed;
    EXPECT_TRUE(guard().moveToTrash(file, Guard::identityOf(file), &landed, &error))
        << error.description.toStdString();
    EXPECT_EQ(landed, mac.homePath(".Trash/file.bin"));
}

// Messages of the "kestrel.*" categories, caught while one test runs.
QStringList caughtMessages;

void catchMessage(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    if (QLatin1String(context.category).startsWith(QLatin1String("kestrel.")))
        caughtMessages << QLatin1String(context.category) + QLatin1String(": ") + message;
}

TEST_F(RemovalGuardTest, ARefusalIsLoggedWithItsReasonOnlyWhenAsked)
{
    const QString file = mac.homePath("Downloads/file.bin");
    const std::optional<KSTFileIdentity> seen = Guard::identityOf(file);
    KSTTestSupport::writeFile(file, "longer bytes");
    caughtMessages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(catchMessage);

    EXPECT_FALSE(guard().moveToTrash(file, seen, nullptr, nullptr));
    EXPECT_TRUE(caughtMessages.isEmpty()) << "quiet by default, so command output stays clean";

    QLoggingCategory::setFilterRules(QStringLiteral("kestrel.access.info=true"));
    EXPECT_FALSE(guard().moveToTrash(file, seen, nullptr, nullptr));
    QLoggingCategory::setFilterRules({});
    qInstallMessageHandler(previous);
    ASSERT_EQ(caughtMessages.size(), 1);
    EXPECT_TRUE(caughtMessages.first().startsWith(QLatin1String("kestrel.access: ")));
    EXPECT_TRUE(caughtMessages.first().contains(file));
    EXPECT_TRUE(caughtMessages.first().contains(QLatin1String("it changed since the scan")))
        << caughtMessages.first().toStdString();
}

TEST_F(RemovalGuardTest, ALinkIsActedOnAsTheLinkAndItsTargetSurvives)
{
    EXPECT_TRUE(guard().removePermanently(mac.homePath("Shortcut")));
    EXPECT_FALSE(QFileInfo(mac.homePath("Shortcut")).isSymLink());
    EXPECT_EQ(KSTTestSupport::readFile(mac.homePath("Real/Kept/b.txt")), QByteArray("keep"));
}

TEST_F(RemovalGuardTest, ChosenFoldersBoundTheGuardAndAreNotThemselvesRemoved)
{
    const Guard chosen(Guard::Policy{{mac.path("Volumes/Other")}, {}});
    KSTError error;
    EXPECT_FALSE(chosen.moveToTrash(mac.path("Volumes/Other"), std::nullopt, nullptr, &error));
    EXPECT_EQ(error.code, Guard::RefusedProtectedFolder);
    EXPECT_FALSE(chosen.admit(mac.homePath("Downloads/file.bin"), std::nullopt, &error));
    EXPECT_EQ(error.code, Guard::RefusedOutsideChoice);
    EXPECT_TRUE(chosen.admit(outside));
}

TEST_F(RemovalGuardTest, MovingIntoAFolderNeverReplacesAndNeverPassesALink)
{
    const QString shot = mac.writeHomeFile("Desktop/Screenshot 1.png", "png");
    mac.writeHomeFile("Pictures/Archive/Screenshot 1.png", "older");
    KSTError error;
    EXPECT_FALSE(guard().moveIntoFolder(shot, std::nullopt, mac.homePath("Pictures/Archive"),
                                        "Screenshot 1.png", nullptr, &error));
    EXPECT_EQ(KSTTestSupport::readFile(mac.homePath("Pictures/Archive/Screenshot 1.png")),
              QByteArray("older"));
    EXPECT_FALSE(guard().moveIntoFolder(shot, std::nullopt, mac.homePath("Linked"), "s.png",
                                        nullptr, &error));
    EXPECT_EQ(error.code, Guard::RefusedThroughLink);
    EXPECT_FALSE(guard().moveIntoFolder(shot, std::nullopt, mac.homePath("Pictures/Archive"),
                                        "../escape.png", nullptr, &error));
    QString landed;
    EXPECT_TRUE(guard().moveIntoFolder(shot, std::nullopt, mac.homePath("Pictures/Archive"),
                                       "Screenshot 2.png", &landed, &error))
        << error.description.toStdString();
    EXPECT_EQ(landed, mac.homePath("Pictures/Archive/Screenshot 2.png"));
    EXPECT_FALSE(QFileInfo::exists(shot));
}

TEST_F(RemovalGuardTest, AFileIsReplacedOnlyByWhatItsBuilderMadeAndOnlyWhenAdmitted)
{
    const Guard rules = guard();
    // Writes "new" under the temporary name, or something else when asked to misbehave.
    enum class Build { File, Link, Fails, WhileTheFileIsSwapped };
    const auto builder = [this](Build kind) {
        return [this, kind](int folder, const QByteArray &name, KSTError *error) {
            // Someone else puts another file in its place while the replacement is built.
            if (kind == Build::WhileTheFileIsSwapped) {
                mac.writeHomeFile("Downloads/other.bin", "other");
                QFile::remove(mac.homePath("Downloads/file.bin"));
                QFile::rename(mac.homePath("Downloads/other.bin"),
                              mac.homePath("Downloads/file.bin"));
            }
            if (kind == Build::Fails) {
                error->description = QStringLiteral("no clone here");
                return false;
            }
            if (kind == Build::Link)
                return ::symlinkat("/etc/passwd", folder, name.constData()) == 0;
            const int fd =
                ::openat(folder, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            const bool written = fd >= 0 && ::write(fd, "new", 3) == 3;
            return ::close(fd) == 0 && written;
        };
    };
    struct Case
    {
        const char *what;
        QString path;
        Build build;
        bool replaced;
        const char *reason;
    };
    const QString file = mac.homePath("Downloads/file.bin");
    const Case cases[] = {
        {"a plain file", file, Build::File, true, ""},
        {"a builder that fails", file, Build::Fails, false, "no clone here"},
        {"a replacement that is a link", file, Build::Link, false, "replacement is not a file"},
        {"a file swapped meanwhile", file, Build::WhileTheFileIsSwapped, false,
         "changed since the scan"},
        {"a never-touch file", mac.homePath("Documents/Keep/plan.txt"), Build::File, false,
         "never-touch"},
        {"a file behind a link", mac.homePath("Linked/Kept/b.txt"), Build::File, false,
         "symbolic link"},
        {"a folder", mac.homePath("Pictures/Loose"), Build::File, false, "not a file"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        mac.writeHomeFile("Downloads/file.bin", "bytes");
        const QStringList before =
            QDir(QFileInfo(c.path).path()).entryList(QDir::AllEntries | QDir::Hidden);
        const QByteArray contents = KSTTestSupport::readFile(c.path);
        KSTError error;
        EXPECT_EQ(rules.replaceFile(c.path, Guard::identityOf(c.path), builder(c.build), &error),
                  c.replaced);
        EXPECT_TRUE(error.description.contains(QLatin1String(c.reason)))
            << error.description.toStdString();
        const QByteArray expected = c.replaced                                ? QByteArray("new")
                                    : c.build == Build::WhileTheFileIsSwapped ? QByteArray("other")
                                                                              : contents;
        EXPECT_EQ(KSTTestSupport::readFile(c.path), expected);
        // No temporary entry stays behind.
        EXPECT_EQ(QDir(QFileInfo(c.path).path()).entryList(QDir::AllEntries | QDir::Hidden),
                  before);
    }

    // A file that changed since the scan is not replaced, and no builder runs for it.
    const std::optional<KSTFileIdentity> seen = Guard::identityOf(file);
    mac.writeHomeFile("Downloads/file.bin", "rewritten");
    bool built = false;
    KSTError error;
    EXPECT_FALSE(rules.replaceFile(
        file, seen,
        [&built](int, const QByteArray &, KSTError *) {
            built = true;
            return true;
        },
        &error));
    EXPECT_FALSE(built);
    EXPECT_EQ(error.code, Guard::RefusedChanged);
    EXPECT_EQ(KSTTestSupport::readFile(file), QByteArray("rewritten"));
}

TEST_F(RemovalGuardTest, TheStoredNeverTouchListIncludesWhatALaunchKeptAside)
{
    const QString suite = QStringLiteral("com.kestrel.guard.test");
    {
        const std::unique_ptr<QSettings> stored = KSTPreferences::suite(suite);
        stored->clear();
        stored->setValue("whitelistPaths", QStringList{"~/Documents/Keep"});
        stored->setValue("whitelistPathsBeforeReset", QStringList{"~/Music", "~/Documents/Keep"});
    }
    EXPECT_EQ(Guard::storedNeverTouchPaths(suite), (QStringList{"~/Documents/Keep", "~/Music"}));
    KSTPreferences::suite(suite)->clear();
}

TEST_F(RemovalGuardTest, AMountedFileSystemIsNeitherRemovedNorEntered)
{
    // A mount needs a mount namespace of the test's own (it vanishes with the process).
    if (::geteuid() != 0 || ::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        GTEST_SKIP() << "no mount namespace here";
    const QString volume = mac.makeHomeDirectory("Downloads/box/usb");
    if (::mount("kestrel-test", QFile::encodeName(volume).constData(), "tmpfs", 0, nullptr) != 0)
        GTEST_SKIP() << "cannot mount a tmpfs here";
    const QString inside = volume + "/photo.jpg";
    ASSERT_TRUE(KSTTestSupport::writeFile(inside, "on the stick"));

    KSTError error;
    EXPECT_FALSE(guard().removePermanently(volume, std::nullopt, &error));
    EXPECT_EQ(error.code, Guard::RefusedProtectedFolder);
    // Deleting the folder that holds it deletes around it, never into it.
    EXPECT_FALSE(guard().removePermanently(mac.homePath("Downloads/box"), std::nullopt, &error));
    EXPECT_EQ(KSTTestSupport::readFile(inside), QByteArray("on the stick"));
    ::umount2(QFile::encodeName(volume).constData(), MNT_DETACH);
}

} // namespace
