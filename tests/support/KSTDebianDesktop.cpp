#include "KSTDebianDesktop.h"

#include "KSTFixtureLinux.h"

#include <QDateTime>

using Place = KSTFixtureLinux::EntryPlace;

namespace {

constexpr qint64 OneMiB = 1024 * 1024;

struct Package
{
    const char *package;
    const char *entry;
    const char *name;
    qint64 installedSizeKiB;
    const char *tryExec; // nullptr: none
};

// Installed-Size figures of Debian 12's amd64 packages, rounded.
constexpr Package packages[] = {
    {"firefox-esr", "firefox-esr.desktop", "Firefox ESR", 258312, nullptr},
    {"nautilus", "org.gnome.Nautilus.desktop", "Files", 14120, "nautilus"},
    {"gnome-text-editor", "org.gnome.TextEditor.desktop", "Text Editor", 5632, "gnome-text-editor"},
    {"libreoffice-writer", "libreoffice-writer.desktop", "LibreOffice Writer", 31004, nullptr},
    {"libreoffice-calc", "libreoffice-calc.desktop", "LibreOffice Calc", 36288, nullptr},
};

void addPackagedEntry(KSTFixtureLinux &machine, const char *package, const char *fileName,
                      KSTFixtureLinux::DesktopEntry entry, qint64 installedSizeKiB)
{
    entry.fileName = QLatin1String(fileName);
    entry.place = Place::System;
    machine.addDesktopEntry(entry);
    machine.addDebPackage({QLatin1String(package),
                           QStringLiteral("1.0-1"),
                           installedSizeKiB,
                           QStringLiteral("amd64"),
                           {QLatin1String("/usr/share/applications/") + QLatin1String(fileName),
                            QLatin1String("/usr/share/doc/") + QLatin1String(package) +
                                QLatin1String("/copyright")}});
}

void addUserFiles(KSTFixtureLinux &machine)
{
    machine.writeSizedHomeFile(QStringLiteral("Documents/Thesis.odt"), 3 * OneMiB);
    machine.writeSizedHomeFile(QStringLiteral("Documents/Budget 2026.ods"), 512 * 1024);
    machine.writeSizedHomeFile(QStringLiteral("Pictures/Holiday/IMG_0001.jpg"), 4 * OneMiB);
    machine.writeSizedHomeFile(QStringLiteral("Pictures/Holiday/IMG_0002.jpg"), 3 * OneMiB);
    machine.writeSizedHomeFile(QStringLiteral("Videos/Birthday.mp4"), 12 * OneMiB);
    machine.writeSizedHomeFile(QStringLiteral("Downloads/debian-12.8.0-amd64-netinst.iso"),
                               6 * OneMiB);
    machine.writeMimeApps("[Default Applications]\n"
                          "text/plain=org.gnome.TextEditor.desktop\n"
                          "application/pdf=org.gnome.Evince.desktop\n"
                          "x-scheme-handler/https=firefox-esr.desktop\n");
    const QDateTime deleted = QDateTime::currentDateTime().addDays(-3);
    machine.addTrashItem(QStringLiteral("old notes.txt"), "shopping list\n",
                         machine.environment().pathRelativeToRoot(
                             machine.homePath(QStringLiteral("Documents/old notes.txt"))),
                         deleted);
    machine.addTrashItem(QStringLiteral("draft.odt"), QByteArray(40 * 1024, 'd'),
                         machine.environment().pathRelativeToRoot(
                             machine.homePath(QStringLiteral("Desktop/draft.odt"))),
                         deleted);
}

} // namespace

