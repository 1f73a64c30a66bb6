#include "KSTLinuxPlaces.h"

#include "KSTEnvironment.h"
#include "KSTUserDirsFile.h"

#include <QDir>

#include <unistd.h>

namespace {

struct UserFolderName
{
    const char *english;
    const char *key;
};

constexpr UserFolderName userFolderNames[] = {
    {"Desktop", "DESKTOP"},     {"Documents", "DOCUMENTS"}, {"Downloads", "DOWNLOAD"},
    {"Music", "MUSIC"},         {"Pictures", "PICTURES"},   {"Videos", "VIDEOS"},
    {"Templates", "TEMPLATES"}, {"Public", "PUBLICSHARE"},
};
static_assert(std::size(userFolderNames) == KSTLinuxPlaces::userFolders.size());

bool isStrictlyInside(const QString &path, const QString &folder)
{
    return path.startsWith(folder) && path.size() > folder.size() &&
           path.at(folder.size()) == QLatin1Char('/');
}

// Folders of the operating system itself, as the analysed machine spells them: never a user's
// folder, whatever user-dirs.dirs says. Removable media, /srv, /opt and /home/<login>/… may
// hold a user's folders; the folders that hold them may not.
bool isSystemFolder(const QString &machinePath)
{
    static const char *const topLevel[] = {"/",    "/bin",   "/boot",  "/dev",    "/etc",   "/home",
                                           "/lib", "/lib32", "/lib64", "/libx32", "/media", "/mnt",
                                           "/opt", "/proc",  "/root",  "/run",    "/sbin",  "/snap",
                                           "/srv", "/sys",   "/tmp",   "/usr",    "/var"};
    for (const char *folder : topLevel) {
        if (machinePath == QLatin1String(folder))
            return true;
    }
    static const char *const wholeTrees[] = {"/bin",  "/boot",  "/dev",   "/etc",
                                             "/lib",  "/lib32", "/lib64", "/libx32",
                                             "/proc", "/sbin",  "/sys",   "/usr"};
    for (const char *folder : wholeTrees) {
        if (isStrictlyInside(machinePath, QLatin1String(folder)))
            return true;
    }
    // /var/home is the home's parent on image-based systems; /run/media holds removable disks.
    const QString varHome = QStringLiteral("/var/home");
    const QString runMedia = QStringLiteral("/run/media");
    if (isStrictlyInside(machinePath, QStringLiteral("/var")))
        return machinePath != varHome && !isStrictlyInside(machinePath, varHome);
    if (isStrictlyInside(machinePath, QStringLiteral("/run")))
        return machinePath != runMedia && !isStrictlyInside(machinePath, runMedia);
    return false;
}

// Resolves places of one environment; host variables are already filtered.
class Resolver
{
public:
    Resolver(const KSTEnvironment &environment, const QProcessEnvironment &variables)
        : m_environment(environment), m_variables(variables)
    {
    }

    // An absolute path on the analysed machine, resolved under its root.
    QString onMachine(const QString &machinePath) const
    {
        return m_environment.machinePath(machinePath);
    }

    // A path relative to the home ("" for the home itself).
    QString inHome(const QString &relative) const
    {
        const QString cleaned = QDir::cleanPath(relative);
        if (cleaned.isEmpty() || cleaned == QLatin1String("."))
            return m_environment.home();
        if (cleaned != QLatin1String("..") && !cleaned.startsWith(QLatin1String("../")))
            return m_environment.home() + QLatin1Char('/') + cleaned;
        // It leaves the home: resolve it on the analysed machine so that it stays under the root.
        return onMachine(m_environment.pathRelativeToRoot(m_environment.home()) + QLatin1Char('/') +
                         cleaned);
    }

    // $name when it is an absolute path, else the home-relative default.
    QString baseHome(const char *name, const char *defaultInHome) const
    {
        const QString value = m_variables.value(QLatin1String(name));
        if (QDir::isAbsolutePath(value) && value.startsWith(QLatin1Char('/')))
            return onMachine(value);
        return inHome(QLatin1String(defaultInHome));
    }

    // $name's absolute entries in order, else the defaults.
    QStringList baseDirs(const char *name, const QStringList &defaults) const
    {
        QStringList dirs;
        const QString value = m_variables.value(QLatin1String(name));
        for (const QString &entry : value.split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
            if (entry.startsWith(QLatin1Char('/'))) {
                const QString dir = onMachine(entry);
                if (!dirs.contains(dir))
                    dirs << dir;
            }
        }
        if (dirs.isEmpty()) {
            for (const QString &entry : defaults)
                dirs << onMachine(entry);
        }
        return dirs;
    }

    // Empty when @p folder is the home, holds it, or belongs to the system.
    QString unlessForbidden(const QString &folder) const
    {
        const QString home = m_environment.home();
        if (folder == home || isStrictlyInside(home, folder))
            return {};
        const QString root = m_environment.root();
        if (m_environment.isHostRoot() || folder == root || isStrictlyInside(folder, root)) {
            if (isSystemFolder(m_environment.pathRelativeToRoot(folder)))
                return {};
        }
        return folder;
    }

private:
    const KSTEnvironment &m_environment;
    const QProcessEnvironment &m_variables;
};

} // namespace

bool KSTLinuxPlaces::hostVariablesApply(const KSTEnvironment &environment)
{
    return environment.isHostRoot() && environment.userId() == uint(getuid());
}

QString KSTLinuxPlaces::englishName(UserFolder folder)
{
    return QLatin1String(userFolderNames[std::size_t(folder)].english);
}

QString KSTLinuxPlaces::userDirsKey(UserFolder folder)
{
    return QLatin1String(userFolderNames[std::size_t(folder)].key);
}

KSTLinuxPlaces KSTLinuxPlaces::build(const KSTEnvironment &environment,
                                     const QProcessEnvironment &hostVariables)
{
    const QProcessEnvironment noVariables;
    const Resolver resolver(environment,
                            hostVariablesApply(environment) ? hostVariables : noVariables);

    KSTLinuxPlaces places;
    places.m_cacheHome = resolver.baseHome("XDG_CACHE_HOME", ".cache");
    places.m_dataHome = resolver.baseHome("XDG_DATA_HOME", ".local/share");
    places.m_configHome = resolver.baseHome("XDG_CONFIG_HOME", ".config");
    places.m_stateHome = resolver.baseHome("XDG_STATE_HOME", ".local/state");
    places.m_dataDirs = resolver.baseDirs(
        "XDG_DATA_DIRS", {QStringLiteral("/usr/local/share"), QStringLiteral("/usr/share")});
    places.m_configDirs = resolver.baseDirs("XDG_CONFIG_DIRS", {QStringLiteral("/etc/xdg")});

    const QHash<QString, KSTUserDirsFile::Value> named = KSTUserDirsFile::read(
        places.m_configHome + QLatin1String("/user-dirs.dirs"), environment.isHostRoot());
    for (const UserFolder folder : userFolders) {
        const auto found = named.constFind(userDirsKey(folder));
        QString path;
        if (found == named.constEnd())
            path = resolver.inHome(englishName(folder));
        else if (found->relativeToHome)
            path = resolver.inHome(found->path);
        else
            path = resolver.onMachine(found->path);
        places.m_userFolders[std::size_t(folder)] = resolver.unlessForbidden(path);
    }
    return places;
}
