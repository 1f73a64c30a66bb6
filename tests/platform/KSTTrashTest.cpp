#include "KSTTrash.h"

#include "KSTEnvironment.h"
#include "KSTTestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/fs.h>
#include <sys/ioctl.h>
#endif

namespace {

using KSTTestSupport::writeFile;

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool isSymlink(const QString &path)
{
    struct stat info = {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISLNK(info.st_mode);
}

mode_t permissions(const QString &path)
{
    struct stat info = {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? (info.st_mode & 07777) : 0;
}

QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

// A machine with one user under a temporary root, in the layout of the test's parameter.
class KSTTrashTest : public ::testing::TestWithParam<KSTLayout>
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_root.isValid());
        m_home = m_root.filePath(QStringLiteral("Users/me"));
        m_outside = m_root.filePath(QStringLiteral("outside"));
        ASSERT_TRUE(QDir().mkpath(m_home));
        ASSERT_TRUE(QDir().mkpath(m_outside));
        KSTEnvironment environment;
        environment.setRoot(m_root.path());
        environment.setHome(m_home);
        environment.setLayout(GetParam());
        m_scope = std::make_unique<KSTScopedEnvironment>(environment);
    }

    void TearDown() override { m_scope.reset(); }

    bool isMac() const { return GetParam() == KSTLayout::Mac; }

    QString trash() const
    {
        return isMac() ? m_home + QLatin1String("/.Trash")
                       : m_home + QLatin1String("/.local/share/Trash/files");
    }

    // Creates <outside>/<folder>/<name> (a file, or a folder holding one file) and trashes it.
    QString trashNew(const QString &folder, const QString &name, bool directory,
                     const QByteArray &contents)
    {
        const QString path = m_outside + QLatin1Char('/') + folder + QLatin1Char('/') + name;
        if (directory)
            writeFile(path + QLatin1String("/inside.txt"), contents);
        else
            writeFile(path, contents);
        QString resulting;
        KSTError error;
        if (!KSTTrash::moveToTrash(path, &resulting, &error)) {
            ADD_FAILURE() << qPrintable(error.description);
            return {};
        }
        EXPECT_FALSE(QFileInfo::exists(path)) << qPrintable(path);
        return resulting;
    }

    QTemporaryDir m_root;
    QString m_home;
    QString m_outside;
    std::unique_ptr<KSTScopedEnvironment> m_scope;
};

INSTANTIATE_TEST_SUITE_P(Layouts, KSTTrashTest, ::testing::Values(KSTLayout::Mac, KSTLayout::Linux),
                         [](const ::testing::TestParamInfo<KSTLayout> &info) {
                             return KSTEnvironment::layoutName(info.param).toStdString();
                         });

TEST_P(KSTTrashTest, TrashDirectoryFollowsTheLayoutAndIsCreatedOnFirstUse)
{
    EXPECT_EQ(KSTTrash::trashDirectory(), trash());
    EXPECT_FALSE(QFileInfo::exists(trash()));
    trashNew(QStringLiteral("a"), QStringLiteral("first.txt"), false, "1");
    ASSERT_TRUE(QFileInfo(trash()).isDir());
    EXPECT_EQ(permissions(trash()), mode_t(0700));
    if (!isMac()) {
        const QString base = QFileInfo(trash()).path();
        EXPECT_EQ(permissions(base), mode_t(0700));
        EXPECT_EQ(permissions(base + QLatin1String("/info")), mode_t(0700));
    }
}

struct ClashRow
{
    const char *name;
    bool directory;
    int times; ///< how many items of that name are trashed
    const char *lastName;
};

