// The Utilities commands run as the real program on fixture Macs: their JSON, the questions
// they ask, the usage errors, and a password that never shows in the process table.
#include "KSTFixtureMac.h"
#include "KSTProgramProcess.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QRandomGenerator>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using Domain = KSTFixtureMac::LaunchdDomain;

class UtilitiesCommandTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(mac.isValid()); }

    KSTProgramRun run(const QStringList &arguments, const QByteArray &input = {})
    {
        KSTProgramOptions options;
        options.input = input;
        return KSTTestSupport::runProgram(QStringLiteral(KESTREL_EXECUTABLE),
                                          QStringList{"--root", mac.root()} + arguments, options);
    }

    KSTFixtureMac mac;
};

TEST_F(UtilitiesCommandTest, StartupListsAndDisablesAfterAsking)
{
    const KSTProgramRun empty = run({"startup"});
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.out, "Boot impact: None\nNo startup items detected on this Mac.\n");

    mac.addTool("/bin/launchctl", "");
    const QString agent = mac.addLaunchdPlist(Domain::UserAgent, "com.example.agent",
                                              {{"Program", "/Applications/Agent.app"}});
    mac.addLaunchdPlist(Domain::GlobalAgent, "com.example.global", {{"RunAtLoad", true}});
    const KSTProgramRun listed = run({"--json", "startup"});
    ASSERT_EQ(listed.status, 0) << listed.err.toStdString();
    const QJsonObject document = listed.json().object();
    EXPECT_EQ(document.value("bootImpact"), "Low");
    const QJsonObject first = document.value("items").toArray().at(0).toObject();
    EXPECT_EQ(first, (QJsonObject{{"name", "Agent"},
                                  {"typeLabel", "Launch Agent"},
                                  {"impact", "Low"},
                                  {"path", agent},
                                  {"itemType", 1},
                                  {"itemIdentifier", "com.example.agent"},
                                  {"canDisable", true}}));

    const struct
    {
        QStringList arguments;
        QByteArray answer;
        int status;
    } cases[] = {
        {{"startup", "disable", "com.example.none"}, "y\n", 2},
        {{"startup", "disable"}, "y\n", 2},
        {{"startup", "disable", "com.example.agent"}, "no\n", 1},
        {{"startup", "disable", "com.example.agent"}, "", 1},
    };
    for (const auto &row : cases) {
        const KSTProgramRun refused = run(row.arguments, row.answer);
        EXPECT_EQ(refused.status, row.status) << row.arguments.join(' ').toStdString();
        EXPECT_TRUE(QFile::exists(agent));
    }
    EXPECT_TRUE(mac.toolCalls("/bin/launchctl").isEmpty());

    const KSTProgramRun global =
        run({"--json", "startup", "disable", "com.example.global", "--yes"});
    EXPECT_EQ(global.status, 1);
    EXPECT_EQ(global.json().object().value("error").toObject().value("code"), 1);

    const KSTProgramRun asked = run({"startup", "disable", agent}, "y\n");
    EXPECT_EQ(asked.status, 0) << asked.err.toStdString();
    EXPECT_TRUE(asked.out.startsWith("Disable Agent?\nThis will stop the item from launching at "
                                     "login. You can re-enable it manually later.\n"));
    EXPECT_FALSE(QFile::exists(agent));
    EXPECT_TRUE(QFile::exists(agent + ".disabled"));
}

