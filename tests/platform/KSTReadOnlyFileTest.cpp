// Reading files of the analysed machine: what each kind of path gives, and that none of them
// blocks the reader.
#include "KSTReadOnlyFile.h"

#include "KSTHostileFiles.h"
#include "KSTTestSupport.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <future>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Status = KSTReadOnlyFile::Status;

namespace {

class KSTReadOnlyFileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        ASSERT_TRUE(KSTTestSupport::writeFile(path(u"small"_s), "0123456789"));
        ASSERT_TRUE(KSTTestSupport::writeFile(path(u"empty"_s), {}));
        ASSERT_TRUE(KSTHostileFiles::makeFifo(path(u"fifo"_s)));
        ASSERT_TRUE(KSTHostileFiles::makeSparseFile(path(u"sparse"_s), 4ll << 30, "head"));
        ASSERT_TRUE(QFile::link(path(u"small"_s), path(u"link"_s)));
        ASSERT_TRUE(QFile::link(path(u"fifo"_s), path(u"link-to-fifo"_s)));
        ASSERT_TRUE(bindSocket(path(u"socket"_s)));
    }

    void TearDown() override
    {
        if (m_socket >= 0)
            ::close(m_socket);
    }

    QString path(const QString &name) const { return dir.filePath(name); }

    // A call that blocks fails the test instead of hanging it: after a while the FIFO gets a
    // writer, which lets a stuck open or read end.
    template <typename Call> std::optional<Status> withoutBlocking(Call call)
    {
        auto future = std::async(std::launch::async, call);
        if (future.wait_for(std::chrono::seconds(10)) == std::future_status::ready)
            return future.get();
        QFile writer(path(u"fifo"_s));
        writer.open(QIODevice::WriteOnly);
        return std::nullopt;
    }

    bool bindSocket(const QString &socketPath)
    {
        m_socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray encoded = QFile::encodeName(socketPath);
        if (m_socket < 0 || size_t(encoded.size()) >= sizeof address.sun_path)
            return false;
        std::copy(encoded.begin(), encoded.end(), address.sun_path);
        return ::bind(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    }

    QTemporaryDir dir;
    int m_socket = -1;
};

TEST_F(KSTReadOnlyFileTest, ReadsOnlyRegularFilesWithinTheLimit)
{
    const struct
    {
        const char *name;
        qint64 limit;
        Status status;
        QByteArray contents;
        const char *reason;
    } rows[] = {
        {"small", 10, Status::Read, "0123456789", ""},
        {"small", 9, Status::TooLarge, "", "larger than 9 bytes"},
        {"empty", 0, Status::Read, "", ""},
        {"link", 100, Status::Read, "0123456789", ""},
        {"sparse", 1 << 20, Status::TooLarge, "", "so it was not read"},
        {"fifo", 100, Status::NotRegular, "", "not a regular file"},
        {"link-to-fifo", 100, Status::NotRegular, "", "not a regular file"},
        {"socket", 100, Status::NotRegular, "", "not a regular file"},
        {".", 100, Status::NotRegular, "", "not a regular file"},
        {"missing", 100, Status::Missing, "", "does not exist"},
        {"small/inside", 100, Status::Missing, "", "does not exist"},
    };
    for (const auto &row : rows) {
        const QString file = path(QLatin1String(row.name));
        QByteArray contents = "stale";
        QString error;
        const std::optional<Status> status = withoutBlocking(
            [&] { return KSTReadOnlyFile::readWholeFile(file, row.limit, &contents, &error); });
        ASSERT_TRUE(status.has_value()) << row.name << " blocked";
        EXPECT_EQ(*status, row.status) << row.name;
        EXPECT_EQ(contents, row.contents) << row.name;
        EXPECT_TRUE(error.contains(QLatin1String(row.reason))) << qPrintable(error);
        EXPECT_EQ(error.isEmpty(), row.status == Status::Read) << row.name;
        EXPECT_EQ(KSTReadOnlyFile::isReadableRegularFile(file),
                  row.status == Status::Read || row.status == Status::TooLarge)
            << row.name;
    }
    // A device is refused before it is opened: /dev/zero would never end.
    QByteArray contents;
    EXPECT_EQ(KSTReadOnlyFile::readWholeFile(u"/dev/zero"_s, 100, &contents), Status::NotRegular);
}