TEST_P(KSTTrashTest, NumbersNamesThatAreTaken)
{
    const ClashRow rows[] = {
        {"fresh.txt", false, 1, "fresh.txt"},
        {"report.pdf", false, 2, "report 2.pdf"},
        {"report.pdf", false, 1, "report 3.pdf"}, // continues after the previous row
        {"Makefile", false, 2, "Makefile 2"},
        {"My Folder", true, 2, "My Folder 2"},
        {"Photos.v2", true, 2, "Photos.v2 2"}, // folders keep dots in their names
        {".env", false, 3, ".env 3"},          // a dotfile's dot is not an extension
        {".config.json", false, 2, ".config 2.json"},
        {"archive.tar.gz", false, 2, "archive.tar 2.gz"},
        {"trailing.", false, 2, "trailing. 2"},
    };
    int folder = 0;
    for (const ClashRow &row : rows) {
        QString resulting;
        for (int i = 0; i < row.times; ++i) {
            ++folder;
            resulting = trashNew(QString::number(folder), QString::fromUtf8(row.name),
                                 row.directory, QByteArray::number(folder));
        }
        EXPECT_EQ(
            resulting.toStdString(),
            QString(trash() + QLatin1Char('/') + QString::fromUtf8(row.lastName)).toStdString());
        // The last one is whole: its own content, not an earlier item's.
        const QString file = row.directory ? resulting + QLatin1String("/inside.txt") : resulting;
        EXPECT_EQ(readAll(file), QByteArray::number(folder)) << row.name;
    }
}

TEST_P(KSTTrashTest, MovesAFolderWithEverythingInIt)
{
    const QString folder = m_outside + QLatin1String("/Project");
    writeFile(folder + QLatin1String("/src/main.cpp"), "int main() {}\n");
    writeFile(folder + QLatin1String("/.hidden"), "h");
    ASSERT_TRUE(QFile::link(QStringLiteral("src/main.cpp"), folder + QLatin1String("/entry")));

    QString resulting;
    ASSERT_TRUE(KSTTrash::moveToTrash(folder, &resulting));
    EXPECT_EQ(resulting, trash() + QLatin1String("/Project"));
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_EQ(readAll(resulting + QLatin1String("/src/main.cpp")), QByteArray("int main() {}\n"));
    EXPECT_EQ(readAll(resulting + QLatin1String("/.hidden")), QByteArray("h"));
    EXPECT_TRUE(isSymlink(resulting + QLatin1String("/entry")));
}

TEST_P(KSTTrashTest, MovesALinkAsALinkAndLeavesItsTargetAlone)
{
    const QString target = m_outside + QLatin1String("/precious.txt");
    const QString targetFolder = m_outside + QLatin1String("/precious folder");
    writeFile(target, "keep me");
    writeFile(targetFolder + QLatin1String("/inside.txt"), "keep me too");
    const QString fileLink = m_outside + QLatin1String("/links/to-file");
    const QString folderLink = m_outside + QLatin1String("/links/to-folder");
    QDir().mkpath(m_outside + QLatin1String("/links"));
    ASSERT_TRUE(QFile::link(target, fileLink));
    ASSERT_TRUE(QFile::link(targetFolder, folderLink));

    // A trailing slash would make the kernel follow the link; the link is still what moves.
    for (const QString &link : QStringList{fileLink, folderLink + QLatin1Char('/')}) {
        QString resulting;
        KSTError error;
        ASSERT_TRUE(KSTTrash::moveToTrash(link, &resulting, &error))
            << qPrintable(error.description);
        EXPECT_TRUE(isSymlink(resulting)) << qPrintable(resulting);
        EXPECT_FALSE(isSymlink(link) || QFileInfo::exists(link));
    }
    EXPECT_EQ(readAll(target), QByteArray("keep me"));
    EXPECT_EQ(readAll(targetFolder + QLatin1String("/inside.txt")), QByteArray("keep me too"));
    EXPECT_EQ(entries(m_outside + QLatin1String("/links")), QStringList());
}

