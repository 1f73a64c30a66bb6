#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <array>

class KSTEnvironment;

/// Where a Linux desktop keeps a user's things on the analysed machine: the XDG base
/// directories and the xdg-user-dirs folders, every path already resolved under the
/// environment's root (ready to open, as KSTEnvironment::systemPath() gives them).
///
/// Built once per environment (KSTEnvironment::places()) and immutable afterwards, so it can
/// be shared by every engine and thread. It holds no widget and runs no tool; building it reads
/// one small file, `<config home>/user-dirs.dirs`, within KSTUserDirsFile's caps.
///
/// The process's own `XDG_*` variables describe the user running Kestrel on this host, so they
/// count only when the environment is that user at root "/", and only absolute values (a
/// relative or empty value, like an unset one, means the default).
class KSTLinuxPlaces
{
public:
    /// The user folders a desktop names in user-dirs.dirs. Movies is the Videos folder.
    enum class UserFolder {
        Desktop,
        Documents,
        Downloads,
        Music,
        Pictures,
        Movies,
        Templates,
        Public,
    };
    static constexpr std::array<UserFolder, 8> userFolders = {
        UserFolder::Desktop,  UserFolder::Documents, UserFolder::Downloads, UserFolder::Music,
        UserFolder::Pictures, UserFolder::Movies,    UserFolder::Templates, UserFolder::Public,
    };

    /// The places of @p environment's user. @p hostVariables are the process's variables;
    /// they are consulted only as the class comment says.
    static KSTLinuxPlaces build(const KSTEnvironment &environment,
                                const QProcessEnvironment &hostVariables);

    /// Whether the process's XDG variables describe @p environment's user: root "/" and the
    /// user id of this process.
    static bool hostVariablesApply(const KSTEnvironment &environment);

    /// The folder's name in an English home when user-dirs.dirs does not name it ("Videos").
    static QString englishName(UserFolder folder);
    /// The middle of its user-dirs.dirs key ("VIDEOS" for XDG_VIDEOS_DIR).
    static QString userDirsKey(UserFolder folder);

    /// $XDG_CACHE_HOME, default ~/.cache.
    QString cacheHome() const { return m_cacheHome; }
    /// $XDG_DATA_HOME, default ~/.local/share.
    QString dataHome() const { return m_dataHome; }
    /// $XDG_CONFIG_HOME, default ~/.config.
    QString configHome() const { return m_configHome; }
    /// $XDG_STATE_HOME, default ~/.local/state.
    QString stateHome() const { return m_stateHome; }
    /// $XDG_DATA_DIRS in order, default /usr/local/share then /usr/share.
    QStringList dataDirs() const { return m_dataDirs; }
    /// $XDG_CONFIG_DIRS in order, default /etc/xdg.
    QStringList configDirs() const { return m_configDirs; }

    /// The user folder of that role, or an empty string when the user switched it off: a
    /// user-dirs.dirs value naming the home itself, a folder holding the home, or a system
    /// folder (the root, /usr, /etc, …) turns the role off rather than pointing it anywhere.
    /// A role the file does not name is ~/<englishName()>.
    QString userFolder(UserFolder folder) const { return m_userFolders[std::size_t(folder)]; }

private:
    KSTLinuxPlaces() = default;

    QString m_cacheHome;
    QString m_dataHome;
    QString m_configHome;
    QString m_stateHome;
    QStringList m_dataDirs;
    QStringList m_configDirs;
    std::array<QString, userFolders.size()> m_userFolders;
};
