#include "KSTPasswordFile.h"
#include "KSTHostileFiles.h"
#include "KSTTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(KSTPasswordFileTest, FindsOnlyWholeWellFormedLinesOfTheLogin)
{
    const struct
    {
        const char *name;
        QByteArray contents;
        const char *login;
        std::optional<uint> userId; // nullopt: not found
        const char *home;
    } cases[] = {
        {"a prefix of another login", "anna:x:1000:1000::/home/anna:/bin/sh\n", "ann", {}, ""},
        {"a longer login first", "annabel:x:7:7::/home/annabel:/bin/sh\nanna:x:8:8::/h/a:/bin/sh",
         "anna", 8, "/h/a"},
        {"the first of two lines wins",
         "anna:x:1000:1000::/home/anna:/bin/sh\nanna:x:0:0::/root:/bin/sh\n", "anna", 1000,
         "/home/anna"},
        {"CRLF line ends and an empty shell", "anna:x:1000:1000::/home/anna/:\r\n", "anna", 1000,
         "/home/anna"},
        {"a NIS marker is no user", "+anna:x:1:1::/home/anna:/bin/sh\n", "+anna", {}, ""},
        {"a uid past 32 bits", "anna:x:4294967296:1::/home/anna:/bin/sh\n", "anna", {}, ""},
        {"the largest uid", "anna:x:4294967295:1::/home/anna:/bin/sh\n", "anna", 4294967295u,
         "/home/anna"},
        {"six fields", "anna:x:1000:1000::/home/anna\n", "anna", {}, ""},
        {"an empty home", "anna:x:1000:1000:::/bin/sh\n", "anna", {}, ""},
        {"a NUL in the home", QByteArray("anna:x:1:1::/home/\0a:/bin/sh\n", 29), "anna", {}, ""},
        {"an overlong line is skipped",
         "anna:x:1:1:" + QByteArray(KSTPasswordFile::maximumLineBytes, 'g') +
             ":/home/anna:/bin/sh\nanna:x:2:2::/home/anna:/bin/sh\n",
         "anna", 2, "/home/anna"},
        {"an empty login", "::0:0::/:/bin/sh\n", "", {}, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const std::optional<KSTPasswordFile::Entry> entry =
            KSTPasswordFile::findLogin(c.contents, QString::fromLatin1(c.login));
        ASSERT_EQ(entry.has_value(), c.userId.has_value());
        if (entry) {
            EXPECT_EQ(entry->userId, *c.userId);
            EXPECT_EQ(entry->home, QString::fromLatin1(c.home));
            EXPECT_EQ(entry->login, QString::fromLatin1(c.login));
        }
    }
}

TEST(KSTPasswordFileTest, HostileFilesAreNotReadAndNeverBlock)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    const QString path = root.path() + "/passwd"_L1;
    const QByteArray line = "anna:x:1000:1000::/home/anna:/bin/sh\n";
    ASSERT_TRUE(KSTTestSupport::writeFile(path, line));
    ASSERT_TRUE(KSTPasswordFile::readLogin(path, u"anna"_s).has_value());

    ASSERT_TRUE(QFile::remove(path));
    ASSERT_TRUE(KSTHostileFiles::makeFifo(path));
    EXPECT_FALSE(KSTPasswordFile::readLogin(path, u"anna"_s).has_value());

    // The file is another machine's: a link (here to a valid file) would lead out of its root.
    ASSERT_TRUE(QFile::remove(path));
    const QString target = root.path() + "/elsewhere"_L1;
    ASSERT_TRUE(KSTTestSupport::writeFile(target, line));
    ASSERT_TRUE(QFile::link(target, path));
    EXPECT_FALSE(KSTPasswordFile::readLogin(path, u"anna"_s).has_value());

    ASSERT_TRUE(QFile::remove(path));
    ASSERT_TRUE(KSTHostileFiles::makeSparseFile(path, KSTPasswordFile::maximumFileBytes + 1, line));
    EXPECT_FALSE(KSTPasswordFile::readLogin(path, u"anna"_s).has_value());
}

} // namespace