TEST_P(KSTTrashTest, AMissingItemIsAnErrorAndChangesNothing)
{
    QString resulting = QStringLiteral("unchanged");
    KSTError error;
    const QString missing = m_outside + QLatin1String("/not-here.txt");
    EXPECT_FALSE(KSTTrash::moveToTrash(missing, &resulting, &error));
    EXPECT_EQ(resulting, QStringLiteral("unchanged"));
    EXPECT_EQ(error.domain, QStringLiteral("NSCocoaErrorDomain"));
    EXPECT_EQ(error.code, 4); // NSFileNoSuchFileError
    EXPECT_TRUE(error.description.contains(missing)) << qPrintable(error.description);
    EXPECT_EQ(error.userInfo.value(QStringLiteral("NSFilePath")).toString(), missing);
    EXPECT_FALSE(KSTTrash::moveToTrash(QString(), nullptr, nullptr));
}

TEST_P(KSTTrashTest, ConcurrentMovesOfTheSameNameNeverOverwriteEachOther)
{
    constexpr int Threads = 4;
    constexpr int ItemsPerThread = 6;
    std::vector<QString> sources;
    for (int i = 0; i < Threads * ItemsPerThread; ++i) {
        sources.push_back(m_outside + QStringLiteral("/%1/same.txt").arg(i));
        writeFile(sources.back(), QByteArray::number(i));
    }
    std::mutex mutex;
    QStringList results;
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = t * ItemsPerThread; i < (t + 1) * ItemsPerThread; ++i) {
                QString resulting;
                const bool moved = KSTTrash::moveToTrash(sources[size_t(i)], &resulting);
                std::lock_guard lock(mutex);
                results << (moved ? resulting + QLatin1Char('=') + QString::number(i) : QString());
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    QSet<QString> names;
    for (const QString &result : results) {
        ASSERT_FALSE(result.isEmpty());
        const QString path = result.section(QLatin1Char('='), 0, 0);
        names.insert(path);
        EXPECT_EQ(readAll(path), result.section(QLatin1Char('='), 1).toUtf8());
    }
    EXPECT_EQ(names.size(), Threads * ItemsPerThread);
    EXPECT_EQ(entries(trash()).size(), Threads * ItemsPerThread);
    if (!isMac()) {
        const QString info = QFileInfo(trash()).path() + QLatin1String("/info");
        EXPECT_EQ(entries(info).size(), Threads * ItemsPerThread);
    }
}

// --- Deleting for good -------------------------------------------------------------------

TEST_P(KSTTrashTest, RemovePermanentlyNeverDescendsThroughLinks)
{
    const QString precious = m_outside + QLatin1String("/precious");
    writeFile(precious + QLatin1String("/a.txt"), "a");
    writeFile(precious + QLatin1String("/deeper/b.txt"), "b");
    const QString preciousFile = m_outside + QLatin1String("/precious.txt");
    writeFile(preciousFile, "p");

    const QString victim = m_home + QLatin1String("/Library/Caches/App");
    writeFile(victim + QLatin1String("/cache.db"), "x");
    writeFile(victim + QLatin1String("/nested/1/2/3/leaf"), "y");
    ASSERT_TRUE(QFile::link(precious, victim + QLatin1String("/link-to-folder")));
    ASSERT_TRUE(QFile::link(precious, victim + QLatin1String("/nested/1/link-to-folder")));
    ASSERT_TRUE(QFile::link(preciousFile, victim + QLatin1String("/link-to-file")));
    ASSERT_TRUE(QFile::link(QStringLiteral("/nonexistent"), victim + QLatin1String("/dangling")));

    KSTError error;
    EXPECT_TRUE(KSTTrash::removePermanently(victim, &error)) << qPrintable(error.description);
    EXPECT_FALSE(QFileInfo::exists(victim) || isSymlink(victim));
    EXPECT_EQ(entries(precious), (QStringList{QStringLiteral("a.txt"), QStringLiteral("deeper")}));
    EXPECT_EQ(readAll(precious + QLatin1String("/deeper/b.txt")), QByteArray("b"));
    EXPECT_EQ(readAll(preciousFile), QByteArray("p"));
    EXPECT_TRUE(QFileInfo(m_home + QLatin1String("/Library/Caches")).isDir());
}

