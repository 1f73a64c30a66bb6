#include "KSTFixtureLinux.h"

#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QUrl>

#include <algorithm>
#include <iterator>

namespace {

constexpr const char *englishFolders[] = {"Desktop",  "Documents", "Downloads", "Music",
                                          "Pictures", "Public",    "Templates", "Videos"};

} // namespace

KSTFixtureLinux::KSTFixtureLinux(const QString &login, uint userId)
    : KSTFixtureMachine(login, QStringLiteral("home"), KSTLayout::Linux, userId)
{
    if (!isValid())
        return;
    for (const char *folder : {"etc/xdg", "usr/bin", "usr/sbin", "usr/local/bin",
                               "usr/share/applications", "var/lib/dpkg/info", "var/log", "tmp"})
        makeDirectory(QLatin1String(folder));
    makeSymlink(QStringLiteral("bin"), QStringLiteral("usr/bin"));
    writeOsRelease();
    addUser(login, userId);
    QList<UserDir> lines;
    const char *keys[] = {"DESKTOP",   "DOWNLOAD", "TEMPLATES", "PUBLICSHARE",
                          "DOCUMENTS", "MUSIC",    "PICTURES",  "VIDEOS"};
    const char *names[] = {"Desktop",   "Downloads", "Templates", "Public",
                           "Documents", "Music",     "Pictures",  "Videos"};
    for (std::size_t index = 0; index < std::size(keys); ++index)
        lines << UserDir{QLatin1String(keys[index]),
                         QLatin1String("$HOME/") + QLatin1String(names[index])};
    writeUserDirs(lines);
}

QByteArray KSTFixtureLinux::debianOsRelease()
{
    // As Debian 12's base-files ships it.
    return "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"
           "NAME=\"Debian GNU/Linux\"\n"
           "VERSION_ID=\"12\"\n"
           "VERSION=\"12 (bookworm)\"\n"
           "VERSION_CODENAME=bookworm\n"
           "ID=debian\n"
           "HOME_URL=\"https://www.debian.org/\"\n"
           "SUPPORT_URL=\"https://www.debian.org/support\"\n"
           "BUG_REPORT_URL=\"https://bugs.debian.org/\"\n";
}

QString KSTFixtureLinux::writeOsRelease(const QByteArray &contents)
{
    return writeFile(QStringLiteral("etc/os-release"), contents);
}

QString KSTFixtureLinux::addUser(const QString &login, uint userId)
{
    m_users.append({login, userId});
    const QString userHome = path(QLatin1String("home/") + login);
    for (const char *folder : englishFolders)
        QDir().mkpath(userHome + QLatin1Char('/') + QLatin1String(folder));
    for (const char *folder : {".config", ".cache", ".local/share", ".local/state"})
        QDir().mkpath(userHome + QLatin1Char('/') + QLatin1String(folder));
    writePasswd();
    return userHome;
}

QString KSTFixtureLinux::writePasswd()
{
    QByteArray passwd = "root:x:0:0:root:/root:/bin/bash\n"
                        "daemon:x:1:1:daemon:/usr/sbin:/usr/sbin/nologin\n";
    for (const auto &[login, userId] : m_users) {
        const QByteArray id = QByteArray::number(userId);
        passwd +=
            login.toUtf8() + ":x:" + id + ':' + id + "::/home/" + login.toUtf8() + ":/bin/bash\n";
    }
    return writeFile(QStringLiteral("etc/passwd"), passwd);
}

QString KSTFixtureLinux::writeUserDirs(const QList<UserDir> &lines)
{
    QByteArray contents = "# This file is written by xdg-user-dirs-update\n";
    for (const auto &[key, value] : lines) {
        contents += "XDG_" + key.toUtf8() + "_DIR=\"" + value.toUtf8() + "\"\n";
        if (value.startsWith(QLatin1String("$HOME/")) && value.size() > 6)
            makeHomeDirectory(value.mid(6));
    }
    return writeHomeFile(QStringLiteral(".config/user-dirs.dirs"), contents);
}

QString KSTFixtureLinux::setLocale(const QString &lang)
{
    return writeFile(QStringLiteral("etc/default/locale"), "LANG=" + lang.toUtf8() + '\n');
}

void KSTFixtureLinux::setDmi(const QString &vendor, const QString &product)
{
    writeFile(QStringLiteral("sys/class/dmi/id/sys_vendor"), vendor.toUtf8() + '\n');
    writeFile(QStringLiteral("sys/class/dmi/id/product_name"), product.toUtf8() + '\n');
}

