#pragma once

#include "KSTFixtureMachine.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

/// A Debian 12 machine under a temporary root, as KSTFixtureMac is a Mac: one user with an
/// entry in etc/passwd and an English home (Desktop, Documents, Downloads, Music, Pictures,
/// Public, Templates, Videos and ~/.config/user-dirs.dirs naming them), etc/os-release, and
/// builders for what a Linux desktop keeps: desktop entries, dpkg records, Flatpaks, snaps,
/// AppImages, mimeapps.list, the freedesktop Trash, DMI and cpuinfo.
///
/// environment() has the linux layout and the passwd entry's user id, as
/// KSTEnvironment::fromOptions() finds them for this root.
class KSTFixtureLinux : public KSTFixtureMachine
{
public:
    /// Builds the machine with one user @p login (home /home/<login>) of user id @p userId.
    explicit KSTFixtureLinux(const QString &login = QStringLiteral("alice"), uint userId = 1000);

    /// One line of ~/.config/user-dirs.dirs: the key's middle ("PICTURES") and the value
    /// exactly as it stands between the quotes ("$HOME/Bilder", "/srv/photos", "$HOME/").
    using UserDir = QPair<QString, QString>;
    /// Rewrites ~/.config/user-dirs.dirs with these lines (creating each "$HOME/…" folder).
    QString writeUserDirs(const QList<UserDir> &lines);
    /// etc/os-release of a Debian 12 machine (the default) or the given text.
    QString writeOsRelease(const QByteArray &contents = debianOsRelease());
    static QByteArray debianOsRelease();

    /// Adds a passwd line for another user; the folder under home is made too.
    QString addUser(const QString &login, uint userId);

private:
    QString writePasswd();

    QList<QPair<QString, uint>> m_users;
};