TEST_P(KSTTrashTest, RemovePermanentlyTakesFilesLinksAndDeepTrees)
{
    const QString precious = m_outside + QLatin1String("/precious");
    writeFile(precious + QLatin1String("/a.txt"), "a");
    const QString file = m_home + QLatin1String("/file.txt");
    const QString link = m_home + QLatin1String("/link");
    QString deep = m_home + QLatin1String("/deep");
    const QString deepRoot = deep;
    for (int i = 0; i < 150; ++i)
        deep += QLatin1String("/d");
    writeFile(file, "f");
    writeFile(deep + QLatin1String("/bottom.txt"), "z");
    ASSERT_TRUE(QFile::link(precious, link));

    // The link given with a trailing slash is still the link, not the folder it names.
    for (const QString &path : QStringList{file, link + QLatin1Char('/'), deepRoot}) {
        KSTError error;
        EXPECT_TRUE(KSTTrash::removePermanently(path, &error)) << qPrintable(error.description);
    }
    EXPECT_EQ(entries(m_home), QStringList());
    EXPECT_EQ(readAll(precious + QLatin1String("/a.txt")), QByteArray("a"));

    KSTError error;
    EXPECT_FALSE(KSTTrash::removePermanently(file, &error));
    EXPECT_EQ(error.domain, QStringLiteral("NSCocoaErrorDomain"));
    EXPECT_EQ(error.code, 4);
}

