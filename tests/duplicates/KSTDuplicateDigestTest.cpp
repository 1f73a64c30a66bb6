// The digests duplicates are grouped by, checked against Qt's own SHA-256 on both sides of
// every size boundary, and what they do with files that are not what they seem.
#include "KSTDuplicateDigest.h"

#include "KSTDuplicateTestSupport.h"
#include "KSTReadOnlyFile.h"
#include "KSTTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using Digest = KSTDuplicateDigest;
using namespace KSTDuplicateTestSupport;

namespace {

QString hex(const std::optional<KSTSHA256Digest> &digest)
{
    return digest ? Digest::hexStringFromDigest(*digest) : QStringLiteral("(none)");
}

class DuplicateDigestTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    QString write(const QString &name, const QByteArray &content)
    {
        const QString path = dir.filePath(name);
        EXPECT_TRUE(KSTTestSupport::writeFile(path, content));
        return path;
    }

    QTemporaryDir dir;
};

struct SizeCase
{
    qsizetype size;
    bool complete;
};

class DuplicateDigestSizeTest : public DuplicateDigestTest,
                                public ::testing::WithParamInterface<SizeCase>
{
};

TEST_P(DuplicateDigestSizeTest, ContentAndFullDigestsMatchAnIndependentSha256)
{
    const SizeCase c = GetParam();
    const QByteArray content = contentOfSize(c.size, quint32(c.size));
    const QString path = write(QStringLiteral("file.bin"), content);
    const KSTDuplicateFileRecord record = recordOf(path);

    const QByteArray fed = c.complete ? content : content.left(65536) + content.right(65536);
    bool complete = !c.complete;
    EXPECT_EQ(hex(Digest::contentDigestForRecord(record, &complete)),
              sha256Hex(sizePrefix(quint64(c.size)) + fed));
    EXPECT_EQ(complete, c.complete);

    // With and without a worker's scratch (whose buffer a larger file grew before).
    Digest::Scratch scratch;
    Digest::contentDigestForRecord(
        recordOf(write(QStringLiteral("big"), contentOfSize(5 << 20, 1))), nullptr, &scratch);
    EXPECT_EQ(hex(Digest::fullSHA256DigestForFileAtPath(path, quint64(c.size))),
              sha256Hex(content));
    EXPECT_EQ(hex(Digest::fullSHA256DigestForRecord(record, &scratch)), sha256Hex(content));
}

// Both sides of the whole-file limit, of the two samples meeting, and of the 4 MiB read.
INSTANTIATE_TEST_SUITE_P(Boundaries, DuplicateDigestSizeTest,
                         ::testing::Values(SizeCase{1, true}, SizeCase{65536, true},
                                           SizeCase{131072, true}, SizeCase{524287, true},
                                           SizeCase{524288, true}, SizeCase{524289, false},
                                           SizeCase{1048576, false}, SizeCase{4194304, false},
                                           SizeCase{4194305, false}, SizeCase{8388609, false}));

TEST_F(DuplicateDigestTest, HexIsTwoLowerCaseDigitsPerByte)
{
    EXPECT_EQ(Digest::hexStringFromDigest({}), QString());
    const quint8 bytes[] = {0x00, 0x0a, 0xff, 0x7c};
    EXPECT_EQ(Digest::hexStringFromDigest(bytes), QStringLiteral("000aff7c"));
}

TEST_F(DuplicateDigestTest, AFileShorterThanRecordedCountsWhatWasRead)
{
    const QByteArray content = contentOfSize(600, 3);
    KSTDuplicateFileRecord record = recordOf(write(QStringLiteral("shrunk"), content));
    record.bytes = 1000;
    bool complete = false;
    EXPECT_EQ(hex(Digest::contentDigestForRecord(record, &complete)),
              sha256Hex(sizePrefix(1000) + content));
    EXPECT_TRUE(complete);
    EXPECT_EQ(hex(Digest::fullSHA256DigestForFileAtPath(record.path, 1000)), sha256Hex(content));

    // Nothing at all to read is a failure, not the digest of nothing.
    KSTDuplicateFileRecord emptied = recordOf(write(QStringLiteral("emptied"), {}));
    emptied.bytes = 10;
    EXPECT_FALSE(Digest::contentDigestForRecord(emptied, nullptr));
    EXPECT_FALSE(Digest::fullSHA256DigestForRecord(emptied));
}

