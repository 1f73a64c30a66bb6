#include "KSTTrash.h"

#include "KSTFileName.h"

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

#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/fs.h>
#include <sys/ioctl.h>
#endif

using namespace Qt::StringLiterals;

namespace {

using KSTTestSupport::readFile;
using KSTTestSupport::writeFile;

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

// The folder is on a file system of its own that we may write to.
bool onSeparateWritableVolume(const QString &folder, const QString &comparedWith)
{
    struct stat a = {};
    struct stat b = {};
    return ::stat(QFile::encodeName(folder).constData(), &a) == 0 &&
           ::access(QFile::encodeName(folder).constData(), W_OK) == 0 &&
           ::stat(QFile::encodeName(comparedWith).constData(), &b) == 0 && a.st_dev != b.st_dev;
}

// A machine with one user under a temporary root, in the layout of the test's parameter.
class KSTTrashTest : public ::testing::TestWithParam<KSTLayout>
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_root.isValid());
        m_home = m_root.filePath(u"Users/me"_s);
        m_outside = m_root.filePath(u"outside"_s);
        ASSERT_TRUE(QDir().mkpath(m_home));
        ASSERT_TRUE(QDir().mkpath(m_outside));
        KSTEnvironment environment;
        environment.setRoot(m_root.path());
        environment.setHome(m_home);
        environment.setLayout(GetParam());
        m_scope = std::make_unique<KSTScopedEnvironment>(environment);
    }

    bool isMac() const { return GetParam() == KSTLayout::Mac; }

    QString trash() const
    {
        return m_home + (isMac() ? "/.Trash"_L1 : "/.local/share/Trash/files"_L1);
    }

    // Moves @p path to the Trash and says where it went; empty, and a failure, when it fails.
    static QString trashed(const QString &path)
    {
        QString resulting;
        KSTError error;
        if (!KSTTrash::moveToTrash(path, &resulting, &error))
            ADD_FAILURE() << qPrintable(path) << ": " << qPrintable(error.description);
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

TEST_P(KSTTrashTest, NumbersNamesThatAreTakenAndKeepsEveryItemWhole)
{
    EXPECT_EQ(KSTTrash::trashDirectory(), trash());
    EXPECT_FALSE(QFileInfo::exists(trash())) << "created before its first use";
    const struct
    {
        const char *name;
        bool directory;
        int times; ///< how many items of that name are trashed
        const char *lastName;
    } rows[] = {
        {"report.pdf", false, 2, "report 2.pdf"},
        {"report.pdf", false, 1, "report 3.pdf"}, // continues after the previous row
        {"Photos.v2", true, 2, "Photos.v2 2"},    // folders keep dots in their names
        {".env", false, 3, ".env 3"},             // a dotfile's dot is not an extension
        {".config.json", false, 2, ".config 2.json"},
        {"archive.tar.gz", false, 2, "archive.tar 2.gz"},
        {"Makefile", false, 2, "Makefile 2"},
    };
    int folder = 0;
    for (const auto &row : rows) {
        QString resulting;
        for (int i = 0; i < row.times; ++i) {
            const QString path = m_outside + u"/%1/"_s.arg(++folder) + QString::fromUtf8(row.name);
            writeFile(row.directory ? path + "/inside.txt"_L1 : path, QByteArray::number(folder));
            resulting = trashed(path);
            EXPECT_FALSE(QFileInfo::exists(path)) << qPrintable(path);
        }
        EXPECT_EQ(resulting, trash() + u'/' + QString::fromUtf8(row.lastName));
        // The last one is whole: its own content, not an earlier item's.
        const QString file = row.directory ? resulting + "/inside.txt"_L1 : resulting;
        EXPECT_EQ(readFile(file), QByteArray::number(folder)) << row.name;
    }
    // Created private.
    EXPECT_EQ(permissions(trash()), mode_t(0700));
    if (!isMac()) {
        EXPECT_EQ(permissions(QFileInfo(trash()).path() + "/info"_L1), mode_t(0700));
    }
}

TEST_P(KSTTrashTest, LongNamesAreShortenedToFitAndOtherBytesAreKept)
{
    // 255 bytes: 125 two-byte characters and "x.pdf". A freedesktop trash also needs room for
    // ".trashinfo" after the name, so it shortens the first one already.
    const QString longName = QString(125, QChar(0xE9)) + "x.pdf"_L1;
    ASSERT_EQ(KSTFileName::encoded(longName).size(), 255);
    const qsizetype limit = isMac() ? 255 : 245;
    QStringList landed;
    for (int attempt = 1; attempt <= 2; ++attempt) {
        const QString path = m_outside + u"/%1/"_s.arg(attempt) + longName;
        writeFile(path, QByteArray::number(attempt));
        landed << trashed(path);
        const QString name = QFileInfo(landed.last()).fileName();
        EXPECT_LE(KSTFileName::encoded(name).size(), limit) << attempt;
        EXPECT_TRUE(name.startsWith(QChar(0xE9)));
        EXPECT_TRUE(name.endsWith(attempt == 1 ? ".pdf"_L1 : " 2.pdf"_L1)) << qPrintable(name);
        EXPECT_EQ(readFile(landed.last()), QByteArray::number(attempt));
    }

    // A name that is not UTF-8 is moved by its own bytes.
    const QByteArray bytes = QFile::encodeName(m_outside) + "/caf\xe9-\xff.txt";
    const int fd = ::open(bytes.constData(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    ASSERT_GE(fd, 0);
    ::close(fd);
    struct stat info = {};
    const QString moved = trashed(KSTFileName::decoded(bytes));
    EXPECT_EQ(KSTFileName::encoded(QFileInfo(moved).fileName()), QByteArray("caf\xe9-\xff.txt"));
    EXPECT_EQ(::lstat(KSTFileName::encoded(moved).constData(), &info), 0);
    EXPECT_NE(::lstat(bytes.constData(), &info), 0);
}

TEST_P(KSTTrashTest, AMissingItemIsAnErrorAndChangesNothing)
{
    QString resulting = u"unchanged"_s;
    KSTError error;
    const QString missing = m_outside + "/not-here.txt"_L1;
    EXPECT_FALSE(KSTTrash::moveToTrash(missing, &resulting, &error));
    EXPECT_EQ(resulting, u"unchanged"_s);
    EXPECT_EQ(error.domain, u"NSCocoaErrorDomain"_s);
    EXPECT_EQ(error.code, 4); // NSFileNoSuchFileError
    EXPECT_EQ(error.userInfo.value(u"NSFilePath"_s).toString(), missing);
    EXPECT_FALSE(KSTTrash::moveToTrash(QString(), nullptr, nullptr));
}

TEST_P(KSTTrashTest, ConcurrentMovesOfTheSameNameNeverOverwriteEachOther)
{
    constexpr int Threads = 4;
    constexpr int ItemsPerThread = 5;
    constexpr int Items = Threads * ItemsPerThread;
    std::vector<QString> sources;
    for (int i = 0; i < Items; ++i) {
        sources.push_back(m_outside + u"/%1/same.txt"_s.arg(i));
        writeFile(sources.back(), QByteArray::number(i));
    }
    std::vector<QString> results(Items); // where each item went; a slot per item, no lock
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = t * ItemsPerThread; i < (t + 1) * ItemsPerThread; ++i)
                results[size_t(i)] = trashed(sources[size_t(i)]);
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    for (int i = 0; i < Items; ++i)
        EXPECT_EQ(readFile(results[size_t(i)]), QByteArray::number(i))
            << qPrintable(results[size_t(i)]);
    EXPECT_EQ(QSet<QString>(results.begin(), results.end()).size(), Items);
    EXPECT_EQ(entries(trash()).size(), Items);
    if (!isMac()) {
        EXPECT_EQ(entries(QFileInfo(trash()).path() + "/info"_L1).size(), Items);
    }
}

// --- Links: moved or deleted as links, never followed -----------------------------------

TEST_P(KSTTrashTest, LinksAreMovedOrRemovedAsLinksAndTheirTargetsSurvive)
{
    const QString precious = m_outside + "/precious"_L1;
    writeFile(precious + "/a.txt"_L1, "a");
    writeFile(precious + "/deeper/b.txt"_L1, "b");
    const QString preciousFile = m_outside + "/precious.txt"_L1;
    writeFile(preciousFile, "p");

    // A trailing slash would make the kernel follow the link; the link is still what moves.
    const QString links = m_outside + "/links"_L1;
    ASSERT_TRUE(QDir().mkpath(links));
    ASSERT_TRUE(QFile::link(preciousFile, links + "/to-file"_L1));
    ASSERT_TRUE(QFile::link(precious, links + "/to-folder"_L1));
    for (const QString &link : QStringList{links + "/to-file"_L1, links + "/to-folder/"_L1})
        EXPECT_TRUE(isSymlink(trashed(link))) << qPrintable(link);
    EXPECT_EQ(entries(links), QStringList());

    // Deleted for good: links inside a deep tree, a link named with a trailing slash and a
    // plain file.
    const QString tree = m_home + "/Library/Caches/App"_L1;
    QString deep = tree;
    for (int i = 0; i < 150; ++i)
        deep += "/d"_L1;
    writeFile(deep + "/bottom.txt"_L1, "z");
    ASSERT_TRUE(QFile::link(precious, tree + "/link-to-folder"_L1));
    ASSERT_TRUE(QFile::link(precious, tree + "/d/d/d/link-to-folder"_L1));
    ASSERT_TRUE(QFile::link(preciousFile, tree + "/link-to-file"_L1));
    ASSERT_TRUE(QFile::link(u"/nonexistent"_s, tree + "/dangling"_L1));
    const QString link = m_home + "/link"_L1;
    ASSERT_TRUE(QFile::link(precious, link));
    const QString file = m_home + "/file.txt"_L1;
    writeFile(file, "f");

    for (const QString &path : QStringList{tree, link + u'/', file}) {
        KSTError error;
        EXPECT_TRUE(KSTTrash::removePermanently(path, &error)) << qPrintable(error.description);
        EXPECT_FALSE(QFileInfo::exists(path) || isSymlink(path)) << qPrintable(path);
    }
    EXPECT_EQ(entries(precious), (QStringList{u"a.txt"_s, u"deeper"_s}));
    EXPECT_EQ(readFile(precious + "/a.txt"_L1), QByteArray("a"));
    EXPECT_EQ(readFile(precious + "/deeper/b.txt"_L1), QByteArray("b"));
    EXPECT_EQ(readFile(preciousFile), QByteArray("p"));
    EXPECT_EQ(entries(m_home), (QStringList{isMac() ? u".Trash"_s : u".local"_s, u"Library"_s}));
    EXPECT_TRUE(QFileInfo(m_home + "/Library/Caches"_L1).isDir());

    KSTError error;
    EXPECT_FALSE(KSTTrash::removePermanently(file, &error));
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
    const QString victim = m_home + "/victim"_L1;
    const QString stuckFolder = victim + "/stuck"_L1;
    const QString stuck = stuckFolder + "/file"_L1;
    writeFile(stuck, "s");
    writeFile(victim + "/before/1.txt"_L1, "1");
    writeFile(victim + "/zafter.txt"_L1, "2");
    if (!makeUnremovable(stuck, stuckFolder, true))
        GTEST_SKIP() << "cannot make an entry unremovable here";

    KSTError error;
    const bool removed = KSTTrash::removePermanently(victim, &error);
    makeUnremovable(stuck, stuckFolder, false);

    EXPECT_FALSE(removed);
    EXPECT_EQ(error.code, 513); // NSFileWriteNoPermissionError
    EXPECT_EQ(error.userInfo.value(u"NSFilePath"_s).toString(), stuck);
    EXPECT_TRUE(error.userInfo.value(u"failedPaths"_s).toStringList().contains(stuck));
    EXPECT_EQ(entries(victim), QStringList{u"stuck"_s});
    EXPECT_EQ(readFile(stuck), QByteArray("s"));
}
#endif

// --- Across file systems: never a silent copy --------------------------------------------

class KSTMacTrashTest : public KSTTrashTest
{
};

INSTANTIATE_TEST_SUITE_P(Mac, KSTMacTrashTest, ::testing::Values(KSTLayout::Mac));

TEST_P(KSTMacTrashTest, RefusesAnItemOnAnotherVolume)
{
    if (!onSeparateWritableVolume(u"/dev/shm"_s, m_root.path()))
        GTEST_SKIP() << "/dev/shm is not a separate, writable file system here";
    QTemporaryDir elsewhere(u"/dev/shm/kst-trash-test-XXXXXX"_s);
    ASSERT_TRUE(elsewhere.isValid());
    const QString item = elsewhere.filePath(u"big file.bin"_s);
    writeFile(item, "on another volume");
    KSTError error;
    EXPECT_FALSE(KSTTrash::moveToTrash(item, nullptr, &error));
    EXPECT_EQ(error.userInfo.value(u"NSPOSIXErrorCode"_s).toInt(), EXDEV);
    EXPECT_EQ(readFile(item), QByteArray("on another volume"));
    EXPECT_EQ(entries(trash()), QStringList());
}

class KSTFreedesktopTrashTest : public KSTTrashTest
{
};

INSTANTIATE_TEST_SUITE_P(Linux, KSTFreedesktopTrashTest, ::testing::Values(KSTLayout::Linux));

// An administrator's sticky $topdir/.Trash takes precedence over .Trash-<uid>; one that is
// not sticky must be ignored, or other users could tamper with what is trashed there.
TEST_P(KSTFreedesktopTrashTest, AnItemOnAnotherVolumeGoesToThatVolumesTrash)
{
    const QString shared = u"/dev/shm/.Trash"_s;
    const QString own = shared + u'-' + QString::number(::getuid());
    if (!onSeparateWritableVolume(u"/dev/shm"_s, m_root.path()) || QFileInfo::exists(shared) ||
        QFileInfo::exists(own))
        GTEST_SKIP() << "/dev/shm is not a separate, writable, unused file system here";

    const std::pair<mode_t, QString> rows[] = {
        {01777, shared + u'/' + QString::number(::getuid())},
        {0777, own},
    };
    for (const auto &[sharedMode, expectedTrash] : rows) {
        ASSERT_EQ(::mkdir(QFile::encodeName(shared).constData(), 0700), 0);
        ASSERT_EQ(::chmod(QFile::encodeName(shared).constData(), sharedMode), 0);
        QTemporaryDir elsewhere(u"/dev/shm/kst-trash-test-XXXXXX"_s);
        ASSERT_TRUE(elsewhere.isValid());
        const QString item = elsewhere.filePath(u"big file.bin"_s);
        writeFile(item, "x");
        const QString resulting = trashed(item);
        const QByteArray info = readFile(expectedTrash + "/info/big file.bin.trashinfo"_L1);
        const QString original = KSTTrash::originalPathForTrashedItem(resulting);
        const mode_t mode = permissions(expectedTrash);
        QDir(shared).removeRecursively();
        QDir(own).removeRecursively();
        EXPECT_EQ(resulting, expectedTrash + "/files/big file.bin"_L1);
        EXPECT_EQ(mode, mode_t(0700));
        // The recorded path is relative to the volume's top directory.
        const QByteArray line =
            "\nPath=" + QFile::encodeName(item.section(u'/', 3)).replace(" ", "%20") + '\n';
        EXPECT_TRUE(info.contains(line)) << info.data();
        EXPECT_EQ(original, item);
        EXPECT_EQ(entries(trash()), QStringList());
    }
}

TEST_P(KSTFreedesktopTrashTest, WritesAPercentEncodedTrashInfoAndReadsOriginalPathsBack)
{
    const QString folder = m_outside + u"/my docs/Grüße über #1%"_s;
    writeFile(folder + "/2024/photo.jpg"_L1, "jpg");
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    const QString resulting = trashed(folder);
    const QDateTime after = QDateTime::currentDateTime().addSecs(1);

    EXPECT_EQ(resulting, trash() + u"/Grüße über #1%"_s);
    const QString infoPath =
        QFileInfo(trash()).path() + u"/info/Grüße über #1%"_s + ".trashinfo"_L1;
    const QList<QByteArray> lines = readFile(infoPath).split('\n');
    ASSERT_EQ(lines.size(), 4); // three lines and the final newline
    EXPECT_EQ(lines[0], QByteArray("[Trash Info]"));
    EXPECT_EQ(lines[1], "Path=" + QFile::encodeName(m_outside) +
                            "/my%20docs/Gr%C3%BC%C3%9Fe%20%C3%BCber%20%231%25");
    // Local time, to the second, without a zone.
    const QString stamp = QString::fromLatin1(lines[2]);
    ASSERT_TRUE(QRegularExpression(u"^DeletionDate=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d$"_s)
                    .match(stamp)
                    .hasMatch())
        << qPrintable(stamp);
    const QDateTime deleted = QDateTime::fromString(stamp.mid(13), Qt::ISODate);
    EXPECT_GE(deleted, before.addMSecs(-before.time().msec()));
    EXPECT_LE(deleted, after);
    EXPECT_EQ(permissions(infoPath), mode_t(0600));

    const std::pair<QString, QString> rows[] = {
        {resulting, folder},
        {resulting + "/2024/photo.jpg"_L1, folder + "/2024/photo.jpg"_L1},
        {trash() + "/never-trashed"_L1, QString()},
        {m_outside + "/elsewhere"_L1, QString()},
    };
    for (const auto &[path, original] : rows)
        EXPECT_EQ(KSTTrash::originalPathForTrashedItem(path), original) << qPrintable(path);

    // A FIFO planted as an item's .trashinfo is never waited on.
    writeFile(trash() + "/piped"_L1, "x");
    const QString info = QFileInfo(trash()).path() + "/info/piped.trashinfo"_L1;
    ASSERT_EQ(::mkfifo(QFile::encodeName(info).constData(), 0600), 0);
    EXPECT_EQ(KSTTrash::originalPathForTrashedItem(trash() + "/piped"_L1), QString());
}

TEST_P(KSTFreedesktopTrashTest, NamesHeldByStrayEntriesAreSkippedNotOverwritten)
{
    const QString info = QFileInfo(trash()).path() + "/info"_L1;
    writeFile(trash() + "/note.txt"_L1, "stray file without info");
    writeFile(info + "/note 2.txt.trashinfo"_L1, "[Trash Info]\nPath=/x\n");
    const QString item = m_outside + "/note.txt"_L1;
    writeFile(item, "new");
    EXPECT_EQ(trashed(item), trash() + "/note 3.txt"_L1);
    EXPECT_EQ(readFile(trash() + "/note.txt"_L1), QByteArray("stray file without info"));
    EXPECT_EQ(readFile(info + "/note 2.txt.trashinfo"_L1), QByteArray("[Trash Info]\nPath=/x\n"));
    // The info file the failed attempt reserved for "note.txt" was taken back.
    EXPECT_EQ(entries(info), (QStringList{u"note 2.txt.trashinfo"_s, u"note 3.txt.trashinfo"_s}));
}

// Qt 6.4's QFile::moveToTrash puts files/ and info/ into the current directory when
// ~/.local/share is missing, and calls that success. Ours creates the real trash instead.
TEST_P(KSTFreedesktopTrashTest, CreatesTheTrashInTheHomeNotInTheCurrentDirectory)
{
    ASSERT_FALSE(QFileInfo::exists(m_home + "/.local"_L1));
    QTemporaryDir workingDirectory;
    ASSERT_TRUE(workingDirectory.isValid());
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(workingDirectory.path()));
    writeFile(u"relative.txt"_s, "r");
    const QString resulting = trashed(u"relative.txt"_s);
    QDir::setCurrent(previous);
    EXPECT_EQ(resulting, m_home + "/.local/share/Trash/files/relative.txt"_L1);
    EXPECT_EQ(readFile(resulting), QByteArray("r"));
    EXPECT_EQ(entries(workingDirectory.path()), QStringList());
    EXPECT_EQ(KSTTrash::originalPathForTrashedItem(resulting),
              QDir(workingDirectory.path()).canonicalPath() + "/relative.txt"_L1);
}

TEST_P(KSTFreedesktopTrashTest, TheHostUsersTrashLivesInXdgDataHome)
{
    const QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    ASSERT_FALSE(dataHome.isEmpty()); // the test main points it at a temporary folder
    KSTEnvironment host = KSTEnvironment::hostDefault();
    host.setLayout(KSTLayout::Linux);
    KSTScopedEnvironment scope(host);
    const QString files = QDir::cleanPath(dataHome) + "/Trash/files"_L1;
    EXPECT_EQ(KSTTrash::trashDirectory(), files);

    const QString item = m_outside + "/host.txt"_L1;
    writeFile(item, "h");
    const QString resulting = trashed(item);
    EXPECT_EQ(QFileInfo(resulting).path(), files);
    EXPECT_EQ(KSTTrash::originalPathForTrashedItem(resulting), item);
    KSTTrash::removePermanently(resulting);
    QFile::remove(QDir::cleanPath(dataHome) + "/Trash/info/"_L1 + QFileInfo(resulting).fileName() +
                  ".trashinfo"_L1);
}

} // namespace
