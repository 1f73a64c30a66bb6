// The weekly sources of a Linux machine: removals in dpkg's log (a recording of this Debian
// machine's and hostile tails), GNOME Shell's application_state as the usage fallback, and
// both read from a fixture Debian root through the layout.
#include "KSTReporterLinuxSources.h"
#include "KSTFixtureLinux.h"
#include "KSTReporterSources.h"
#include "KSTTestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace LS = KSTReporterLinuxSources;

namespace {

QByteArray recordedDpkgLog()
{
    return KSTTestSupport::readFile(
        KSTTestSupport::testDataPath("linux/tools/dpkg.log.debian12-vm.excerpt.txt"));
}

QByteArray applicationState(const QList<QPair<const char *, qint64>> &applications)
{
    QByteArray xml = "<?xml version=\"1.0\"?>\n<application-state>\n  <context id=\"\">\n";
    for (const auto &[id, lastSeen] : applications)
        xml += "    <application id=\"" + QByteArray(id) + "\" open-window-count=\"0\" " +
               "score=\"3\" last-seen=\"" + QByteArray::number(lastSeen) + "\"/>\n";
    return xml + "  </context>\n</application-state>\n";
}

} // namespace

TEST(ReporterLinuxSourcesTest, RemovedPackagesOfDpkgLogTails)
{
    struct Case
    {
        const char *name;
        QByteArray tail;
        QStringList packages;
    } cases[] = {
        {"recorded",
         recordedDpkgLog(),
         {"libc++-dev", "libc++abi-dev", "libc++-14-dev", "libc++abi-14-dev", "libunwind-14-dev"}},
        {"remove then purge",
         "2026-11-20 10:11:12 remove gimp:amd64 2.10.34-1 <none>\n"
         "2026-11-20 10:11:13 purge gimp:amd64 2.10.34-1 <none>\n"
         "2026-11-21 09:00:00 purge libfoo1 1.0 <none>\n",
         {"gimp", "libfoo1"}},
        {"not removals",
         "2026-11-20 10:11:12 install gimp:amd64 <none> 2.10.34-1\n"
         "2026-11-20 10:11:12 startup packages remove\n"
         "2026-11-20 10:11:12 status not-installed gimp:amd64 <none>\n"
         "remove gimp\n2026-11-20 10:11:12 remove :amd64 1 <none>\n",
         {}},
        // A tail that begins inside a line still reads the lines after it.
        {"cut line", "md64 2.1 <none>\n2026-11-20 10:11:12 remove vlc:amd64 3.0 <none>", {"vlc"}},
        {"cut character",
         QByteArray("\xa9 x\n2026-11-20 10:11:12 remove vlc:amd64 3.0 <none>\n"),
         {}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(LS::removedPackagesInLogTail(c.tail), c.packages) << c.name;
}

TEST(ReporterLinuxSourcesTest, InstalledPackagesOfTheWeek)
{
    const QByteArray tail = "2026-11-12 08:00:00 install old:amd64 <none> 1.0\n"
                            "2026-11-20 10:11:12 install gimp:amd64 <none> 2.10.34-1\n"
                            "2026-11-20 10:11:12 status installed gimp:amd64 2.10.34-1\n"
                            "2026-11-21 10:11:12 install gimp:amd64 2.10.34-1 2.10.36-1\n"
                            "2026-13-40 10:11:12 install baddate:amd64 <none> 1\n"
                            "2026-11-22 10:11:12 install vlc <none> 3.0\n";
    const QDateTime since(QDate(2026, 11, 16), QTime(0, 0));
    EXPECT_EQ(LS::installedPackagesInLogTail(tail, since), (QStringList{"gimp", "vlc"}));
    EXPECT_TRUE(LS::installedPackagesInLogTail(tail, QDateTime()).isEmpty());
    EXPECT_TRUE(LS::installedPackagesInLogTail(tail, since.addDays(30)).isEmpty());
    // The recorded log removes; it installs nothing in its lines' week.
    EXPECT_TRUE(LS::installedPackagesInLogTail(recordedDpkgLog(), since.addDays(30)).isEmpty());
}

TEST(ReporterLinuxSourcesTest, ApplicationStateGivesTheWeeksLastSeen)
{
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000);
    const qint64 day = 86'400;
    const QByteArray xml = applicationState({{"org.gnome.Nautilus.desktop", 1'800'000'000 - day},
                                             {"firefox-esr.desktop", 1'800'000'000 - 60},
                                             {"org.gnome.Evince.desktop", 1'800'000'000 - 9 * day},
                                             {"", 1'800'000'000},
                                             {"org.gnome.Nautilus.desktop", 1'800'000'000 - 30}});
    const QList<KSTReporterAppUsageEntry> entries =
        LS::applicationStateUsage(xml, now.addDays(-7), 5, now);
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries[0].name, QStringLiteral("org.gnome.Nautilus")); // its latest sighting
    EXPECT_EQ(entries[1].name, QStringLiteral("firefox-esr"));
    EXPECT_EQ(entries[0].detailText, QStringLiteral("Last used today"));
    EXPECT_EQ(entries[0].barFraction, 0.2);
    EXPECT_EQ(entries[0].usageSeconds, 0);
    EXPECT_EQ(LS::applicationStateUsage(xml, now.addDays(-7), 1, now).size(), 1);

    EXPECT_TRUE(
        LS::applicationStateUsage("<application-state><applic", now.addDays(-7), 5, now).isEmpty());
    EXPECT_TRUE(LS::applicationStateUsage("<a><application id=\"x\" last-seen=\"soon\"/></a>",
                                          now.addDays(-7), 5, now)
                    .isEmpty());
    // An entity flood is not expanded past Qt's limit, and a huge file is not read.
    const QByteArray entities =
        "<!DOCTYPE a [<!ENTITY e \"" + QByteArray(1000, 'x') +
        "\"><!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\">]><a><application id=\"&f;&f;&f;\" "
        "last-seen=\"1800000000\"/></a>";
    EXPECT_TRUE(LS::applicationStateUsage(entities, now.addDays(-7), 5, now).isEmpty());
    EXPECT_TRUE(LS::applicationStateUsage(xml + QByteArray(LS::MaximumInputBytes, ' '),
                                          now.addDays(-7), 5, now)
                    .isEmpty());
}

TEST(ReporterLinuxSourcesTest, AFixtureDebianRootIsReadThroughItsLayout)
{
    KSTFixtureLinux machine;
    ASSERT_TRUE(machine.isValid());
    machine.activate();
    const QDateTime now = QDateTime::currentDateTime();
    EXPECT_TRUE(KSTReporterSources::applicationsRemovedSince(now.addDays(-7)).isEmpty());
    EXPECT_TRUE(KSTReporterSources::appUsageFromSpotlightSince(now.addDays(-7), 5).isEmpty());

    machine.writeFile("var/log/install.log", "Removed Safari.app\n"); // a Mac's: not read
    machine.writeFile("var/log/dpkg.log", QByteArray(70'000, '\n') + recordedDpkgLog());
    EXPECT_EQ(KSTReporterSources::applicationsRemovedSince(now.addDays(-7)).size(), 5);
    EXPECT_TRUE(KSTReporterSources::packagesInstalledSince(now.addDays(-7)).isEmpty());
    machine.writeFile("var/log/dpkg.log", now.addDays(-1).toString("yyyy-MM-dd HH:mm:ss").toUtf8() +
                                              " install gnome-text-editor:amd64 <none> 43.2-1\n");
    EXPECT_EQ(KSTReporterSources::packagesInstalledSince(now.addDays(-7)),
              QStringList{"gnome-text-editor"});
    // Only the last 64 KiB are read.
    machine.writeFile("var/log/dpkg.log", recordedDpkgLog() + QByteArray(70'000, '\n'));
    EXPECT_TRUE(KSTReporterSources::applicationsRemovedSince(now.addDays(-7)).isEmpty());

    const QString state = QStringLiteral(".local/share/gnome-shell/application_state");
    machine.writeHomeFile(
        state, applicationState({{"org.gnome.TextEditor.desktop", now.toSecsSinceEpoch() - 3600}}));
    const QList<KSTReporterAppUsageEntry> usage =
        KSTReporterSources::appUsageFromSpotlightSince(now.addDays(-7), 5);
    ASSERT_EQ(usage.size(), 1);
    EXPECT_EQ(usage[0].name, QStringLiteral("org.gnome.TextEditor"));

    // A FIFO in its place never blocks, a link is never followed.
    QFile::remove(machine.homePath(state));
    ASSERT_EQ(::mkfifo(QFile::encodeName(machine.homePath(state)).constData(), 0644), 0);
    EXPECT_TRUE(KSTReporterSources::appUsageFromSpotlightSince(now.addDays(-7), 5).isEmpty());
    QFile::remove(machine.homePath(state));
    const QString elsewhere =
        machine.writeFile("srv/state", applicationState({{"x.desktop", now.toSecsSinceEpoch()}}));
    ASSERT_TRUE(QFile::link(elsewhere, machine.homePath(state)));
    EXPECT_TRUE(KSTReporterSources::appUsageFromSpotlightSince(now.addDays(-7), 5).isEmpty());
}
