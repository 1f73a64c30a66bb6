#include "KSTFixtureLinux.h"
#include "KSTEnvironment.h"
#include "KSTLinuxPlaces.h"

#include <QFileInfo>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using Folder = KSTLinuxPlaces::UserFolder;

namespace {

// The fixture is only worth its tests when the program finds the machine on its own: the
// environment built from "--root" must be the one the fixture hands to engines.
TEST(KSTFixtureLinuxTest, CommandLineFindsTheFixtureUser)
{
    KSTFixtureLinux machine(u"bob"_s, 1234);
    ASSERT_TRUE(machine.isValid());
    QString error;
    const auto found = KSTEnvironment::fromOptions({machine.root(), {}, {}, {}}, &error);
    ASSERT_TRUE(found) << qPrintable(error);
    const KSTEnvironment expected = machine.environment();
    EXPECT_EQ(found->layout(), KSTLayout::Linux);
    EXPECT_EQ(found->loginName(), expected.loginName());
    EXPECT_EQ(found->home(), expected.home());
    EXPECT_EQ(found->userId(), 1234u);
    EXPECT_EQ(found->root(), expected.root());
}

struct UserDirsCase
{
    const char *name;
    QList<KSTFixtureLinux::UserDir> lines;
    Folder folder;
    const char *expectedHomeRelative; // nullptr: switched off
};

class KSTFixtureLinuxUserDirsTest : public ::testing::TestWithParam<UserDirsCase>
{
};

TEST_P(KSTFixtureLinuxUserDirsTest, PlacesFollowTheWrittenFile)
{
    const UserDirsCase &row = GetParam();
    KSTFixtureLinux machine;
    if (!row.lines.isEmpty())
        machine.writeUserDirs(row.lines);
    const auto places = machine.environment().places();
    const QString folder = places->userFolder(row.folder);
    if (!row.expectedHomeRelative) {
        EXPECT_TRUE(folder.isEmpty()) << qPrintable(folder);
    } else {
        EXPECT_EQ(folder, machine.homePath(QString::fromUtf8(row.expectedHomeRelative)));
        EXPECT_TRUE(QFileInfo(folder).isDir()) << qPrintable(folder);
    }
    EXPECT_EQ(places->dataHome(), machine.homePath(u".local/share"_s));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, KSTFixtureLinuxUserDirsTest,
    ::testing::Values(
        UserDirsCase{"English", {}, Folder::Movies, "Videos"},
        UserDirsCase{"EnglishDownloads", {}, Folder::Downloads, "Downloads"},
        UserDirsCase{"Localised", {{u"PICTURES"_s, u"$HOME/Bilder"_s}}, Folder::Pictures, "Bilder"},
        UserDirsCase{"SwitchedOff", {{u"DOWNLOAD"_s, u"$HOME/"_s}}, Folder::Downloads, nullptr},
        UserDirsCase{
            "MissingKeyIsEnglish", {{u"MUSIC"_s, u"$HOME/Musik"_s}}, Folder::Pictures, "Pictures"}),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
