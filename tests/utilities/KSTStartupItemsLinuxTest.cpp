// Startup items on fixture Debian desktops: XDG autostart entries (the user's over the
// system's, hidden and switched-off ones left out), enabled user units and system services,
// their impact, and disabling them without ever touching a system file or writing through a
// link.
#include "KSTDebianDesktop.h"
#include "KSTUtilitiesLinuxTestSupport.h"
#include "linux/KSTSystemdUnit.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <sys/stat.h>

namespace {

// Program sizes in the impact table.
constexpr qint64 ProgramMiB = 1024 * 1024;

QByteArray entry(const char *name, const char *exec, const char *extra = "")
{
    return QByteArray("[Desktop Entry]\nType=Application\nName=") + name + "\nExec=" + exec + "\n" +
           extra;
}

class StartupItemsLinuxTest : public KSTUtilitiesLinuxTest
{
protected:
    const KSTStartupItemRecord *find(const QList<KSTStartupItemRecord> &items,
                                     const QString &identifier)
    {
        for (const KSTStartupItemRecord &item : items) {
            if (item.itemIdentifier == identifier)
                return &item;
        }
        return nullptr;
    }
    QStringList identifiers()
    {
        QStringList names;
        for (const KSTStartupItemRecord &item : manager->scanStartupItems())
            names << item.itemIdentifier;
        return names;
    }
    QString addUserUnit(const QString &wantedBy, const QString &unit, const QString &exec)
    {
        return machine.addEnabledUnit(QStringLiteral("usr/lib/systemd/user"),
                                      QStringLiteral("home/alice/.config/systemd/user"), wantedBy,
                                      unit, exec);
    }
};

TEST_F(StartupItemsLinuxTest, DebianDesktopListsEntriesUnitsAndServicesByName)
{
    KSTDebianDesktop::populate(machine);
    activate();
    const QString root = machine.root();
    const struct
    {
        const char *name;
        const char *typeLabel;
        const char *impact;
        QString path;
        quint64 type;
        const char *identifier;
        bool canDisable;
    } expected[] = {
        {"cups.service", "System Service", "High",
         root + "/etc/systemd/system/multi-user.target.wants/cups.service", 2, "cups.service",
         false},
        {"Evolution Alarms", "Autostart Entry", "Low",
         home(".config/autostart/org.gnome.Evolution-alarm-notify.desktop"), 0,
         "org.gnome.Evolution-alarm-notify", true},
        {"GNOME Software", "Autostart Entry", "Low",
         root + "/etc/xdg/autostart/org.gnome.Software.desktop", 0, "org.gnome.Software", true},
        {"Nextcloud", "Autostart Entry", "Low",
         home(".config/autostart/com.nextcloud.desktopclient.nextcloud.desktop"), 0,
         "com.nextcloud.desktopclient.nextcloud", true},
        {"pipewire.service", "User Service", "Low",
         root + "/etc/systemd/user/default.target.wants/pipewire.service", 1, "pipewire.service",
         false},
        {"ssh.service", "System Service", "High",
         root + "/etc/systemd/system/multi-user.target.wants/ssh.service", 2, "ssh.service", false},
        {"syncthing.service", "User Service", "Low",
         home(".config/systemd/user/default.target.wants/syncthing.service"), 1,
         "syncthing.service", true},
    };
    const QList<KSTStartupItemRecord> items = manager->scanStartupItems();
    ASSERT_EQ(items.size(), qsizetype(std::size(expected)));
    for (qsizetype index = 0; index < items.size(); ++index) {
        const auto &row = expected[index];
        EXPECT_EQ(items[index], (KSTStartupItemRecord{
                                    QString::fromUtf8(row.name), QString::fromUtf8(row.typeLabel),
                                    QString::fromUtf8(row.impact), row.path, row.type,
                                    QString::fromUtf8(row.identifier), row.canDisable}))
            << row.name;
    }
    EXPECT_EQ(KSTUtilitiesManager::bootImpactSummaryForItems(items), "High");
}

TEST_F(StartupItemsLinuxTest, AutostartRulesDecideByFileName)
{
    const struct Case
    {
        const char *what;
        QList<std::tuple<const char *, QByteArray, bool>> files; // name, contents, user's
        QStringList listed;
    } cases[] = {
        {"a system entry", {{"a.desktop", entry("A", "a"), false}}, {"a"}},
        {"the user's Hidden copy hides it",
         {{"a.desktop", entry("A", "a"), false},
          {"a.desktop", entry("A", "a", "Hidden=true\n"), true}},
         {}},
        {"switched off in GNOME",
         {{"a.desktop", entry("A", "a", "X-GNOME-Autostart-enabled=false\n"), false}},
         {}},
        {"the user's enabled copy of a switched-off one",
         {{"a.desktop", entry("A", "a", "X-GNOME-Autostart-enabled=false\n"), false},
          {"a.desktop", entry("A", "a", "X-GNOME-Autostart-enabled=true\n"), true}},
         {"a"}},
        {"the user's broken copy hides it",
         {{"a.desktop", entry("A", "a"), false}, {"a.desktop", "[Something Else]\nName=A\n", true}},
         {}},
        {"other names and files",
         {{"b.desktop", entry("B", "b"), true},
          {"notes.txt", entry("N", "n"), true},
          {"a.desktop", entry("A", "a"), false}},
         {"a", "b"}},
    };
    for (const Case &row : cases) {
        KSTFixtureLinux fresh;
        for (const auto &[name, contents, user] : row.files)
            fresh.addAutostartEntry(QString::fromUtf8(name), contents, user);
        fresh.activate();
        KSTSystemInfo info;
        KSTUtilitiesManager local(&info);
        QStringList listed;
        for (const KSTStartupItemRecord &item : local.scanStartupItems())
            listed << item.itemIdentifier;
        EXPECT_EQ(listed, row.listed) << row.what;
    }
}

TEST_F(StartupItemsLinuxTest, HostileAutostartFoldersNeitherBlockNorLeaveTheRoot)
{
    // An entry outside the root that a link names by its host path.
    QTemporaryDir outside;
    ASSERT_TRUE(outside.isValid());
    const QString hostEntry = outside.filePath(QStringLiteral("host.desktop"));
    ASSERT_TRUE(KSTTestSupport::writeFile(hostEntry, entry("Host", "host")));
    machine.makeSymlink(QStringLiteral("home/alice/.config/autostart/host.desktop"), hostEntry);
    // A FIFO where an entry should be: never opened.
    const QString fifo = home(".config/autostart/fifo.desktop");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    // A system folder that is a link lists nothing.
    machine.writeFile(QStringLiteral("srv/elsewhere/e.desktop"), entry("E", "e"));
    machine.makeSymlink(QStringLiteral("etc/xdg/autostart"), machine.path("srv/elsewhere"));
    machine.addAutostartEntry(QStringLiteral("fine.desktop"), entry("Fine", "fine"), true);
    activate();
    EXPECT_EQ(identifiers(), QStringList{QStringLiteral("fine")});
}

TEST_F(StartupItemsLinuxTest, ImpactComesFromTheProgramUnderTheRoot)
{
    const struct
    {
        const char *exec;
        const char *program; // root-relative file to size, nullptr: none
        qint64 bytes;
        const char *impact;
    } cases[] = {
        {"/opt/big/big --tray", "opt/big/big", 250 * ProgramMiB, "High"},
        {"medium", "usr/bin/medium", 25 * ProgramMiB, "Medium"},
        {"\"/opt/My Tools/small\" -q", "opt/My Tools/small", 1 * ProgramMiB, "Low"},
        {"/opt/Dropbox/dropboxd", nullptr, 0, "High"},
        {"missing-program", nullptr, 0, "Low"},
    };
    int index = 0;
    for (const auto &row : cases) {
        const QString name = QStringLiteral("e%1.desktop").arg(index++);
        machine.addAutostartEntry(name, entry(name.toUtf8().constData(), row.exec), true);
        if (row.program) {
            const QString path = machine.writeFile(QString::fromUtf8(row.program), {});
            ASSERT_TRUE(QFile::resize(path, row.bytes));
        }
    }
    activate();
    const QList<KSTStartupItemRecord> items = manager->scanStartupItems();
    ASSERT_EQ(items.size(), qsizetype(std::size(cases)));
    for (qsizetype i = 0; i < items.size(); ++i)
        EXPECT_EQ(items[i].impact, QString::fromUtf8(cases[i].impact)) << cases[i].exec;
}

TEST_F(StartupItemsLinuxTest, DisablingAnAutostartEntryHidesItInTheUsersCopyOnly)
{
    const QByteArray system = entry("Sys", "sys", "X-GNOME-Autostart-Delay=5\n") +
                              "\n[Desktop Action New]\nName=New\nExec=sys --new\n";
    const QString systemPath =
        machine.addAutostartEntry(QStringLiteral("sys.desktop"), system, false);
    const QString ownPath = machine.addAutostartEntry(
        QStringLiteral("own.desktop"), entry("Own", "own", "Hidden=false\nComment=mine\n"), true);
    activate();
    const QList<KSTStartupItemRecord> items = manager->scanStartupItems();
    ASSERT_EQ(items.size(), 2);

    for (const KSTStartupItemRecord &item : items) {
        KSTError error;
        EXPECT_TRUE(manager->disableStartupItem(item, &error)) << error.description.toStdString();
    }
    EXPECT_EQ(KSTTestSupport::readFile(systemPath), system);
    EXPECT_EQ(KSTTestSupport::readFile(home(".config/autostart/sys.desktop")),
              entry("Sys", "sys", "X-GNOME-Autostart-Delay=5\nHidden=true\n") +
                  "\n[Desktop Action New]\nName=New\nExec=sys --new\n");
    EXPECT_EQ(KSTTestSupport::readFile(ownPath),
              entry("Own", "own", "Hidden=true\nComment=mine\n"));
    EXPECT_TRUE(manager->scanStartupItems().isEmpty());
}

TEST_F(StartupItemsLinuxTest, ALinkAtTheUsersEntryIsNeverWrittenThrough)
{
    QTemporaryDir outside;
    ASSERT_TRUE(outside.isValid());
    const QString victim = outside.filePath(QStringLiteral("victim"));
    ASSERT_TRUE(KSTTestSupport::writeFile(victim, "keep me\n"));
    machine.addAutostartEntry(QStringLiteral("sys.desktop"), entry("Sys", "sys"), false);
    machine.makeSymlink(QStringLiteral("home/alice/.config/autostart/sys.desktop"), victim);
    activate();
    const KSTStartupItemRecord item{QStringLiteral("Sys"),
                                    QStringLiteral("Autostart Entry"),
                                    QStringLiteral("Low"),
                                    machine.path("etc/xdg/autostart/sys.desktop"),
                                    KSTStartupItemRecord::LoginItem,
                                    QStringLiteral("sys"),
                                    true};
    KSTError error;
    EXPECT_FALSE(manager->disableStartupItem(item, &error));
    EXPECT_EQ(error.domain, "KSTRemovalGuard");
    EXPECT_EQ(KSTTestSupport::readFile(victim), "keep me\n");
    EXPECT_TRUE(QFileInfo(home(".config/autostart/sys.desktop")).isSymLink());
}

TEST_F(StartupItemsLinuxTest, UnitsAreDisabledByTheirLinksOrRefusedWithTheMacCodes)
{
    const QString link =
        addUserUnit(QStringLiteral("default.target"), QStringLiteral("sync.service"),
                    QStringLiteral("/usr/bin/sync"));
    const QString second = machine.makeSymlink(
        QStringLiteral(
            "home/alice/.config/systemd/user/graphical-session.target.wants/sync.service"),
        QStringLiteral("/usr/lib/systemd/user/sync.service"));
    machine.addEnabledUnit(QStringLiteral("usr/lib/systemd/user"),
                           QStringLiteral("etc/systemd/user"), QStringLiteral("default.target"),
                           QStringLiteral("global.service"), QStringLiteral("/usr/bin/global"));
    machine.addEnabledUnit(QStringLiteral("lib/systemd/system"),
                           QStringLiteral("etc/systemd/system"),
                           QStringLiteral("multi-user.target"), QStringLiteral("daemon.service"),
                           QStringLiteral("/usr/sbin/daemon"));
    activate();
    const QList<KSTStartupItemRecord> items = manager->scanStartupItems();
    ASSERT_EQ(items.size(), 3);

    const struct
    {
        const char *identifier;
        bool forceDisableable;
        qint64 code; // 0: disabled
    } cases[] = {
        {"global.service", false, KSTUtilitiesManager::StartupItemNeedsAdministrator},
        {"daemon.service", false, KSTUtilitiesManager::StartupItemNeedsAdministrator},
        {"daemon.service", true, KSTUtilitiesManager::LaunchDaemonCannotBeDisabled},
        {"sync.service", false, 0},
    };
    for (const auto &row : cases) {
        const KSTStartupItemRecord *found = find(items, QString::fromUtf8(row.identifier));
        ASSERT_NE(found, nullptr) << row.identifier;
        KSTStartupItemRecord item = *found;
        item.canDisable = item.canDisable || row.forceDisableable;
        KSTError error;
        EXPECT_EQ(manager->disableStartupItem(item, &error), row.code == 0) << row.identifier;
        if (row.code != 0) {
            EXPECT_EQ(error.domain, KSTUtilitiesManager::ErrorDomain);
            EXPECT_EQ(error.code, row.code) << row.identifier;
        }
    }
    // Both links went; the unit file and the others' links stay.
    EXPECT_FALSE(QFileInfo::exists(link) || QFileInfo(link).isSymLink());
    EXPECT_FALSE(QFileInfo(second).isSymLink());
    EXPECT_TRUE(QFileInfo::exists(machine.path("usr/lib/systemd/user/sync.service")));
    EXPECT_EQ(identifiers(),
              (QStringList{QStringLiteral("daemon.service"), QStringLiteral("global.service")}));
}

TEST_F(StartupItemsLinuxTest, TheServiceManagerIsAskedThroughSystemctl)
{
    const QString link =
        addUserUnit(QStringLiteral("default.target"), QStringLiteral("sync.service"),
                    QStringLiteral("/usr/bin/sync"));
    activate();
    KSTError error;
    EXPECT_FALSE(manager->disableUserUnitAtPath(link, true, &error));
    EXPECT_EQ(error.code, KSTUtilitiesManager::LaunchAgentUnloadFailed);

    machine.addTool(QStringLiteral("/usr/bin/systemctl"), {}, 1);
    EXPECT_TRUE(manager->disableUserUnitAtPath(link, true, &error))
        << error.description.toStdString();
    EXPECT_EQ(machine.toolCalls(QStringLiteral("/usr/bin/systemctl")),
              QStringList{QStringLiteral("--user disable --now sync.service")});
    // The service manager changes the links itself.
    EXPECT_TRUE(QFileInfo(link).isSymLink());
}

TEST(SystemdUnitProgram, FirstWordOfTheServicesExecStart)
{
    const struct
    {
        const char *unit;
        const char *program;
    } cases[] = {
        {"[Service]\nExecStart=/usr/bin/syncthing serve\n", "/usr/bin/syncthing"},
        {"[Unit]\nExecStart=/wrong\n[Service]\nType=simple\nExecStart=-/usr/sbin/cupsd -l\n",
         "/usr/sbin/cupsd"},
        {"[Service]\nExecStart=\nExecStart=@+!/usr/lib/x x-name\n", "/usr/lib/x"},
        {"[Service]\n# ExecStart=/commented\nExecStart = \"/opt/My App/run\" --go\n",
         "/opt/My App/run"},
        {"[Service]\nExecStart=/a\\ b/c\n", "/a b/c"},
        {"[Service]\r\nExecStart=/crlf/bin\r\n", "/crlf/bin"},
        {"[Install]\nWantedBy=default.target\n", ""},
        {"", ""},
    };
    for (const auto &row : cases)
        EXPECT_EQ(KSTSystemdUnit::execStartProgram(row.unit), QString::fromUtf8(row.program))
            << row.unit;
    // A line past the cap is never read, however long.
    const QByteArray longLine = "[Service]\nExecStart=/" +
                                QByteArray(KSTSystemdUnit::maximumLineBytes, 'x') +
                                "\nExecStart=/short\n";
    EXPECT_EQ(KSTSystemdUnit::execStartProgram(longLine), "/short");
}

} // namespace
