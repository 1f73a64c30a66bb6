// The Utilities commands run as the real program on the fixture Debian desktop: start-up
// items, default apps, trash origins, home-folder sizes and erase's refusal, each through its
// JSON and, for the changes, the files they leave.
#include "KSTDebianDesktop.h"
#include "KSTFixtureLinux.h"
#include "KSTProgramProcess.h"
#include "KSTTestSupport.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

class LinuxUtilitiesCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid());
        KSTDebianDesktop::populate(machine);
    }

    KSTProgramRun run(const QStringList &arguments, const QByteArray &input = {})
    {
        KSTProgramOptions options;
        options.input = input;
        return KSTTestSupport::runProgram(
            QStringLiteral(KESTREL_EXECUTABLE),
            QStringList{"--root", machine.root(), "--layout", "linux"} + arguments, options);
    }

    static QJsonObject withType(const QJsonArray &records, const char *type)
    {
        for (const QJsonValue &record : records) {
            if (record.toObject().value("contentTypeUTI") == QLatin1String(type))
                return record.toObject();
        }
        return {};
    }

    KSTFixtureLinux machine;
};

TEST_F(LinuxUtilitiesCommandTest, StartupListsTheDesktopsItems)
{
    const KSTProgramRun listed = run({"--json", "startup"});
    ASSERT_EQ(listed.status, 0) << listed.err.toStdString();
    const QJsonObject document = listed.json().object();
    EXPECT_EQ(document.value("bootImpact"), "High");
    const QJsonArray items = document.value("items").toArray();
    ASSERT_EQ(items.size(), 7);
    EXPECT_EQ(items.at(2).toObject(),
              (QJsonObject{{"name", "GNOME Software"},
                           {"typeLabel", "Autostart Entry"},
                           {"impact", "Low"},
                           {"path", machine.path("etc/xdg/autostart/org.gnome.Software.desktop")},
                           {"itemType", 0},
                           {"itemIdentifier", "org.gnome.Software"},
                           {"canDisable", true}}));

    KSTFixtureLinux empty;
    const KSTProgramRun none =
        KSTTestSupport::runProgram(QStringLiteral(KESTREL_EXECUTABLE),
                                   {"--root", empty.root(), "--layout", "linux", "startup"}, {});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "Boot impact: None\nNo startup items detected on this computer.\n");
}

TEST_F(LinuxUtilitiesCommandTest, StartupDisableHidesTheEntryInTheUsersCopy)
{
    const QString system = machine.path("etc/xdg/autostart/org.gnome.Software.desktop");
    const QByteArray before = KSTTestSupport::readFile(system);
    const KSTProgramRun disabled =
        run({"--json", "startup", "disable", "org.gnome.Software", "--yes"});
    ASSERT_EQ(disabled.status, 0) << disabled.err.toStdString();
    EXPECT_EQ(disabled.json().object(), (QJsonObject{{"disabled", true}, {"error", QJsonValue()}}));
    EXPECT_EQ(KSTTestSupport::readFile(system), before);
    EXPECT_TRUE(
        KSTTestSupport::readFile(machine.homePath(".config/autostart/org.gnome.Software.desktop"))
            .contains("\nHidden=true\n"));
    // A system service is refused with the code a daemon gets.
    const KSTProgramRun refused = run({"--json", "startup", "disable", "ssh.service", "--yes"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.json().object().value("error").toObject().value("code"), 1);
}

TEST_F(LinuxUtilitiesCommandTest, DefaultAppsListAndSetMimeTypes)
{
    const KSTProgramRun apps = run({"--json", "default-apps"});
    ASSERT_EQ(apps.status, 0) << apps.err.toStdString();
    EXPECT_EQ(withType(apps.json().array(), "text/plain"),
              (QJsonObject{{"extensionLabel", ".txt"},
                           {"contentTypeUTI", "text/plain"},
                           {"currentAppName", "Text Editor"},
                           {"currentBundleIdentifier", "org.gnome.TextEditor"},
                           {"candidates", QJsonArray{QJsonObject{
                                              {"name", "Text Editor"},
                                              {"bundleIdentifier", "org.gnome.TextEditor"}}}}}));

    const QString list = machine.homePath(".config/mimeapps.list");
    const QByteArray before = KSTTestSupport::readFile(list);
    const KSTProgramRun set =
        run({"--json", "default-apps", "set", "text/csv", "org.gnome.TextEditor", "--yes"});
    ASSERT_EQ(set.status, 0) << set.err.toStdString();
    EXPECT_EQ(set.json().object(), (QJsonObject{{"changed", true}, {"error", QJsonValue()}}));
    EXPECT_EQ(KSTTestSupport::readFile(list), before + "text/csv=org.gnome.TextEditor.desktop\n");
    EXPECT_EQ(withType(run({"--json", "default-apps"}).json().array(), "text/csv")
                  .value("currentBundleIdentifier"),
              "org.gnome.TextEditor");
}

TEST_F(LinuxUtilitiesCommandTest, TrashOriginsAndHomeSizes)
{
    const KSTProgramRun trash = run({"--json", "trash-origins"});
    ASSERT_EQ(trash.status, 0) << trash.err.toStdString();
    const QString files = machine.homePath(".local/share/Trash/files/");
    EXPECT_EQ(trash.json().array(),
              (QJsonArray{QJsonObject{{"fileName", "draft.odt"},
                                      {"originalLocation", "/home/alice/Desktop/draft.odt"},
                                      {"deletedBy", "File manager"},
                                      {"trashPath", QString(files + "draft.odt")}},
                          QJsonObject{{"fileName", "old notes.txt"},
                                      {"originalLocation", "/home/alice/Documents/old notes.txt"},
                                      {"deletedBy", "File manager"},
                                      {"trashPath", QString(files + "old notes.txt")}}}));

    machine.addToolScript("/usr/bin/du", "case \"$4\" in\n"
                                         "  */Videos) echo \"12300\t$4\" ;;\n"
                                         "  *) echo \"8\t$4\" ;;\n"
                                         "esac\n");
    const KSTProgramRun sizes = run({"--json", "home-sizes"});
    ASSERT_EQ(sizes.status, 0) << sizes.err.toStdString();
    const QJsonArray folders = sizes.json().object().value("folders").toArray();
    EXPECT_EQ(folders.at(0).toObject(), (QJsonObject{{"name", "Videos"},
                                                     {"path", machine.homePath("Videos")},
                                                     {"bytes", 12300 * 1024}}));
    QStringList names;
    for (const QJsonValue &folder : folders)
        names << folder.toObject().value("name").toString();
    for (const char *name : {".cache", ".config", ".local", "Documents", "Templates"})
        EXPECT_TRUE(names.contains(QLatin1String(name))) << name;
    EXPECT_FALSE(names.contains("Library") || names.contains("Movies"));
}

TEST_F(LinuxUtilitiesCommandTest, EraseRefusesTheSystemsOwnFiles)
{
    const QString osRelease = machine.path("etc/os-release");
    const QString document = machine.homePath("Documents/Thesis.odt");
    const KSTProgramRun refused = run({"erase", document, osRelease, "--yes"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.err.contains("Cannot erase protected path: " + osRelease))
        << refused.err.toStdString();
    EXPECT_TRUE(QFileInfo::exists(osRelease));
    EXPECT_TRUE(QFileInfo::exists(document));
}

} // namespace
