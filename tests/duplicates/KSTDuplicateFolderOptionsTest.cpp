// The Duplicates screen's folder choice without its widgets, on fixture homes: which folders
// are offered and ticked, added folders, the remembered choice, and home-relative display.
#include "KSTDuplicateFolderOptions.h"

#include "KSTMachineTest.h"
#include "KSTPreferences.h"

#include <QDir>
#include <QSettings>

#include <gtest/gtest.h>

namespace {

using Options = KSTDuplicateFolderOptions;
using namespace Qt::StringLiterals;

class DuplicateFolderOptionsTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        KSTPreferences::standard()->clear();
    }

    // "name|displayPath|ticked|custom" per option.
    static QStringList describe(const QList<KSTDuplicateFolderOption> &options)
    {
        QStringList rows;
        for (const KSTDuplicateFolderOption &option : options) {
            rows << option.name + QLatin1Char('|') + option.displayPath + QLatin1Char('|') +
                        (option.selected ? u"ticked" : u"-") + QLatin1Char('|') +
                        (option.isCustom ? u"custom" : u"offered");
        }
        return rows;
    }

    QString home(const QString &relative) const { return mac.homePath(relative); }
};

TEST_F(DuplicateFolderOptionsTest, OffersTheHomeFoldersThatExistWithTheDefaultsTicked)
{
    struct Case
    {
        const char *what;
        QStringList removed; // home folders taken away first
        QStringList expected;
    };
    const std::vector<Case> cases = {
        {"a full home: Music is never offered",
         {},
         {u"Pictures|~/Pictures|ticked|offered"_s, u"Downloads|~/Downloads|ticked|offered"_s,
          u"Desktop|~/Desktop|-|offered"_s, u"Documents|~/Documents|-|offered"_s,
          u"Movies|~/Movies|-|offered"_s}},
        {"no Pictures: Downloads alone is ticked",
         {u"Pictures"_s},
         {u"Downloads|~/Downloads|ticked|offered"_s, u"Desktop|~/Desktop|-|offered"_s,
          u"Documents|~/Documents|-|offered"_s, u"Movies|~/Movies|-|offered"_s}},
        {"only Desktop: it is offered, not ticked",
         {u"Downloads"_s, u"Documents"_s, u"Movies"_s},
         {u"Desktop|~/Desktop|-|offered"_s}},
        {"none of them: the home itself, ticked", {u"Desktop"_s}, {u"alice|~|ticked|offered"_s}},
    };
    for (const Case &step : cases) {
        for (const QString &folder : step.removed)
            ASSERT_TRUE(QDir(home(folder)).removeRecursively()) << folder.toStdString();
        EXPECT_EQ(describe(Options::defaultFolderOptions()), step.expected) << step.what;
    }
}

TEST_F(DuplicateFolderOptionsTest, AddedFoldersAreTickedOnceAndTheChoiceIsRemembered)
{
    const QString disk = mac.makeDirectory(QStringLiteral("Volumes/Photo Disk"));
    QList<KSTDuplicateFolderOption> options = Options::defaultFolderOptions();
    options = Options::withCustomFolder(options, disk + QStringLiteral("/"));
    options = Options::withCustomFolder(options, disk); // the same folder again
    options = Options::withCustomFolder(options, {});   // a cancelled dialog
    options[0].selected = false;                        // Pictures unticked
    options = Options::withCustomFolder(options, home(QStringLiteral("Desktop"))); // offered
    ASSERT_EQ(options.size(), 6);
    EXPECT_EQ(describe(options).last(), QStringLiteral("Photo Disk|") + disk + u"|ticked|custom");
    EXPECT_EQ(
        Options::selectedPaths(options),
        (QStringList{home(QStringLiteral("Downloads")), home(QStringLiteral("Desktop")), disk}));

    Options::saveFolderOptions(options);
    EXPECT_FALSE(Options::scanOnOpen());
    Options::setScanOnOpen(true);
    EXPECT_TRUE(Options::scanOnOpen());
    EXPECT_EQ(describe(Options::savedFolderOptions()), describe(options));

    // An added folder that is gone is forgotten; the ticks of the others stay.
    ASSERT_TRUE(QDir(disk).removeRecursively());
    const QList<KSTDuplicateFolderOption> restored = Options::savedFolderOptions();
    EXPECT_EQ(restored.size(), 5);
    EXPECT_EQ(Options::selectedPaths(restored),
              (QStringList{home(QStringLiteral("Downloads")), home(QStringLiteral("Desktop"))}));
}

TEST_F(DuplicateFolderOptionsTest, DisplayPathsShowTheHomeAsTilde)
{
    const QString homePath = home({});
    EXPECT_EQ(Options::displayPathFor(home(QStringLiteral("Pictures/Trips"))),
              QStringLiteral("~/Pictures/Trips"));
    EXPECT_EQ(Options::displayPathFor(QDir::cleanPath(homePath)), QStringLiteral("~"));
    // A sibling whose name only starts like the home is not inside it.
    EXPECT_EQ(Options::displayPathFor(QDir::cleanPath(homePath) + QStringLiteral("2/x")),
              QDir::cleanPath(homePath) + QStringLiteral("2/x"));
    EXPECT_EQ(Options::displayPathFor(QStringLiteral("/Volumes/Disk")),
              QStringLiteral("/Volumes/Disk"));
}

} // namespace