QList<KSTDebianDesktop::VisibleApp> KSTDebianDesktop::populate(KSTFixtureLinux &machine)
{
    QList<VisibleApp> visible;
    machine.setDmi(QStringLiteral("Dell Inc."), QStringLiteral("XPS 13 9320"));
    machine.writeCpuInfo(QStringLiteral("12th Gen Intel(R) Core(TM) i7-1260P"));
    machine.setLocale(QStringLiteral("en_US.UTF-8"));
    machine.addExecutable(QStringLiteral("usr/bin/flatpak"));
    // Recorded on a Debian 12 machine: a virtio disk holding "/".
    machine.addRecordedTool(QStringLiteral("/usr/bin/lsblk"),
                            QStringLiteral("debian-vm/tools/lsblk-J.json"));
    machine.addRecordedTool(QStringLiteral("/usr/bin/findmnt"),
                            QStringLiteral("debian-vm/tools/findmnt-J.json"));

    for (const Package &package : packages) {
        KSTFixtureLinux::DesktopEntry entry;
        entry.name = QLatin1String(package.name);
        entry.exec = QLatin1String(package.package) + QLatin1String(" %U");
        if (package.tryExec) {
            entry.tryExec = QLatin1String(package.tryExec);
            machine.addExecutable(QLatin1String("usr/bin/") + QLatin1String(package.tryExec));
        }
        addPackagedEntry(machine, package.package, package.entry, entry, package.installedSizeKiB);
        visible << VisibleApp{entry.name, package.installedSizeKiB, {}};
    }
    // The user's own copy of a packaged entry replaces the system one in the menu.
    machine.addDesktopEntry({QStringLiteral("firefox-esr.desktop"),
                             QStringLiteral("Firefox (private)"),
                             QStringLiteral("firefox-esr --private-window %U"),
                             {},
                             QStringLiteral("Application"),
                             false,
                             false,
                             {},
                             Place::User});
    visible[0].name = QStringLiteral("Firefox (private)");

    visible << VisibleApp{QStringLiteral("Calculator"), 0,
                          machine.addFlatpak({QStringLiteral("org.gnome.Calculator"),
                                              QStringLiteral("Calculator"), false, 3 * OneMiB})};
    KSTFixtureLinux::Flatpak vlc{QStringLiteral("org.videolan.VLC"),
                                 QStringLiteral("VLC media player"), true, 9 * OneMiB};
    vlc.commit = QStringLiteral("a0b1c2d3e4f5a6b7c8d9e0f1a2b3c4d5e6f7a8b9c0d1e2f3a4b5c6d7e8f9a0b1");
    visible << VisibleApp{vlc.name, 0, machine.addFlatpak(vlc)};
    visible << VisibleApp{
        QStringLiteral("Visual Studio Code"), 0,
        machine.addSnap({QStringLiteral("code"), QStringLiteral("code"),
                         QStringLiteral("Visual Studio Code"), QStringLiteral("176"), 7 * OneMiB})};
    visible << VisibleApp{
        QStringLiteral("Obsidian-1.5.3"), 0,
        machine.addAppImage(QStringLiteral("Applications/Obsidian-1.5.3.AppImage"), 5 * OneMiB)};
    visible << VisibleApp{
        QStringLiteral("krita-5.2.2-x86_64"), 0,
        machine.addAppImage(QStringLiteral("Downloads/krita-5.2.2-x86_64.appimage"), 2 * OneMiB)};

    // Entries a menu does not show.
    KSTFixtureLinux::DesktopEntry imageMagick;
    imageMagick.name = QStringLiteral("ImageMagick (color depth=q16)");
    imageMagick.exec = QStringLiteral("display-im6.q16");
    addPackagedEntry(machine, "imagemagick-6.q16", "display-im6.q16.desktop", imageMagick, 1024);
    imageMagick.place = Place::User;
    imageMagick.fileName = QStringLiteral("display-im6.q16.desktop");
    imageMagick.hidden = true;
    machine.addDesktopEntry(imageMagick);

    KSTFixtureLinux::DesktopEntry editor;
    editor.name = QStringLiteral("Advanced Network Configuration");
    editor.exec = QStringLiteral("nm-connection-editor");
    editor.noDisplay = true;
    addPackagedEntry(machine, "network-manager-gnome", "nm-connection-editor.desktop", editor,
                     4812);
    KSTFixtureLinux::DesktopEntry vim;
    vim.name = QStringLiteral("Vim");
    vim.exec = QStringLiteral("vim %F");
    vim.tryExec = QStringLiteral("vim");
    addPackagedEntry(machine, "vim-runtime", "vim.desktop", vim, 36720);
    machine.addDesktopEntry({QStringLiteral("debian-reference.desktop"),
                             QStringLiteral("Debian Reference"),
                             {},
                             {},
                             QStringLiteral("Link"),
                             false,
                             false,
                             "URL=https://www.debian.org/doc/manuals/debian-reference/\n",
                             Place::System});

    addUserFiles(machine);
    populateUtilities(machine);
    populateAppDetails(machine);
    return visible;
}