QString KSTFixtureLinux::writeCpuInfo(const QString &modelName, int processors)
{
    QByteArray text;
    for (int index = 0; index < processors; ++index)
        text += "processor\t: " + QByteArray::number(index) +
                "\nvendor_id\t: GenuineIntel\nmodel name\t: " + modelName.toUtf8() + "\n\n";
    return writeFile(QStringLiteral("proc/cpuinfo"), text);
}

QString KSTFixtureLinux::addRecordedTool(const QString &toolPath, const QString &recordedName,
                                         int exitCode)
{
    return addTool(toolPath,
                   KSTTestSupport::readFile(
                       KSTTestSupport::testDataPath(QLatin1String("linux/") + recordedName)),
                   exitCode);
}

QString KSTFixtureLinux::addExecutable(const QString &rootRelative)
{
    const QString absolute = writeFile(rootRelative, "#!/bin/sh\nexit 0\n");
    QFile::setPermissions(absolute, QFile::permissions(absolute) | QFile::ExeOwner |
                                        QFile::ExeGroup | QFile::ExeOther);
    return absolute;
}

QString KSTFixtureLinux::entryFolder(EntryPlace place) const
{
    const QString homeRelative = QLatin1String("home/") + login() + QLatin1Char('/');
    switch (place) {
    case EntryPlace::System:
        return QStringLiteral("usr/share/applications");
    case EntryPlace::User:
        return homeRelative + QLatin1String(".local/share/applications");
    case EntryPlace::FlatpakSystem:
        return QStringLiteral("var/lib/flatpak/exports/share/applications");
    case EntryPlace::FlatpakUser:
        return homeRelative + QLatin1String(".local/share/flatpak/exports/share/applications");
    case EntryPlace::Snap:
        return QStringLiteral("var/lib/snapd/desktop/applications");
    }
    return {};
}

QByteArray KSTFixtureLinux::desktopEntryText(const DesktopEntry &entry)
{
    QByteArray text =
        "[Desktop Entry]\nType=" + entry.type.toUtf8() + "\nName=" + entry.name.toUtf8() + '\n';
    if (!entry.exec.isEmpty())
        text += "Exec=" + entry.exec.toUtf8() + '\n';
    if (!entry.tryExec.isEmpty())
        text += "TryExec=" + entry.tryExec.toUtf8() + '\n';
    if (entry.noDisplay)
        text += "NoDisplay=true\n";
    if (entry.hidden)
        text += "Hidden=true\n";
    text += entry.extraLines;
    // Actions follow in their own groups; their names must never be read as the app's.
    text += "\n[Desktop Action new-window]\nName=New Window\nExec=" + entry.exec.toUtf8() + '\n';
    return text;
}

QString KSTFixtureLinux::addDesktopEntry(const DesktopEntry &entry)
{
    return writeFile(entryFolder(entry.place) + QLatin1Char('/') + entry.fileName,
                     desktopEntryText(entry));
}

void KSTFixtureLinux::addDebPackage(const DebPackage &package)
{
    QByteArray status = KSTTestSupport::readFile(path(QStringLiteral("var/lib/dpkg/status")));
    if (!status.isEmpty())
        status += '\n';
    status += "Package: " + package.name.toUtf8() +
              "\nStatus: install ok installed\nPriority: optional\nSection: misc\n"
              "Installed-Size: " +
              QByteArray::number(package.installedSizeKiB) +
              "\nMaintainer: Debian Maintainers <debian@example.org>\nArchitecture: " +
              package.architecture.toUtf8() + "\nVersion: " + package.version.toUtf8() +
              "\nDescription: " + package.name.toUtf8() + "\n an installed package\n";
    writeFile(QStringLiteral("var/lib/dpkg/status"), status);

    // dpkg lists every folder on the way before the files in it, "/." first.
    QStringList lines{QStringLiteral("/.")};
    for (const QString &file : package.files) {
        QStringList parts = file.split(QLatin1Char('/'), Qt::SkipEmptyParts);
        QString folder;
        for (qsizetype index = 0; index + 1 < parts.size(); ++index) {
            folder += QLatin1Char('/') + parts.at(index);
            if (!lines.contains(folder))
                lines << folder;
        }
        lines << file;
    }
    writeFile(QLatin1String("var/lib/dpkg/info/") + package.name + QLatin1String(".list"),
              lines.join(QLatin1Char('\n')).toUtf8() + '\n');
}

