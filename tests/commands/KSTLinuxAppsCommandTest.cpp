// `kestrel --root R --layout linux apps …` run as the real program against the fixture Debian
// desktop: the inventory document with each application's identifier, version and source.
#include "KSTDebianDesktop.h"
#include "KSTFixtureLinux.h"
#include "KSTProgramProcess.h"
#include "KSTTestSupport.h"
#include "KSTTreeListing.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <map>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

class LinuxAppsCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid() && settings.isValid());
        KSTDebianDesktop::populate(machine);
    }

    KSTProgramRun kestrel(const QStringList &arguments, const QByteArray &input = {}) const
    {
        KSTProgramOptions options;
        options.input = input;
        for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME"})
            options.environment.insert(QString::fromLatin1(name), settings.path());
        return KSTTestSupport::runProgram(
            QStringLiteral(KESTREL_EXECUTABLE),
            QStringList{"--root", machine.root(), "--layout", "linux"} + arguments, options);
    }

    KSTFixtureLinux machine;
    QTemporaryDir settings;
};

TEST_F(LinuxAppsCommandTest, JsonListsTheTenApplicationsWithIdentifierVersionAndSource)
{
    const KSTProgramRun run = kestrel({"--json", "apps"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject document = run.json().object();
    EXPECT_EQ(document.value("statusText").toString(), u"Scan complete"_s);
    const QJsonArray apps = document.value("apps").toArray();
    ASSERT_EQ(apps.size(), 10);

    using Row = std::tuple<QString, QString, qint64>; // identifier, version, source
    std::map<QString, Row> found;
    for (const QJsonValue &value : apps) {
        const QJsonObject app = value.toObject();
        found[app.value("name").toString()] = {app.value("bundleIdentifier").toString(),
                                               app.value("version").toString(),
                                               app.value("source").toInteger()};
        EXPECT_TRUE(app.value("bundlePath").toString().startsWith(machine.root() + u'/'));
    }
    const std::map<QString, Row> expected = {
        {u"Firefox (private)"_s, {u"firefox-esr"_s, u"1.0-1"_s, 2}},
        {u"Files"_s, {u"org.gnome.Nautilus"_s, u"1.0-1"_s, 2}},
        {u"Text Editor"_s, {u"org.gnome.TextEditor"_s, u"1.0-1"_s, 2}},
        {u"LibreOffice Writer"_s, {u"libreoffice-writer"_s, u"1.0-1"_s, 2}},
        {u"LibreOffice Calc"_s, {u"libreoffice-calc"_s, u"1.0-1"_s, 2}},
        {u"Calculator"_s, {u"org.gnome.Calculator"_s, u"45.0.2"_s, 0}},
        {u"VLC media player"_s, {u"org.videolan.VLC"_s, u"3.0.20"_s, 0}},
        {u"Visual Studio Code"_s, {u"code_code"_s, u"1.95.3"_s, 0}},
        {u"Obsidian-1.5.3"_s, {u"Obsidian-1.5.3.AppImage"_s, u"—"_s, 1}},
        {u"krita-5.2.2-x86_64"_s, {u"krita-5.2.2-x86_64.appimage"_s, u"—"_s, 1}},
    };
    EXPECT_EQ(found, expected);
    // Largest payload first once sized: Firefox's package.
    EXPECT_EQ(apps.first().toObject().value("bundleSizeBytes").toInteger(), 258312 * 1024);
}

TEST_F(LinuxAppsCommandTest, UninstallRefusesWhatNeedsThePackageManagerAndTouchesNothing)
{
    const KSTTreeListing before = KSTTestSupport::listTree(QFile::encodeName(machine.root()));
    for (const auto &[app, command] : {std::pair{"org.gnome.Nautilus", "sudo apt remove nautilus"},
                                       std::pair{"code_code", "sudo snap remove code"}}) {
        const KSTProgramRun run = kestrel({"--json", "apps", "uninstall", app, "--yes"});
        EXPECT_EQ(run.status, 1) << app;
        const QJsonObject error = run.json().object().value("error").toObject();
        EXPECT_EQ(error.value("code").toInt(), 100) << app;
        EXPECT_EQ(error.value("description").toString(),
                  u"Installed by a package manager: run “%1” to uninstall it."_s.arg(
                      QString::fromUtf8(command)));
    }
    EXPECT_EQ(KSTTestSupport::treeDifferences(
                  before, KSTTestSupport::listTree(QFile::encodeName(machine.root())),
                  [](const QByteArray &) { return false; }),
              QStringList());
}

} // namespace