#ifdef __linux__
// Root ignores permissions, but not the immutable attribute; a read-only folder does the job
// for everyone else.
bool makeUnremovable(const QString &file, const QString &folder, bool on)
{
    if (::getuid() != 0)
        return ::chmod(QFile::encodeName(folder).constData(), on ? 0500 : 0700) == 0;
    const int fd = ::open(QFile::encodeName(file).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    int flags = 0;
    bool done = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
    done = done && ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    ::close(fd);
    return done;
}

TEST_P(KSTTrashTest, RemovePermanentlyRemovesWhatItCanAndNamesTheFailure)
{
    const QString victim = m_home + QLatin1String("/victim");
    const QString stuckFolder = victim + QLatin1String("/stuck");
    const QString stuck = stuckFolder + QLatin1String("/file");
    writeFile(stuck, "s");
    writeFile(victim + QLatin1String("/before/1.txt"), "1");
    writeFile(victim + QLatin1String("/zafter.txt"), "2");
    if (!makeUnremovable(stuck, stuckFolder, true))
        GTEST_SKIP() << "cannot make an entry unremovable here";

    KSTError error;
    const bool removed = KSTTrash::removePermanently(victim, &error);
    makeUnremovable(stuck, stuckFolder, false);

    EXPECT_FALSE(removed);
    EXPECT_EQ(error.domain, QStringLiteral("NSCocoaErrorDomain"));
    EXPECT_EQ(error.code, 513); // NSFileWriteNoPermissionError
    EXPECT_EQ(error.userInfo.value(QStringLiteral("NSFilePath")).toString(), stuck);
    EXPECT_TRUE(error.userInfo.value(QStringLiteral("failedPaths")).toStringList().contains(stuck));
    EXPECT_TRUE(error.description.contains(stuck)) << qPrintable(error.description);
    EXPECT_EQ(entries(victim), QStringList{QStringLiteral("stuck")});
    EXPECT_EQ(readAll(stuck), QByteArray("s"));
}
#endif

// --- Across file systems -----------------------------------------------------------------

bool onSeparateWritableVolume(const QString &folder, const QString &comparedWith)
{
    struct stat a = {};
    struct stat b = {};
    return ::stat(QFile::encodeName(folder).constData(), &a) == 0 &&
           ::access(QFile::encodeName(folder).constData(), W_OK) == 0 &&
           ::stat(QFile::encodeName(comparedWith).constData(), &b) == 0 && a.st_dev != b.st_dev;
}

TEST_P(KSTTrashTest, NeverCopiesAcrossFileSystems)
{
    if (!onSeparateWritableVolume(QStringLiteral("/dev/shm"), m_root.path()))
        GTEST_SKIP() << "/dev/shm is not a separate, writable file system here";

    const QString topTrash = QStringLiteral("/dev/shm/.Trash-%1").arg(::getuid());
    const bool topTrashExisted = QFileInfo::exists(topTrash);
    QTemporaryDir elsewhere(QStringLiteral("/dev/shm/kst-trash-test-XXXXXX"));
    ASSERT_TRUE(elsewhere.isValid());
    const QString item = elsewhere.filePath(QStringLiteral("big file.bin"));
    writeFile(item, "on another volume");

    QString resulting;
    KSTError error;
    const bool moved = KSTTrash::moveToTrash(item, &resulting, &error);
    if (isMac()) {
        EXPECT_FALSE(moved);
        EXPECT_EQ(error.domain, QStringLiteral("NSCocoaErrorDomain"));
        EXPECT_EQ(error.userInfo.value(QStringLiteral("NSPOSIXErrorCode")).toInt(), EXDEV);
        EXPECT_TRUE(error.description.contains(QLatin1String("another volume")))
            << qPrintable(error.description);
        EXPECT_EQ(readAll(item), QByteArray("on another volume"));
        EXPECT_EQ(entries(trash()), QStringList());
    } else {
        // The volume's own trash, with a path relative to its top directory.
        ASSERT_TRUE(moved) << qPrintable(error.description);
        EXPECT_TRUE(resulting.startsWith(topTrash + QLatin1String("/files/")))
            << qPrintable(resulting);
        EXPECT_EQ(readAll(resulting), QByteArray("on another volume"));
        EXPECT_FALSE(QFileInfo::exists(item));
        EXPECT_EQ(permissions(topTrash), mode_t(0700));
        const QString name = QFileInfo(resulting).fileName();
        const QString info =
            topTrash + QLatin1String("/info/") + name + QLatin1String(".trashinfo");
        const QString relative = item.mid(QStringLiteral("/dev/shm/").size());
        const QByteArray expectedLine =
            "\nPath=" + QFile::encodeName(relative).replace(" ", "%20") + '\n';
        EXPECT_TRUE(readAll(info).contains(expectedLine)) << readAll(info).constData();
        EXPECT_EQ(KSTTrash::originalPathForTrashedItem(resulting), item);
        EXPECT_EQ(entries(trash()), QStringList());
        QFile::remove(info);
        QFile::remove(resulting);
    }
    if (!topTrashExisted)
        QDir(topTrash).removeRecursively();
}

// --- The freedesktop trash in detail -----------------------------------------------------

class KSTFreedesktopTrashTest : public KSTTrashTest
{
};

INSTANTIATE_TEST_SUITE_P(Linux, KSTFreedesktopTrashTest, ::testing::Values(KSTLayout::Linux));

// An administrator's sticky $topdir/.Trash takes precedence over .Trash-<uid>; one that is
// not sticky must be ignored.
TEST_P(KSTFreedesktopTrashTest, UsesTheVolumesSharedTrashOnlyWhenItIsSticky)
{
    const QString shared = QStringLiteral("/dev/shm/.Trash");
    if (!onSeparateWritableVolume(QStringLiteral("/dev/shm"), m_root.path()) ||
        QFileInfo::exists(shared) ||
        QFileInfo::exists(shared + QLatin1Char('-') + QString::number(::getuid())))
        GTEST_SKIP() << "/dev/shm is not a separate, writable, unused file system here";

    const struct
    {
        mode_t mode;
        QString trash;
    } rows[] = {
        {01777, shared + QLatin1Char('/') + QString::number(::getuid())},
        {0777, shared + QLatin1Char('-') + QString::number(::getuid())},
    };
    for (const auto &row : rows) {
        ASSERT_EQ(::mkdir(QFile::encodeName(shared).constData(), 0700), 0);
        ASSERT_EQ(::chmod(QFile::encodeName(shared).constData(), row.mode), 0);
        QTemporaryDir elsewhere(QStringLiteral("/dev/shm/kst-trash-test-XXXXXX"));
        ASSERT_TRUE(elsewhere.isValid());
        const QString item = elsewhere.filePath(QStringLiteral("item.txt"));
        writeFile(item, "x");
        QString resulting;
        KSTError error;
        const bool moved = KSTTrash::moveToTrash(item, &resulting, &error);
        QDir(shared).removeRecursively();
        QDir(shared + QLatin1Char('-') + QString::number(::getuid())).removeRecursively();
        ASSERT_TRUE(moved) << qPrintable(error.description);
        EXPECT_EQ(resulting, row.trash + QLatin1String("/files/item.txt")) << qPrintable(resulting);
    }
}

TEST_P(KSTFreedesktopTrashTest, WritesAPercentEncodedTrashInfoAndReadsItBack)
{
    const QString item = m_outside + QStringLiteral("/my docs/Grüße über #1%.txt");
    writeFile(item, "text");
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    QString resulting;
    ASSERT_TRUE(KSTTrash::moveToTrash(item, &resulting));
    const QDateTime after = QDateTime::currentDateTime().addSecs(1);

    EXPECT_EQ(resulting, trash() + QStringLiteral("/Grüße über #1%.txt"));
    const QString infoPath = QFileInfo(trash()).path() +
                             QStringLiteral("/info/Grüße über #1%.txt") +
                             QLatin1String(".trashinfo");
    const QList<QByteArray> lines = readAll(infoPath).split('\n');
    ASSERT_EQ(lines.size(), 4); // three lines and the final newline
    EXPECT_EQ(lines[0], QByteArray("[Trash Info]"));
    EXPECT_EQ(lines[1], "Path=" + QFile::encodeName(m_outside) +
                            "/my%20docs/Gr%C3%BC%C3%9Fe%20%C3%BCber%20%231%25.txt");
    ASSERT_TRUE(lines[2].startsWith("DeletionDate="));
    const QString stamp = QString::fromLatin1(lines[2].mid(13));
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d$"))
                    .match(stamp)
                    .hasMatch())
        << qPrintable(stamp);
    const QDateTime deleted = QDateTime::fromString(stamp, Qt::ISODate); // local time
    EXPECT_GE(deleted, before.addMSecs(-before.time().msec()));
    EXPECT_LE(deleted, after);
    EXPECT_EQ(lines[3], QByteArray());
    EXPECT_EQ(permissions(infoPath), mode_t(0600));

    EXPECT_EQ(KSTTrash::originalPathForTrashedItem(resulting), item);
}