void KSTDebianDesktop::populateUtilities(KSTFixtureLinux &machine)
{
    const auto entry = [](const char *name, const char *exec,
                          const char *extra = "") -> QByteArray {
        return QByteArray("[Desktop Entry]\nType=Application\nName=") + name + "\nExec=" + exec +
               "\n" + extra;
    };
    machine.addExecutable(QStringLiteral("usr/bin/gnome-software"));
    machine.addAutostartEntry(QStringLiteral("org.gnome.Software.desktop"),
                              entry("GNOME Software",
                                    "/usr/bin/gnome-software --gapplication-service",
                                    "NoDisplay=true\n"),
                              false);
    machine.addAutostartEntry(QStringLiteral("nm-applet.desktop"), entry("Network", "nm-applet"),
                              false);
    machine.addAutostartEntry(QStringLiteral("nm-applet.desktop"),
                              entry("Network", "nm-applet", "Hidden=true\n"), true);
    machine.addAutostartEntry(
        QStringLiteral("orca-autostart.desktop"),
        entry("Orca screen reader", "orca --replace", "X-GNOME-Autostart-enabled=false\n"), false);
    const char *alarms = "/usr/libexec/evolution-data-server/evolution-alarm-notify";
    machine.addExecutable(QLatin1String(alarms).mid(1));
    machine.addAutostartEntry(QStringLiteral("org.gnome.Evolution-alarm-notify.desktop"),
                              entry("Evolution Alarm Notify", alarms), false);
    machine.addAutostartEntry(QStringLiteral("org.gnome.Evolution-alarm-notify.desktop"),
                              entry("Evolution Alarms", alarms, "# the user's own copy\n"), true);
    machine.addExecutable(QStringLiteral("usr/bin/nextcloud"));
    machine.addAutostartEntry(QStringLiteral("com.nextcloud.desktopclient.nextcloud.desktop"),
                              entry("Nextcloud", "nextcloud --background"), true);

    machine.addExecutable(QStringLiteral("usr/bin/syncthing"));
    machine.addEnabledUnit(QStringLiteral("usr/lib/systemd/user"),
                           QStringLiteral("home/") + machine.login() +
                               QStringLiteral("/.config/systemd/user"),
                           QStringLiteral("default.target"), QStringLiteral("syncthing.service"),
                           QStringLiteral("/usr/bin/syncthing serve --no-browser"));
    machine.addExecutable(QStringLiteral("usr/bin/pipewire"));
    machine.addEnabledUnit(QStringLiteral("usr/lib/systemd/user"),
                           QStringLiteral("etc/systemd/user"), QStringLiteral("default.target"),
                           QStringLiteral("pipewire.service"), QStringLiteral("/usr/bin/pipewire"));
    machine.addEnabledUnit(QStringLiteral("usr/lib/systemd/system"),
                           QStringLiteral("etc/systemd/system"),
                           QStringLiteral("multi-user.target"), QStringLiteral("cups.service"),
                           QStringLiteral("/usr/sbin/cupsd -l"));
    machine.addEnabledUnit(QStringLiteral("usr/lib/systemd/system"),
                           QStringLiteral("etc/systemd/system"),
                           QStringLiteral("multi-user.target"), QStringLiteral("ssh.service"),
                           QStringLiteral("/usr/sbin/sshd -D $SSHD_OPTS"));

    // The packaged entries again, now with the types they open.
    const struct
    {
        const char *package;
        const char *mimeTypes;
    } types[] = {
        {"firefox-esr", "text/html;application/pdf;x-scheme-handler/https;"},
        {"nautilus", "inode/directory;"},
        {"gnome-text-editor", "text/plain;text/x-csrc;"},
        {"libreoffice-writer", "application/vnd.oasis.opendocument.text;application/msword;"},
        {"libreoffice-calc", "application/vnd.oasis.opendocument.spreadsheet;text/csv;"},
    };
    for (const Package &package : packages) {
        for (const auto &row : types) {
            if (qstrcmp(row.package, package.package) != 0)
                continue;
            KSTFixtureLinux::DesktopEntry packaged;
            packaged.fileName = QLatin1String(package.entry);
            packaged.name = QLatin1String(package.name);
            packaged.exec = QLatin1String(package.package) + QLatin1String(" %U");
            if (package.tryExec)
                packaged.tryExec = QLatin1String(package.tryExec);
            packaged.extraLines = QByteArray("MimeType=") + row.mimeTypes + '\n';
            machine.addDesktopEntry(packaged);
        }
    }
    machine.writeSystemMimeApps("[Default Applications]\n"
                                "application/pdf=firefox-esr.desktop\n"
                                "text/csv=libreoffice-calc.desktop;org.gnome.TextEditor.desktop\n");
    machine.writeGlobs2("50:text/plain:*.txt\n"
                        "50:text/x-csrc:*.c\n"
                        "50:text/html:*.html\n"
                        "50:text/html:*.htm\n"
                        "50:application/pdf:*.pdf\n"
                        "50:application/vnd.oasis.opendocument.text:*.odt\n"
                        "50:application/msword:*.doc\n"
                        "50:application/vnd.oasis.opendocument.spreadsheet:*.ods\n"
                        "50:text/csv:*.csv\n");
    // Home sizes are du's figures; the machine's du is this computer's own.
    machine.linkHostTool(QStringLiteral("/usr/bin/du"));
}