TEST_F(UtilitiesCommandTest, EraseChecksEveryPathBeforeErasingAny)
{
    const QString file = mac.writeHomeFile("Documents/a.txt", "a");
    mac.makeDirectory("usr/share");
    const QString system = mac.writeFile("usr/share/b.txt", "b");
    const struct
    {
        QStringList arguments;
        int status;
        const char *message;
    } cases[] = {
        {{"erase", file, mac.homePath("Documents/none"), "--yes"}, 2, "nothing to erase"},
        {{"erase", file, system, "--yes"}, 1, "Cannot erase protected path: "},
        {{"erase", file, "--method", "fast", "--yes"}, 2, "--method takes"},
        {{"erase", "--yes"}, 2, "at least one PATH"},
    };
    for (const auto &row : cases) {
        const KSTProgramRun refused = run(row.arguments);
        EXPECT_EQ(refused.status, row.status) << row.arguments.join(' ').toStdString();
        EXPECT_TRUE(refused.err.contains(row.message)) << refused.err.toStdString();
        EXPECT_EQ(KSTTestSupport::readFile(file), "a");
        EXPECT_EQ(KSTTestSupport::readFile(system), "b");
    }
    const KSTProgramRun cancelled = run({"erase", file}, "n\n");
    EXPECT_EQ(cancelled.status, 1);
    EXPECT_TRUE(cancelled.out.contains("Permanently erase selected items?"));
    EXPECT_TRUE(cancelled.out.contains("SSDs and copy-on-write"));
    EXPECT_TRUE(QFile::exists(file));

    const KSTProgramRun erased =
        run({"--json", "erase", "--method", "dod", mac.homePath("Documents")}, "yes\n");
    // A standard folder of the home is refused as a whole before anything in it is touched.
    EXPECT_EQ(erased.status, 1);
    EXPECT_EQ(erased.json().object().value("error").toObject().value("domain"), "KSTRemovalGuard");
    EXPECT_TRUE(erased.err.contains("Erasing Documents…"));
    EXPECT_EQ(KSTTestSupport::readFile(file), "a");

    const QString other = mac.writeHomeFile("Desktop/c.txt", "c");
    const KSTProgramRun done = run({"--json", "erase", other, "--yes"});
    EXPECT_EQ(done.status, 0) << done.err.toStdString();
    EXPECT_EQ(done.json().object(), (QJsonObject{{"success", true}, {"error", QJsonValue()}}));
    EXPECT_TRUE(done.err.contains("Erasing c.txt…\nErase completed.\n"));
    EXPECT_FALSE(QFile::exists(other));
}

TEST_F(UtilitiesCommandTest, EncryptTakesThePasswordOnlyFromStandardInput)
{
    const QString notes = mac.writeHomeFile("Documents/Notes.txt", "notes");
    const struct
    {
        QStringList arguments;
        QByteArray input;
        int status;
        const char *message;
    } cases[] = {
        {{"encrypt", notes}, "\n\n", 2, "Enter a password."},
        {{"encrypt", notes}, "one\ntwo\n", 2, "Passwords do not match."},
        {{"encrypt", "--password-stdin", notes}, "", 2, "Enter a password."},
        {{"encrypt", "--password=secret", notes}, "", 2, "takes no option '--password'"},
        {{"encrypt", "--password-stdin"}, "pw\n", 2, "at least one PATH"},
        {{"encrypt", notes}, "pw\npw\nno\n", 1, "Cancelled."},
    };
    for (const auto &row : cases) {
        const KSTProgramRun refused = run(row.arguments, row.input);
        EXPECT_EQ(refused.status, row.status) << row.arguments.join(' ').toStdString();
        EXPECT_TRUE(QString(refused.err + refused.out).contains(row.message))
            << refused.err.toStdString();
        EXPECT_FALSE(QFile::exists(notes + ".zip"));
    }

    const KSTProgramRun partly = run(
        {"--json", "encrypt", "--password-stdin", "--yes", notes, mac.homePath("Documents/none")},
        "pw\n");
    EXPECT_EQ(partly.status, 1);
    EXPECT_EQ(partly.json().object().value("archivesCreated"), 1);
    EXPECT_EQ(partly.json().object().value("error").toObject().value("code"), 20);
    // With --json the progress goes to standard error, item by item, and never the password.
    EXPECT_TRUE(partly.err.contains("Encrypting Notes.txt…\nEncrypting none…\n"))
        << partly.err.toStdString();
    EXPECT_FALSE(partly.out.contains("Encrypting"));
    EXPECT_EQ(KSTTestSupport::runHostTool("unzip", {"-qq", "-t", "-P", "pw", notes + ".zip"}), 0);

    const KSTProgramRun asked = run({"encrypt", notes}, "pw2\npw2\ny\n");
    EXPECT_EQ(asked.status, 0) << asked.err.toStdString();
    EXPECT_TRUE(asked.out.endsWith("Encrypting Notes.txt…\nEncrypted 1 item(s).\nPassword-"
                                   "protected .zip files were created next to the originals.\n"))
        << asked.out.toStdString();
    EXPECT_EQ(KSTTestSupport::runHostTool("unzip", {"-qq", "-t", "-P", "pw2", notes + "-1.zip"}),
              0);
}