TEST_F(KSTReadOnlyFileTest, PrefixReadsTheStartOfAFileOfAnySize)
{
    QByteArray contents;
    EXPECT_EQ(KSTReadOnlyFile::readPrefix(path(u"sparse"_s), 4, &contents), Status::Read);
    EXPECT_EQ(contents, QByteArray("head"));
    EXPECT_EQ(KSTReadOnlyFile::readPrefix(path(u"small"_s), 100, &contents), Status::Read);
    EXPECT_EQ(contents, QByteArray("0123456789"));
    const std::optional<Status> fifo =
        withoutBlocking([&] { return KSTReadOnlyFile::readPrefix(path(u"fifo"_s), 1, &contents); });
    ASSERT_TRUE(fifo.has_value());
    EXPECT_EQ(*fifo, Status::NotRegular);
    EXPECT_TRUE(contents.isEmpty());
}

TEST_F(KSTReadOnlyFileTest, TheHandleRefusesAFinalLinkThatTheReadersByPathFollow)
{
    const struct
    {
        const char *name;
        bool handleOpens;
        Status byPath;
    } rows[] = {
        {"small", true, Status::Read},       {"link", false, Status::Read},
        {"fifo", false, Status::NotRegular}, {"link-to-fifo", false, Status::NotRegular},
        {"missing", false, Status::Missing},
    };
    for (const auto &row : rows) {
        const QString file = path(QLatin1String(row.name));
        KSTReadOnlyFile handle;
        const std::optional<Status> opened =
            withoutBlocking([&] { return handle.open(file) ? Status::Read : Status::NotRegular; });
        ASSERT_TRUE(opened.has_value()) << row.name << " blocked";
        EXPECT_EQ(*opened == Status::Read, row.handleOpens) << row.name;
        QByteArray contents;
        EXPECT_EQ(withoutBlocking([&] { return KSTReadOnlyFile::readPrefix(file, 4, &contents); }),
                  row.byPath)
            << row.name;
    }
    KSTReadOnlyFile handle;
    ASSERT_TRUE(handle.open(path(u"small"_s)));
    EXPECT_EQ(handle.identity().size, 10);
    char buffer[4] = {};
    EXPECT_EQ(handle.readAt(6, buffer, 4), 4);
    EXPECT_EQ(QByteArray(buffer, 4), QByteArray("6789"));
}

TEST_F(KSTReadOnlyFileTest, ReadingAnOwnFileBelowAFolderLeavesItsAccessTimeAlone)
{
#ifndef O_NOATIME
    GTEST_SKIP() << "this system has no way to read without touching the access time";
#endif
    // Old enough that a relatime mount would update it on the next read.
    const QByteArray file = QFile::encodeName(path(u"small"_s));
    const timespec times[2] = {{::time(nullptr) - 3 * 86400, 0}, {::time(nullptr) - 4 * 86400, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.constData(), times, 0), 0);
    const int folder = ::open(QFile::encodeName(dir.path()).constData(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(folder, 0);
    KSTReadOnlyFile handle;
    ASSERT_TRUE(handle.openBeneath(folder, "small"));
    char buffer[10] = {};
    EXPECT_EQ(handle.readAt(0, buffer, 10), 10);
    handle.close();
    ::close(folder);
    struct stat status = {};
    ASSERT_EQ(::stat(file.constData(), &status), 0);
    EXPECT_EQ(status.st_atim.tv_sec, times[0].tv_sec);
}

} // namespace
