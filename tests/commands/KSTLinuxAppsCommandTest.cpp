// `kestrel --root R --layout linux apps` run as the real program against the fixture Debian
// desktop: the inventory document lists the desktop's applications, sized. What each record
// holds is the engine's (KSTLinuxAppInventoryTest); what an uninstall may touch is the
// hostile-home suite's.
#include "KSTDebianDesktop.h"
#include "KSTFixtureLinux.h"
#include "KSTProgramProcess.h"
#include "KSTTestSupport.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(LinuxAppsCommandTest, JsonListsTheDesktopsTenApplicationsLargestFirst)
{
    KSTFixtureLinux machine;
    QTemporaryDir settings;
    ASSERT_TRUE(machine.isValid() && settings.isValid());
    KSTDebianDesktop::populate(machine);
    KSTProgramOptions options;
    for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME"})
        options.environment.insert(QString::fromLatin1(name), settings.path());
    const KSTProgramRun run = KSTTestSupport::runProgram(
        QStringLiteral(KESTREL_EXECUTABLE),
        {"--root", machine.root(), "--layout", "linux", "--json", "apps"}, options);
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject document = run.json().object();
    EXPECT_EQ(document.value("statusText").toString(), u"Scan complete"_s);
    const QJsonArray apps = document.value("apps").toArray();
    ASSERT_EQ(apps.size(), 10);
    for (const QJsonValue &value : apps)
        EXPECT_TRUE(
            value.toObject().value("bundlePath").toString().startsWith(machine.root() + u'/'));
    // Largest payload first once sized: Firefox's package.
    EXPECT_EQ(apps.first().toObject().value("bundleIdentifier").toString(), u"firefox-esr"_s);
    EXPECT_EQ(apps.first().toObject().value("bundleSizeBytes").toInteger(), 258312 * 1024);
}

} // namespace
