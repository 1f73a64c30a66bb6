// The Utilities commands run as the real program on the fixture Debian desktop: one pass that
// each command reaches the desktop's own places under the linux layout. What each place holds
// is the engines' (KSTStartupItemsLinuxTest, KSTDefaultAppsLinuxTest,
// KSTUtilitiesLinuxPlacesTest); what the changes may touch is the hostile-home suite's.
#include "KSTDebianDesktop.h"
#include "KSTFixtureLinux.h"
#include "KSTProgramProcess.h"
#include "KSTTestSupport.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

KSTProgramRun runOnLinux(const KSTFixtureLinux &machine, const QStringList &arguments)
{
    return KSTTestSupport::runProgram(
        QStringLiteral(KESTREL_EXECUTABLE),
        QStringList{"--root", machine.root(), "--layout", "linux"} + arguments, {});
}

TEST(LinuxUtilitiesCommandTest, EachCommandReadsTheDesktopsOwnPlaces)
{
    KSTFixtureLinux machine;
    ASSERT_TRUE(machine.isValid());
    KSTDebianDesktop::populate(machine);

    const KSTProgramRun startup = runOnLinux(machine, {"--json", "startup"});
    ASSERT_EQ(startup.status, 0) << startup.err.toStdString();
    EXPECT_EQ(startup.json().object().value("bootImpact"), "High");
    EXPECT_EQ(startup.json().object().value("items").toArray().size(), 7);
    KSTFixtureLinux empty;
    const KSTProgramRun none = runOnLinux(empty, {"startup"});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "Boot impact: None\nNo startup items detected on this computer.\n");

    const KSTProgramRun apps = runOnLinux(machine, {"--json", "default-apps"});
    ASSERT_EQ(apps.status, 0) << apps.err.toStdString();
    QStringList types;
    for (const QJsonValue &record : apps.json().array())
        types << record.toObject().value("contentTypeUTI").toString();
    EXPECT_TRUE(types.contains("text/plain") && types.contains("inode/directory"))
        << types.join(' ').toStdString();

    const KSTProgramRun trash = runOnLinux(machine, {"--json", "trash-origins"});
    ASSERT_EQ(trash.status, 0) << trash.err.toStdString();
    ASSERT_EQ(trash.json().array().size(), 2);
    EXPECT_EQ(trash.json().array().at(0).toObject().value("originalLocation"),
              "/home/alice/Desktop/draft.odt");

    machine.addToolScript("/usr/bin/du", "echo \"8\t$4\"\n");
    const KSTProgramRun sizes = runOnLinux(machine, {"--json", "home-sizes"});
    ASSERT_EQ(sizes.status, 0) << sizes.err.toStdString();
    QStringList names;
    for (const QJsonValue &folder : sizes.json().object().value("folders").toArray())
        names << folder.toObject().value("name").toString();
    EXPECT_TRUE(names.contains(".config") && names.contains("Videos"))
        << names.join(' ').toStdString();
    EXPECT_FALSE(names.contains("Library") || names.contains("Movies"));

    const QString osRelease = machine.path("etc/os-release");
    const QString document = machine.homePath("Documents/Thesis.odt");
    const KSTProgramRun refused = runOnLinux(machine, {"erase", document, osRelease, "--yes"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.err.contains("Cannot erase protected path: " + osRelease))
        << refused.err.toStdString();
    EXPECT_TRUE(QFileInfo::exists(osRelease));
    EXPECT_TRUE(QFileInfo::exists(document));
}

} // namespace