TEST_F(UtilitiesCommandTest, ThePasswordNeverShowsInTheProcessTable)
{
    // Enough data that the archive takes a while.
    QByteArray block(1024 * 1024, '\0');
    for (int index = 0; index < 24; ++index) {
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(block.data()),
                                              block.size() / 4);
        mac.writeHomeFile(QStringLiteral("Documents/Big/part%1.bin").arg(index), block);
    }
    const QByteArray password = "Zq9-unmistakable-" + QByteArray::number(::getpid());
    std::atomic<bool> running{true};
    std::atomic<int> sweeps{0};
    std::atomic<int> sightings{0};
    std::thread watcher([&] {
        while (running) {
            QDirIterator processes("/proc", QDir::Dirs | QDir::NoDotAndDotDot);
            while (processes.hasNext()) {
                const QString folder = processes.next();
                for (const char *file : {"/cmdline", "/environ"}) {
                    QFile table(folder + QLatin1String(file));
                    if (table.open(QIODevice::ReadOnly) && table.readAll().contains(password))
                        ++sightings;
                }
            }
            ++sweeps;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    const KSTProgramRun encrypted = run(
        {"encrypt", "--password-stdin", "--yes", mac.homePath("Documents/Big")}, password + '\n');
    running = false;
    watcher.join();
    EXPECT_EQ(encrypted.status, 0) << encrypted.err.toStdString();
    EXPECT_GE(sweeps.load(), 2) << "the process table was looked at while the archive was made";
    EXPECT_EQ(sightings.load(), 0);
    EXPECT_EQ(
        KSTTestSupport::runHostTool("unzip", {"-qq", "-t", "-P", QString::fromLatin1(password),
                                              mac.homePath("Documents/Big.zip")}),
        0);
}

TEST_F(UtilitiesCommandTest, ReadOnlyToolsPrintTheirRecords)
{
    KSTFixtureMac::App preview;
    preview.name = "Preview";
    preview.bundleIdentifier = "com.apple.Preview";
    preview.extraInfo = {
        {"CFBundleName", "Preview"},
        {"CFBundleDocumentTypes",
         QVariantList{QVariantMap{{"LSItemContentTypes", QStringList{"com.adobe.pdf"}},
                                  {"LSHandlerRank", "Owner"}}}}};
    mac.addApp(preview);
    mac.makeHomeDirectory("Library/Preferences/com.apple.LaunchServices");
    const KSTProgramRun apps = run({"--json", "default-apps"});
    ASSERT_EQ(apps.status, 0) << apps.err.toStdString();
    EXPECT_EQ(
        apps.json().array(),
        (QJsonArray{QJsonObject{
            {"extensionLabel", ".pdf"},
            {"contentTypeUTI", "com.adobe.pdf"},
            {"currentAppName", "Preview"},
            {"currentBundleIdentifier", "com.apple.Preview"},
            {"candidates", QJsonArray{QJsonObject{{"name", "Preview"},
                                                  {"bundleIdentifier", "com.apple.Preview"}}}}}}));
    const KSTProgramRun missing = run({"--json", "default-apps", "set", "", "", "--yes"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.json().object().value("error").toObject().value("description"),
              "Missing app or file type.");
    EXPECT_EQ(run({"default-apps", "set", "com.adobe.pdf"}).status, 2);
    const KSTProgramRun set =
        run({"--json", "default-apps", "set", "public.png", "com.apple.Preview", "--yes"});
    EXPECT_EQ(set.status, 0) << set.err.toStdString();
    EXPECT_EQ(set.json().object(), (QJsonObject{{"changed", true}, {"error", QJsonValue()}}));

    mac.writeHomeFile(".Trash/old.txt", "old");
    const KSTProgramRun trash = run({"--json", "trash-origins"});
    ASSERT_EQ(trash.status, 0);
    EXPECT_EQ(trash.json().array(),
              (QJsonArray{QJsonObject{{"fileName", "old.txt"},
                                      {"originalLocation", "Unknown"},
                                      {"deletedBy", "Finder"},
                                      {"trashPath", mac.homePath(".Trash/old.txt")}}}));

    mac.addTool("/usr/bin/du", "8\t/x\n");
    const KSTProgramRun sizes = run({"--json", "home-sizes"});
    ASSERT_EQ(sizes.status, 0);
    const QJsonObject figures = sizes.json().object();
    const QJsonArray folders = figures.value("folders").toArray();
    EXPECT_EQ(
        folders.at(0).toObject(),
        (QJsonObject{{"name", "Desktop"}, {"path", mac.homePath("Desktop")}, {"bytes", 8192}}));
    EXPECT_EQ(folders.last().toObject().value("name"), "Music");
    EXPECT_EQ(folders.last().toObject().value("bytes"), 0);
    EXPECT_GT(figures.value("totalBytes").toDouble(), 0);
    EXPECT_TRUE(figures.contains("usedBytes"));
}

} // namespace