TEST_P(KSTFreedesktopTrashTest, OriginalPathsOfItemsInsideTrashedFolders)
{
    const QString folder = m_outside + QLatin1String("/Album");
    writeFile(folder + QLatin1String("/2024/photo.jpg"), "jpg");
    QString resulting;
    ASSERT_TRUE(KSTTrash::moveToTrash(folder, &resulting));
    const struct
    {
        QString trashed;
        QString original;
    } rows[] = {
        {resulting, folder},
        {resulting + QLatin1String("/2024/photo.jpg"), folder + QLatin1String("/2024/photo.jpg")},
        {trash() + QLatin1String("/never-trashed"), QString()},
        {m_outside + QLatin1String("/elsewhere"), QString()},
    };
    for (const auto &row : rows)
        EXPECT_EQ(KSTTrash::originalPathForTrashedItem(row.trashed), row.original)
            << qPrintable(row.trashed);

    KSTEnvironment mac = KSTEnvironment::current();
    mac.setLayout(KSTLayout::Mac);
    KSTScopedEnvironment scope(mac);
    EXPECT_EQ(KSTTrash::originalPathForTrashedItem(resulting), QString());
}

TEST_P(KSTFreedesktopTrashTest, NamesHeldByStrayEntriesAreSkippedNotOverwritten)
{
    const QString base = QFileInfo(trash()).path();
    writeFile(trash() + QLatin1String("/note.txt"), "stray file without info");
    writeFile(base + QLatin1String("/info/note 2.txt.trashinfo"), "[Trash Info]\nPath=/x\n");
    const QString item = m_outside + QLatin1String("/note.txt");
    writeFile(item, "new");
    QString resulting;
    ASSERT_TRUE(KSTTrash::moveToTrash(item, &resulting));
    EXPECT_EQ(resulting, trash() + QLatin1String("/note 3.txt"));
    EXPECT_EQ(readAll(trash() + QLatin1String("/note.txt")), QByteArray("stray file without info"));
    EXPECT_EQ(readAll(base + QLatin1String("/info/note 2.txt.trashinfo")),
              QByteArray("[Trash Info]\nPath=/x\n"));
    // The info file the failed attempt reserved for "note.txt" was taken back.
    EXPECT_EQ(entries(base + QLatin1String("/info")),
              (QStringList{QStringLiteral("note 2.txt.trashinfo"),
                           QStringLiteral("note 3.txt.trashinfo")}));
}

