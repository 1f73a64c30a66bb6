// File names as bytes: every name survives decoding and encoding, and folders below the home
// are never reached through a link.
#include "KSTFileName.h"

#include "KSTEnvironment.h"
#include "KSTNoFollowPath.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

TEST(FileNameTest, EveryNameRoundTripsByItsBytes)
{
    const QByteArray names[] = {
        "plain.txt",
        "caf\xc3\xa9 \xf0\x9f\x98\x80.png", // é and an emoji: valid UTF-8
        "caf\xe9.txt",                      // Latin-1 é: not UTF-8
        "\xff\xfe",                         // never UTF-8
        "\xc0\xaf",                         // an overlong "/"
        "\xed\xa0\x80",                     // a surrogate written as UTF-8
        "\xf4\x90\x80\x80",                 // past U+10FFFF
        "trail\xe2\x82",                    // a sequence cut short
        "new\nline  ",                      // control characters and trailing spaces
    };
    for (const QByteArray &name : names) {
        const QString text = KSTFileName::decoded(name);
        EXPECT_EQ(KSTFileName::encoded(text), name) << name.toHex().toStdString();
        EXPECT_EQ(KSTFileName::hasEscapedBytes(text), QString::fromUtf8(name).toUtf8() != name)
            << name.toHex().toStdString();
    }
    EXPECT_EQ(KSTFileName::decoded("caf\xc3\xa9"), QString::fromUtf8("café"));
}

TEST(FileNameTest, EscapedBytesAreTellApartFromRealSurrogatePairs)
{
    // "a", the byte E9, an emoji (a surrogate pair whose low half looks like an escape to a
    // careless reader), the byte FF.
    const QString name = KSTFileName::decoded(QByteArray("a\xe9\xf0\x9f\x98\x80\xff"));
    ASSERT_EQ(name.size(), 5);
    const int expected[] = {-1, 0xe9, -1, -1, 0xff};
    for (qsizetype index = 0; index < name.size(); ++index)
        EXPECT_EQ(KSTFileName::escapedByteAt(name, index), expected[index]) << index;
    EXPECT_EQ(KSTFileName::escapedByteAt(name, -1), -1);
    EXPECT_EQ(KSTFileName::escapedByteAt(name, 5), -1);
    // A pair whose low half is in the escape range is a character, not a byte.
    const QString paired = QString::fromUtf16(u"\xD83D\xDC80");
    EXPECT_EQ(KSTFileName::escapedByteAt(paired, 1), -1);
    EXPECT_FALSE(KSTFileName::hasEscapedBytes(paired));
}

// Folders below the analysed home are reached without a link, whichever way the kernel offers.
TEST(NoFollowPathTest, NothingBelowTheHomeIsReachedThroughALink)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    const QString home = root.filePath(QStringLiteral("Users/me"));
    ASSERT_TRUE(QDir().mkpath(home + QStringLiteral("/Real/inner")));
    ASSERT_TRUE(QDir().mkpath(root.filePath(QStringLiteral("elsewhere"))));
    ASSERT_TRUE(KSTTestSupport::writeFile(home + QStringLiteral("/Real/inner/a.txt"), "a"));
    ASSERT_TRUE(QFile::link(home + QStringLiteral("/Real"), home + QStringLiteral("/Link")));
    ASSERT_TRUE(
        QFile::link(root.filePath(QStringLiteral("elsewhere")), home + QStringLiteral("/Out")));
    KSTEnvironment environment;
    environment.setRoot(root.path());
    environment.setHome(home);
    const KSTScopedEnvironment machine(environment);

    EXPECT_EQ(KSTNoFollowPath::listFolder(home + QStringLiteral("/Real/inner"), false),
              QStringList{QStringLiteral("a.txt")});
    for (const char *through : {"/Link", "/Link/inner", "/Out"}) {
        EXPECT_EQ(KSTNoFollowPath::openFolder(home + QLatin1String(through)), -1) << through;
        EXPECT_TRUE(errno == ELOOP || errno == ENOTDIR) << through;
        EXPECT_FALSE(KSTNoFollowPath::listFolder(home + QLatin1String(through), false)) << through;
    }
    // The link itself is held as the link.
    const std::optional<KSTHeldEntry> link = KSTNoFollowPath::hold(home + QStringLiteral("/Link"));
    ASSERT_TRUE(link);
    EXPECT_TRUE(link->isSymbolicLink());
    EXPECT_FALSE(KSTNoFollowPath::hold(home + QStringLiteral("/Link/inner/a.txt")));

    // The walk used where the kernel has no openat2 gives the same answers.
    const int homeFd = ::open(QFile::encodeName(home).constData(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(homeFd, 0);
    const int inner = KSTNoFollowPath::openBeneathByWalk(homeFd, "Real/inner", O_RDONLY);
    EXPECT_GE(inner, 0);
    ::close(inner);
    EXPECT_EQ(KSTNoFollowPath::openBeneathByWalk(homeFd, "Link/inner", O_RDONLY), -1);
    EXPECT_EQ(KSTNoFollowPath::openBeneathByWalk(homeFd, "Real/../../me", O_RDONLY), -1);
    const int linkFd = KSTNoFollowPath::openBeneathByWalk(homeFd, "Link", O_PATH);
    EXPECT_GE(linkFd, 0);
    ::close(linkFd);
    ::close(homeFd);
}

} // namespace
