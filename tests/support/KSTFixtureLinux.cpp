#include "KSTFixtureLinux.h"

#include <QDir>

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