// Qt 6.4's QFile::moveToTrash puts files/ and info/ into the current directory when
// ~/.local/share is missing, and calls that success. Ours creates the real trash instead.
TEST_P(KSTFreedesktopTrashTest, CreatesTheTrashInTheHomeNotInTheCurrentDirectory)
{
    ASSERT_FALSE(QFileInfo::exists(m_home + QLatin1String("/.local")));
    QTemporaryDir workingDirectory;
    ASSERT_TRUE(workingDirectory.isValid());
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(workingDirectory.path()));

    writeFile(QStringLiteral("relative.txt"), "r");
    QString resulting;
    KSTError error;
    const bool moved = KSTTrash::moveToTrash(QStringLiteral("relative.txt"), &resulting, &error);
    QDir::setCurrent(previous);

    ASSERT_TRUE(moved) << qPrintable(error.description);
    EXPECT_EQ(resulting, m_home + QLatin1String("/.local/share/Trash/files/relative.txt"));
    EXPECT_EQ(readAll(resulting), QByteArray("r"));
    EXPECT_EQ(entries(workingDirectory.path()), QStringList());
    EXPECT_EQ(KSTTrash::originalPathForTrashedItem(resulting),
              QDir(workingDirectory.path()).canonicalPath() + QLatin1String("/relative.txt"));
}

TEST_P(KSTFreedesktopTrashTest, TheHostUsersTrashLivesInXdgDataHome)
{
    const QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    ASSERT_FALSE(dataHome.isEmpty()); // the test main points it at a temporary folder
    KSTEnvironment host = KSTEnvironment::hostDefault();
    host.setLayout(KSTLayout::Linux);
    KSTScopedEnvironment scope(host);
    EXPECT_EQ(KSTTrash::trashDirectory(),
              QDir::cleanPath(dataHome) + QLatin1String("/Trash/files"));

    QTemporaryDir workingDirectory;
    ASSERT_TRUE(workingDirectory.isValid());
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(workingDirectory.path()));
    const QString item = m_outside + QLatin1String("/host.txt");
    writeFile(item, "h");
    QString resulting;
    KSTError error;
    const bool moved = KSTTrash::moveToTrash(item, &resulting, &error);
    QDir::setCurrent(previous);

    ASSERT_TRUE(moved) << qPrintable(error.description);
    EXPECT_TRUE(resulting.startsWith(KSTTrash::trashDirectory() + QLatin1Char('/')));
    EXPECT_EQ(readAll(resulting), QByteArray("h"));
    EXPECT_EQ(entries(workingDirectory.path()), QStringList());
    EXPECT_EQ(KSTTrash::originalPathForTrashedItem(resulting), item);
    KSTTrash::removePermanently(resulting);
    QFile::remove(QDir::cleanPath(dataHome) + QLatin1String("/Trash/info/") +
                  QFileInfo(resulting).fileName() + QLatin1String(".trashinfo"));
}

} // namespace