void KSTDebianDesktop::populateAppDetails(KSTFixtureLinux &machine)
{
    constexpr quint16 x86_64 = 62;
    constexpr quint16 aarch64 = 183;
    const struct
    {
        Place place;
        const char *entry;
        const char *categories;
    } categories[] = {
        {Place::User, "firefox-esr.desktop", "Network;WebBrowser;"},
        {Place::System, "firefox-esr.desktop", "Network;WebBrowser;"},
        {Place::System, "org.gnome.Nautilus.desktop", "GNOME;GTK;Utility;Core;FileManager;"},
        {Place::System, "org.gnome.TextEditor.desktop", "GNOME;GTK;Utility;TextEditor;"},
        {Place::System, "libreoffice-writer.desktop", "Office;WordProcessor;"},
        {Place::System, "libreoffice-calc.desktop", "Office;Spreadsheet;"},
        {Place::Snap, "code_code.desktop", "TextEditor;Development;IDE;"},
    };
    for (const auto &row : categories)
        KSTFixtureLinux::addDesktopEntryLines(machine.path(machine.entryFolder(row.place) +
                                                           QLatin1Char('/') +
                                                           QLatin1String(row.entry)),
                                              "Categories=" + QByteArray(row.categories) + '\n');
    machine.addElfProgram(QStringLiteral("usr/bin/firefox-esr"), x86_64);
    machine.addElfProgram(QStringLiteral("usr/bin/nautilus"), aarch64);
    machine.addElfProgram(QStringLiteral("snap/bin/code"), x86_64);
    KSTFixtureLinux::setElfMachine(
        machine.homePath(QStringLiteral("Applications/Obsidian-1.5.3.AppImage")), aarch64);
    KSTFixtureLinux::setElfMachine(
        machine.homePath(QStringLiteral("Downloads/krita-5.2.2-x86_64.appimage")), x86_64);

    const QString flatpaks = machine.path(QStringLiteral("var/lib/flatpak/app"));
    const QString calculator =
        flatpaks +
        QLatin1String("/org.gnome.Calculator/x86_64/stable/"
                      "5c1a33c1e0f2ab67d0f5e2b1d0c4e9a8f7b6c5d4e3f2a1b0c9d8e7f6a5b4c3d2");
    KSTFixtureLinux::addDesktopEntryLines(
        calculator + QLatin1String("/export/share/applications/org.gnome.Calculator.desktop"),
        "Categories=GNOME;GTK;Utility;Calculator;\n");
    machine.writeFlatpakMetainfo(calculator, QStringLiteral("org.gnome.Calculator"),
                                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<component type=\"desktop-application\">\n"
                                 "  <id>org.gnome.Calculator</id>\n"
                                 "  <name>Calculator</name>\n"
                                 "  <developer id=\"org.gnome\">\n"
                                 "    <name xml:lang=\"de\">Das GNOME-Projekt</name>\n"
                                 "    <name>The GNOME Project</name>\n"
                                 "  </developer>\n"
                                 "  <releases>\n"
                                 "    <release version=\"44.0\" date=\"2023-03-18\"/>\n"
                                 "    <release version=\"45.0.2\" date=\"2023-11-20\"/>\n"
                                 "    <release version=\"45.0\" date=\"2023-09-15\"/>\n"
                                 "  </releases>\n"
                                 "</component>\n");
    const QString vlc = machine.homePath(
        QStringLiteral(".local/share/flatpak/app/org.videolan.VLC/x86_64/stable/"
                       "a0b1c2d3e4f5a6b7c8d9e0f1a2b3c4d5e6f7a8b9c0d1e2f3a4b5c6d7e8f9a0b1"));
    KSTFixtureLinux::addDesktopEntryLines(
        vlc + QLatin1String("/export/share/applications/org.videolan.VLC.desktop"),
        "Categories=AudioVideo;Player;Recorder;\n");
    machine.writeFlatpakMetainfo(vlc, QStringLiteral("org.videolan.VLC"),
                                 "<application>\n"
                                 "  <id type=\"desktop\">org.videolan.VLC.desktop</id>\n"
                                 "  <developer_name>VideoLAN</developer_name>\n"
                                 "  <releases><release version=\"3.0.20\" "
                                 "timestamp=\"1699300000\"/></releases>\n"
                                 "</application>\n",
                                 true);
    machine.writeSnapYaml(QStringLiteral("code"), QStringLiteral("176"),
                          "name: code\n"
                          "version: '1.95.3' # upstream\n"
                          "apps:\n"
                          "  code:\n"
                          "    version: not-this\n"
                          "    command: electron-launch $SNAP/usr/share/code/bin/code\n");
    const QDateTime now = QDateTime::currentDateTimeUtc();
    machine.writeApplicationState(
        {{QStringLiteral("firefox-esr.desktop"), now.addDays(-1)},
         {QStringLiteral("org.gnome.Calculator.desktop"), now.addDays(-40)}});
}
