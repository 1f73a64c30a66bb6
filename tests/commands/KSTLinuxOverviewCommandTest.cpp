// `kestrel --root R --layout linux overview` run as the real program against the fixture
// Debian desktop: its applications, their payloads and the machine's own description.
#include "KSTDebianDesktop.h"
#include "KSTFixtureLinux.h"
#include "KSTHostileFiles.h"
#include "KSTTestSupport.h"
#include "KSTToolRunner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

KSTProgramRun runProgram(const QStringList &arguments)
{
    KSTScopedEnvironment host(KSTEnvironment::hostDefault());
    const KSTToolResult result = KSTToolRunner::run(QStringLiteral(KESTREL_EXECUTABLE), arguments,
                                                    KSTToolRunner::Channels::Separate, 120'000);
    return {result.started && !result.timedOut ? result.exitCode : -1,
            QString::fromUtf8(result.standardOutput), QString::fromUtf8(result.standardError)};
}

TEST(KSTLinuxOverviewCommandTest, JsonListsTheDesktopsApplicationsAndVersion)
{
    // Each application's payload and the Apps category's sum are the engine's
    // (KSTLinuxApplicationsTest); here the program reads them from the desktop.
    KSTFixtureLinux machine;
    ASSERT_TRUE(machine.isValid());
    KSTDebianDesktop::populate(machine);

    const KSTProgramRun run =
        runProgram({"--root", machine.root(), "--layout", "linux", "overview", "--json"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject snapshot = run.json().object();
    EXPECT_EQ(snapshot.value("installedAppCount").toInteger(), 10);
    EXPECT_EQ(snapshot.value("macOSVersionLine").toString(), u"Debian GNU/Linux 12 (bookworm)"_s);
    EXPECT_EQ(snapshot.value("machineTitle").toString(),
              u"XPS 13 9320 · 12th Gen Intel(R) Core(TM) i7-1260P"_s);
    const QJsonArray top = snapshot.value("topApps").toArray();
    ASSERT_EQ(top.size(), 5);
    for (const QJsonValue &app : top)
        EXPECT_TRUE(
            app.toObject().value("bundlePath").toString().startsWith(machine.root() + u'/'));
    EXPECT_EQ(top[0].toObject().value("name").toString(), u"Firefox (private)"_s);
    EXPECT_EQ(top[0].toObject().value("sizeBytes").toInteger(), 258312 * 1024);
    // The user's own copy of Firefox's entry is the one listed, sized by its package.
    EXPECT_TRUE(top[0]
                    .toObject()
                    .value("bundlePath")
                    .toString()
                    .endsWith(u"/home/alice/.local/share/applications/firefox-esr.desktop"_s));
    const QJsonObject apps = snapshot.value("storageCategories").toArray()[0].toObject();
    EXPECT_EQ(apps.value("name").toString(), u"Apps"_s);
    EXPECT_GE(apps.value("bytes").toInteger(), 258312 * 1024);

    const KSTProgramRun summary = runProgram({"--root", machine.root(), "overview"});
    ASSERT_EQ(summary.status, 0) << summary.err.toStdString();
    EXPECT_TRUE(summary.out.startsWith(u"XPS 13 9320 · 12th Gen Intel(R) Core(TM) i7-1260P\n"
                                       "Debian GNU/Linux 12 (bookworm) · "_s))
        << summary.out.toStdString();
    EXPECT_TRUE(summary.out.contains(u"Applications  10 installed; the largest:"_s));
}

// A desktop out to hurt the reader: FIFOs and huge sparse files where entries and AppImages
// belong, link loops, a name that is not UTF-8, folders nested past the depth read, and dpkg's
// records, a Flatpak's deployment and an entry linked to the host's own. The program ends at
// once with the entries it can honestly read, and nothing of the host's counts.
TEST(KSTLinuxOverviewCommandTest, HostileDesktopNeitherBlocksNorReachesTheHost)
{
    constexpr qint64 GiB = 1024ll * 1024 * 1024;
    KSTFixtureLinux machine;
    ASSERT_TRUE(machine.isValid());
    const QString apps = u"usr/share/applications/"_s;
    auto entry = [](const char *name) -> QByteArray {
        return "[Desktop Entry]\nType=Application\nName=" + QByteArray(name) + '\n';
    };
    machine.writeFile(apps + u"plain.desktop"_s, entry("Plain"));
    {
        // A Latin-1 name: its bytes are not UTF-8.
        const QByteArray name = QFile::encodeName(machine.path(apps)) + "caf\xe9.desktop";
        FILE *file = std::fopen(name.constData(), "wb");
        ASSERT_NE(file, nullptr);
        const QByteArray text = entry("Latin1");
        std::fwrite(text.constData(), 1, size_t(text.size()), file);
        std::fclose(file);
    }
    ASSERT_TRUE(KSTHostileFiles::makeFifo(machine.path(apps + u"fifo.desktop"_s)));
    ASSERT_TRUE(KSTHostileFiles::makeSparseFile(machine.path(apps + u"huge.desktop"_s), 4 * GiB,
                                                entry("Huge")));
    machine.makeSymlink(apps + u"loop-a.desktop"_s, u"loop-b.desktop"_s);
    machine.makeSymlink(apps + u"loop-b.desktop"_s, u"loop-a.desktop"_s);
    QString deep = apps;
    for (int level = 0; level < 40; ++level)
        deep += u"d/"_s;
    machine.writeFile(deep + u"deep.desktop"_s, entry("Deep"));
    // The host's own records and entries, named by absolute links.
    machine.writeFile(apps + u"vim.desktop"_s, entry("Vim"));
    machine.makeSymlink(u"var/lib/dpkg/status"_s, u"/var/lib/dpkg/status"_s);
    QDir(machine.path(u"var/lib/dpkg/info"_s)).removeRecursively();
    machine.makeSymlink(u"var/lib/dpkg/info"_s, u"/var/lib/dpkg/info"_s);
    QTemporaryDir host;
    ASSERT_TRUE(KSTTestSupport::writeFile(host.path() + u"/host.desktop"_s, entry("HostOnly")));
    machine.makeSymlink(apps + u"host.desktop"_s, host.path() + u"/host.desktop"_s);
    machine.makeSymlink(u"var/lib/flatpak/app/org.example.Away/current"_s, u"/"_s);
    machine.writeFile(u"var/lib/flatpak/exports/share/applications/org.example.Away.desktop"_s,
                      entry("Away"));
    ASSERT_TRUE(KSTHostileFiles::makeFifo(machine.homePath(u"Applications/pipe.AppImage"_s)));
    ASSERT_TRUE(KSTHostileFiles::makeSparseFile(machine.homePath(u"Applications/Sparse.AppImage"_s),
                                                4 * GiB, KSTFixtureLinux::appImageBytes(64)));

    const KSTProgramRun run =
        runProgram({"--root", machine.root(), "--layout", "linux", "overview", "--json"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject snapshot = run.json().object();
    QMap<QString, qint64> sizes;
    for (const QJsonValue &value : snapshot.value("topApps").toArray())
        sizes.insert(value.toObject().value("name").toString(),
                     value.toObject().value("sizeBytes").toInteger());
    EXPECT_EQ(snapshot.value("installedAppCount").toInteger(), 5);
    EXPECT_EQ(sizes.keys(),
              (QStringList{u"Away"_s, u"Latin1"_s, u"Plain"_s, u"Sparse"_s, u"Vim"_s}));
    EXPECT_EQ(sizes.value(u"Vim"_s), 0); // the host's vim-common never sizes it
    EXPECT_EQ(sizes.value(u"Away"_s), 0);
    EXPECT_LT(sizes.value(u"Sparse"_s), 1024 * 1024); // what it occupies, not 4 GiB
}

} // namespace