TEST_F(DuplicateDigestTest, OnlyTheRecordedRegularFileIsRead)
{
    const QString target = write(QStringLiteral("target"), contentOfSize(100, 4));
    const QString link = dir.filePath(QStringLiteral("link"));
    ASSERT_EQ(::symlink(QFile::encodeName(target).constData(), QFile::encodeName(link).constData()),
              0);
    const QString fifo = dir.filePath(QStringLiteral("fifo"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const QString folder = dir.filePath(QStringLiteral("folder"));
    ASSERT_TRUE(QDir().mkpath(folder));
    // A file replaced after the walk: same path and size, another inode.
    KSTDuplicateFileRecord replaced =
        recordOf(write(QStringLiteral("replaced"), contentOfSize(100, 5)));
    ASSERT_TRUE(QFile::remove(replaced.path));
    write(QStringLiteral("elsewhere"), {});
    write(QStringLiteral("replaced"), contentOfSize(100, 5));

    struct Case
    {
        const char *what;
        KSTDuplicateFileRecord record;
    };
    KSTDuplicateFileRecord linkRecord = recordOf(target);
    linkRecord.path = link;
    KSTDuplicateFileRecord fifoRecord{fifo, 100, QDateTime::currentDateTimeUtc(), {}};
    KSTDuplicateFileRecord folderRecord{folder, 100, QDateTime::currentDateTimeUtc(), {}};
    KSTDuplicateFileRecord missing{dir.filePath(QStringLiteral("missing")), 100, {}, {}};
    for (const Case &c : {Case{"a symbolic link", linkRecord}, Case{"a FIFO", fifoRecord},
                          Case{"a folder", folderRecord}, Case{"a replaced file", replaced},
                          Case{"a missing file", missing}}) {
        SCOPED_TRACE(c.what);
        EXPECT_FALSE(Digest::contentDigestForRecord(c.record, nullptr));
        EXPECT_FALSE(Digest::fullSHA256DigestForRecord(c.record));
        EXPECT_FALSE(Digest::sampleFingerprintForRecord(c.record));
    }
    EXPECT_FALSE(Digest::fullSHA256DigestForFileAtPath(fifo, 100));
    EXPECT_FALSE(Digest::fullSHA256DigestForFileAtPath(link, 100));
}

TEST_F(DuplicateDigestTest, SampleFingerprintsNeverSplitEqualFiles)
{
    struct Case
    {
        const char *what;
        QByteArray first;
        QByteArray second;
        bool equal;
    };
    const QByteArray small = contentOfSize(8192, 6);
    QByteArray smallMiddle = small;
    smallMiddle[4000] = char(smallMiddle[4000] ^ 1);
    // Up to 32 KiB a file is read whole; above, its head and tail blocks are sampled.
    const QByteArray wholeLimit = contentOfSize(32768, 11);
    QByteArray wholeLimitMiddle = wholeLimit;
    wholeLimitMiddle[16000] = char(wholeLimitMiddle[16000] ^ 1);
    const QByteArray aboveWhole = contentOfSize(32769, 12);
    QByteArray aboveWholeMiddle = aboveWhole;
    aboveWholeMiddle[16000] = char(aboveWholeMiddle[16000] ^ 1);
    const QByteArray large = contentOfSize(300000, 7);
    QByteArray largeMiddle = large;
    largeMiddle[150000] = char(largeMiddle[150000] ^ 1);
    QByteArray largeTail = large;
    largeTail[299999] = char(largeTail[299999] ^ 1);
    // Above 512 KiB blocks between head and tail are sampled too: a middle that differs
    // throughout is caught; a single byte between the samples is left to the digests.
    const QByteArray huge = contentOfSize(1 << 20, 9);
    QByteArray hugeMiddle =
        huge.left(65536) + contentOfSize((1 << 20) - 131072, 10) + huge.right(65536);
    QByteArray hugeByte = huge;
    hugeByte[4096 + 100] = char(hugeByte[4096 + 100] ^ 1);
    const Case cases[] = {
        {"equal small files", small, small, true},
        {"small files differing in the middle", small, smallMiddle, false},
        {"files read whole differing in the middle", wholeLimit, wholeLimitMiddle, false},
        {"files just above the whole read differing in the middle", aboveWhole, aboveWholeMiddle,
         true},
        {"equal files below the limit", large, large, true},
        {"files below the limit differing only in the middle", large, largeMiddle, true},
        {"files below the limit differing in the last byte", large, largeTail, false},
        {"equal files above the limit", huge, huge, true},
        {"files above the limit with other middles", huge, hugeMiddle, false},
        {"files above the limit differing between samples", huge, hugeByte, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const std::optional<quint64> first =
            Digest::sampleFingerprintForRecord(recordOf(write(QStringLiteral("a"), c.first)));
        const std::optional<quint64> second =
            Digest::sampleFingerprintForRecord(recordOf(write(QStringLiteral("b"), c.second)));
        ASSERT_TRUE(first && second);
        EXPECT_EQ(*first == *second, c.equal);
    }
}

TEST_F(DuplicateDigestTest, ReadOnlyFileRefusesWhatIsNotARegularFile)
{
    const QString fifo = dir.filePath(QStringLiteral("fifo"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    KSTReadOnlyFile file;
    EXPECT_FALSE(file.open(fifo)); // returns at once: no writer is waited for
    EXPECT_FALSE(file.open(QStringLiteral("/dev/zero")));
    EXPECT_FALSE(file.isOpen());

    const QByteArray content = contentOfSize(10000, 8);
    ASSERT_TRUE(file.open(write(QStringLiteral("plain"), content)));
    EXPECT_EQ(file.identity().size, 10000);
    QByteArray buffer(20000, 0);
    EXPECT_EQ(file.readAt(9000, buffer.data(), 5000), 1000);
    EXPECT_EQ(buffer.left(1000), content.right(1000));
    EXPECT_EQ(file.read(buffer.data(), 20000), 10000); // readAt left the position alone
    EXPECT_EQ(file.read(buffer.data(), 10), 0);
}

} // namespace