QString KSTFixtureLinux::addFlatpak(const Flatpak &flatpak)
{
    const QString installation =
        flatpak.user ? QLatin1String("home/") + login() + QLatin1String("/.local/share/flatpak")
                     : QStringLiteral("var/lib/flatpak");
    const QString app = installation + QLatin1String("/app/") + flatpak.id;
    const QString deployment = app + QLatin1Char('/') + flatpak.arch + QLatin1Char('/') +
                               flatpak.branch + QLatin1Char('/') + flatpak.commit;
    writeFile(deployment + QLatin1String("/metadata"),
              "[Application]\nname=" + flatpak.id.toUtf8() + "\nruntime=org.gnome.Platform/" +
                  flatpak.arch.toUtf8() + "/45\n");
    writeSizedFile(deployment + QLatin1String("/files/lib/payload.bin"), flatpak.payloadBytes);
    makeSymlink(app + QLatin1String("/current"), flatpak.arch + QLatin1Char('/') + flatpak.branch);
    makeSymlink(app + QLatin1Char('/') + flatpak.arch + QLatin1Char('/') + flatpak.branch +
                    QLatin1String("/active"),
                flatpak.commit);

    const QString fileName = flatpak.id + QLatin1String(".desktop");
    DesktopEntry entry;
    entry.name = flatpak.name;
    entry.exec = QLatin1String("/usr/bin/flatpak run --branch=") + flatpak.branch +
                 QLatin1String(" --arch=") + flatpak.arch + QLatin1Char(' ') + flatpak.id;
    entry.extraLines = "X-Flatpak=" + flatpak.id.toUtf8() + '\n';
    writeFile(deployment + QLatin1String("/export/share/applications/") + fileName,
              desktopEntryText(entry));
    // As flatpak exports it: relative, through current and active.
    makeSymlink(installation + QLatin1String("/exports/share/applications/") + fileName,
                QLatin1String("../../../app/") + flatpak.id +
                    QLatin1String("/current/active/export/share/applications/") + fileName);
    return path(deployment);
}

QString KSTFixtureLinux::addSnap(const Snap &snap)
{
    const QString file =
        writeSizedFile(QLatin1String("var/lib/snapd/snaps/") + snap.name + QLatin1Char('_') +
                           snap.revision + QLatin1String(".snap"),
                       snap.snapBytes);
    makeDirectory(QLatin1String("snap/") + snap.name + QLatin1Char('/') + snap.revision);
    makeSymlink(QLatin1String("snap/") + snap.name + QLatin1String("/current"), snap.revision);
    DesktopEntry entry;
    entry.fileName = snap.name + QLatin1Char('_') + snap.app + QLatin1String(".desktop");
    entry.name = snap.displayName;
    entry.exec = QLatin1String("env BAMF_DESKTOP_FILE_HINT=/var/lib/snapd/desktop/applications/") +
                 entry.fileName + QLatin1String(" /snap/bin/") + snap.name;
    entry.extraLines = "X-SnapInstanceName=" + snap.name.toUtf8() + '\n';
    entry.place = EntryPlace::Snap;
    addDesktopEntry(entry);
    return file;
}

QByteArray KSTFixtureLinux::appImageBytes(qint64 bytes)
{
    // The ELF identification of a 64-bit little-endian executable, then the AppImage type-2
    // magic in the padding at offset 8.
    QByteArray image(std::max<qint64>(bytes, 64), '\0');
    const char identification[] = {0x7f, 'E', 'L', 'F', 2, 1, 1, 0, 'A', 'I', 2};
    std::copy(std::begin(identification), std::end(identification), image.begin());
    for (qint64 index = 4096; index < image.size(); index += 4096)
        image[index] = 'p';
    return image;
}

QString KSTFixtureLinux::addAppImage(const QString &homeRelative, qint64 bytes)
{
    const QString absolute = writeHomeFile(homeRelative, appImageBytes(bytes));
    QFile::setPermissions(absolute, QFile::permissions(absolute) | QFile::ExeOwner);
    return absolute;
}

QString KSTFixtureLinux::writeMimeApps(const QByteArray &contents)
{
    return writeHomeFile(QStringLiteral(".config/mimeapps.list"), contents);
}

