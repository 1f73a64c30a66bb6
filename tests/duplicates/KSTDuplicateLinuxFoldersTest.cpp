// The Duplicates folders on a fixture Linux home: the default scan and the offered folders
// follow the user folders of user-dirs.dirs, whatever they are called, and a switched-off one
// is left out without the home taking its place.
#include "KSTDuplicateEngine.h"
#include "KSTDuplicateFolderOptions.h"

#include "KSTFixtureLinux.h"
#include "KSTPermissionChecker.h"
#include "KSTPreferences.h"

#include <QSettings>

#include <gtest/gtest.h>

#include <ostream>

namespace {

using namespace Qt::StringLiterals;
using UserDir = KSTFixtureLinux::UserDir;

struct FolderCase
{
    const char *name;
    QList<UserDir> userDirs; // replaces the English user-dirs.dirs when not empty
    QStringList makeFolders; // root-relative folders made first
    QStringList defaults;    // expected scan paths, "~/" for the home, "/" root-relative
    QStringList offered;     // expected "name|ticked" per option
};

// Failures name the row rather than dumping its bytes.
void PrintTo(const FolderCase &row, std::ostream *out)
{
    *out << row.name;
}

class KSTDuplicateLinuxFoldersTest : public ::testing::TestWithParam<FolderCase>
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid());
        machine.activate();
        KSTPermissionChecker::resetForTesting();
        KSTPreferences::standard()->clear();
    }
    void TearDown() override { KSTPermissionChecker::resetForTesting(); }

    QString expand(const QString &path) const
    {
        if (path == u"~"_s)
            return machine.home();
        if (path.startsWith(u"~/"_s))
            return machine.homePath(path.mid(2));
        return machine.path(path.mid(1));
    }

    KSTFixtureLinux machine;
};

TEST_P(KSTDuplicateLinuxFoldersTest, DefaultsAndOptionsFollowTheUserFolders)
{
    const FolderCase &row = GetParam();
    for (const QString &folder : row.makeFolders)
        machine.makeDirectory(folder);
    if (!row.userDirs.isEmpty())
        machine.writeUserDirs(row.userDirs);
    // Places are built per environment: make the rewritten file count.
    machine.activate();

    QStringList expectedDefaults;
    for (const QString &path : row.defaults)
        expectedDefaults << expand(path);
    EXPECT_EQ(KSTDuplicateEngine::defaultDuplicateScanPaths(), expectedDefaults);

    QStringList offered;
    for (const KSTDuplicateFolderOption &option : KSTDuplicateFolderOptions::defaultFolderOptions())
        offered << option.name + (option.selected ? u"|ticked"_s : u"|-"_s);
    EXPECT_EQ(offered, row.offered);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, KSTDuplicateLinuxFoldersTest,
    ::testing::Values(FolderCase{"EnglishHome",
                                 {},
                                 {},
                                 {u"~/Pictures"_s, u"~/Downloads"_s},
                                 {u"Pictures|ticked"_s, u"Downloads|ticked"_s, u"Desktop|-"_s,
                                  u"Documents|-"_s, u"Videos|-"_s}},
                      FolderCase{"LocalisedHome",
                                 {{u"PICTURES"_s, u"$HOME/Bilder"_s},
                                  {u"DOWNLOAD"_s, u"$HOME/Downloads"_s},
                                  {u"VIDEOS"_s, u"$HOME/Videos"_s},
                                  {u"DESKTOP"_s, u"$HOME/Schreibtisch"_s},
                                  {u"DOCUMENTS"_s, u"$HOME/Dokumente"_s}},
                                 {},
                                 {u"~/Bilder"_s, u"~/Downloads"_s},
                                 {u"Bilder|ticked"_s, u"Downloads|ticked"_s, u"Schreibtisch|-"_s,
                                  u"Dokumente|-"_s, u"Videos|-"_s}},
                      FolderCase{"AbsolutePicturesUnderTheRoot",
                                 {{u"PICTURES"_s, u"/srv/photos"_s}},
                                 {u"srv/photos"_s},
                                 {u"/srv/photos"_s, u"~/Downloads"_s},
                                 {u"photos|ticked"_s, u"Downloads|ticked"_s, u"Desktop|-"_s,
                                  u"Documents|-"_s, u"Videos|-"_s}},
                      FolderCase{
                          "DownloadsSwitchedOff",
                          {{u"DOWNLOAD"_s, u"$HOME/"_s}},
                          {},
                          {u"~/Pictures"_s},
                          {u"Pictures|ticked"_s, u"Desktop|-"_s, u"Documents|-"_s, u"Videos|-"_s}},
                      FolderCase{"BothSwitchedOffNeverScanTheHome",
                                 {{u"DOWNLOAD"_s, u"$HOME"_s}, {u"PICTURES"_s, u"/usr"_s}},
                                 {},
                                 {},
                                 {u"Desktop|-"_s, u"Documents|-"_s, u"Videos|-"_s}}),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