QString KSTFixtureLinux::addTrashItem(const QString &name, const QByteArray &contents,
                                      const QString &originalPath, const QDateTime &deleted)
{
    writeHomeFile(QLatin1String(".local/share/Trash/info/") + name + QLatin1String(".trashinfo"),
                  "[Trash Info]\nPath=" + QUrl::toPercentEncoding(originalPath, "/") +
                      "\nDeletionDate=" +
                      deleted.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")).toUtf8() + '\n');
    return writeHomeFile(QLatin1String(".local/share/Trash/files/") + name, contents);
}

QString KSTFixtureLinux::addAutostartEntry(const QString &fileName, const QByteArray &contents,
                                           bool user)
{
    return user ? writeHomeFile(QLatin1String(".config/autostart/") + fileName, contents)
                : writeFile(QLatin1String("etc/xdg/autostart/") + fileName, contents);
}

QString KSTFixtureLinux::addEnabledUnit(const QString &unitFolder, const QString &enabledFolder,
                                        const QString &wantedBy, const QString &unitName,
                                        const QString &execStart)
{
    const QString unit = unitFolder + QLatin1Char('/') + unitName;
    writeFile(unit, "[Unit]\nDescription=" + unitName.toUtf8() + "\n\n[Service]\nExecStart=" +
                        execStart.toUtf8() + "\n\n[Install]\nWantedBy=" + wantedBy.toUtf8() + "\n");
    // systemctl enable links to the unit by its absolute path on the machine.
    return makeSymlink(enabledFolder + QLatin1Char('/') + wantedBy + QLatin1String(".wants/") +
                           unitName,
                       QLatin1Char('/') + unit);
}

QString KSTFixtureLinux::writeSystemMimeApps(const QByteArray &contents)
{
    return writeFile(QStringLiteral("etc/xdg/mimeapps.list"), contents);
}

QString KSTFixtureLinux::writeGlobs2(const QByteArray &lines)
{
    return writeFile(QStringLiteral("usr/share/mime/globs2"),
                     "# This file was automatically generated by the\n"
                     "# update-mime-database command. DO NOT EDIT!\n" +
                         lines);
}

QString KSTFixtureLinux::addElfProgram(const QString &rootRelative, quint16 elfMachine)
{
    QByteArray header(64, '\0');
    const char identification[] = {0x7f, 'E', 'L', 'F', 2, 1, 1};
    std::copy(std::begin(identification), std::end(identification), header.begin());
    header[16] = 2; // ET_EXEC
    const QString absolute = writeFile(rootRelative, header);
    setElfMachine(absolute, elfMachine);
    QFile::setPermissions(absolute, QFile::permissions(absolute) | QFile::ExeOwner |
                                        QFile::ExeGroup | QFile::ExeOther);
    return absolute;
}

void KSTFixtureLinux::setElfMachine(const QString &absolutePath, quint16 elfMachine)
{
    QFile file(absolutePath);
    if (!file.open(QIODevice::ReadWrite) || !file.seek(18))
        return;
    const char bytes[] = {char(elfMachine & 0xff), char(elfMachine >> 8)};
    file.write(bytes, 2);
}

void KSTFixtureLinux::addDesktopEntryLines(const QString &absolutePath, const QByteArray &lines)
{
    QByteArray text = KSTTestSupport::readFile(absolutePath);
    const QByteArray header = "[Desktop Entry]\n";
    const qsizetype at = text.indexOf(header);
    if (at < 0)
        return;
    text.insert(at + header.size(), lines);
    QFile file(absolutePath);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(text);
}

QString KSTFixtureLinux::writeFlatpakMetainfo(const QString &deployment, const QString &id,
                                              const QByteArray &xml, bool legacy)
{
    const QString relative = environment().pathRelativeToRoot(deployment).mid(1);
    return writeFile(relative + (legacy ? QLatin1String("/files/share/appdata/") + id +
                                              QLatin1String(".appdata.xml")
                                        : QLatin1String("/files/share/metainfo/") + id +
                                              QLatin1String(".metainfo.xml")),
                     xml);
}

QString KSTFixtureLinux::writeSnapYaml(const QString &name, const QString &revision,
                                       const QByteArray &yaml)
{
    return writeFile(QLatin1String("snap/") + name + QLatin1Char('/') + revision +
                         QLatin1String("/meta/snap.yaml"),
                     yaml);
}

QString KSTFixtureLinux::writeApplicationState(const QList<QPair<QString, QDateTime>> &lastSeen)
{
    QByteArray xml = "<?xml version=\"1.0\"?>\n<application-state>\n  <context id=\"\">\n";
    for (const auto &[id, seen] : lastSeen)
        xml += "    <application id=\"" + id.toUtf8() + "\" score=\"12\" last-seen=\"" +
               QByteArray::number(seen.toSecsSinceEpoch()) + "\"/>\n";
    xml += "  </context>\n</application-state>\n";
    return writeHomeFile(QStringLiteral(".local/share/gnome-shell/application_state"), xml);
}
