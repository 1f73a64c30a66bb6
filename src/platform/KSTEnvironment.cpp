#include "KSTEnvironment.h"

#include "KSTLinuxPlaces.h"
#include "KSTPasswordFile.h"

#include <QDir>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QStringList>

#include <mutex>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

KSTLayout hostLayout()
{
#ifdef Q_OS_MACOS
    return KSTLayout::Mac;
#else
    return KSTLayout::Linux;
#endif
}

QString cleanAbsolute(const QString &path)
{
    if (path.isEmpty())
        return path;
    return QDir::cleanPath(QDir::isAbsolutePath(path) ? path
                                                      : QDir::current().absoluteFilePath(path));
}

struct CurrentEnvironment
{
    std::mutex mutex;
    std::optional<KSTEnvironment> environment;
};

CurrentEnvironment &currentEnvironmentStore()
{
    static CurrentEnvironment store;
    return store;
}

// The folder holding the users' homes: "/Users" on a Mac, "/home" on Linux.
QString usersFolder(KSTLayout layout)
{
    return layout == KSTLayout::Mac ? QStringLiteral("/Users") : QStringLiteral("/home");
}

// The user folders of a root's users folder, ignoring hidden entries and the ones that are
// no user's: a Mac's Shared, the lost+found of a separate /home file system.
QStringList candidateLogins(const QString &root, KSTLayout layout)
{
    const QDir usersDir(root + usersFolder(layout));
    const QString notAUser =
        layout == KSTLayout::Mac ? QStringLiteral("Shared") : QStringLiteral("lost+found");
    QStringList logins;
    for (const QString &name : usersDir.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (name != notAUser)
            logins << name;
    }
    return logins;
}

uint ownerOf(const QString &path, uint fallback)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) == 0)
        return info.st_uid;
    return fallback;
}

} // namespace

struct KSTEnvironment::PlacesCache
{
    std::mutex mutex;
    std::shared_ptr<const KSTLinuxPlaces> places;
};

KSTEnvironment::KSTEnvironment()
    : m_root(QStringLiteral("/")), m_layout(hostLayout()), m_places(std::make_shared<PlacesCache>())
{
}

KSTEnvironment KSTEnvironment::current()
{
    CurrentEnvironment &store = currentEnvironmentStore();
    std::lock_guard lock(store.mutex);
    if (!store.environment)
        store.environment = hostDefault();
    return *store.environment;
}

void KSTEnvironment::setCurrent(const KSTEnvironment &environment)
{
    CurrentEnvironment &store = currentEnvironmentStore();
    std::lock_guard lock(store.mutex);
    store.environment = environment;
}

KSTEnvironment KSTEnvironment::hostDefault()
{
    KSTEnvironment environment;
    environment.m_userId = getuid();
    if (const passwd *entry = getpwuid(getuid())) {
        environment.m_loginName = QString::fromLocal8Bit(entry->pw_name);
        environment.m_home = cleanAbsolute(QString::fromLocal8Bit(entry->pw_dir));
    }
    if (environment.m_home.isEmpty())
        environment.m_home = QDir::homePath();
    if (environment.m_loginName.isEmpty())
        environment.m_loginName = qEnvironmentVariable("USER");
    return environment;
}

std::optional<KSTLayout> KSTEnvironment::layoutFromString(const QString &text)
{
    if (text == QLatin1String("mac"))
        return KSTLayout::Mac;
    if (text == QLatin1String("linux"))
        return KSTLayout::Linux;
    return std::nullopt;
}

QString KSTEnvironment::layoutName(KSTLayout layout)
{
    return layout == KSTLayout::Mac ? QStringLiteral("mac") : QStringLiteral("linux");
}

std::optional<KSTEnvironment> KSTEnvironment::fromOptions(const Options &options, QString *error)
{
    auto fail = [error](const QString &message) {
        if (error)
            *error = message;
        return std::nullopt;
    };

    KSTEnvironment environment = hostDefault();
    if (!options.root.isEmpty()) {
        const QString root = cleanAbsolute(options.root);
        if (!QFileInfo(root).isDir())
            return fail(QStringLiteral("The root %1 is not an existing folder.").arg(options.root));
        environment.setRoot(root);
    }

    if (options.layout) {
        environment.m_layout = *options.layout;
    } else if (QFileInfo::exists(environment.systemPath(
                   QStringLiteral("/System/Library/CoreServices/SystemVersion.plist")))) {
        environment.m_layout = KSTLayout::Mac;
    } else {
        environment.m_layout = hostLayout();
    }

    if (!environment.isHostRoot()) {
        const QString users = environment.m_root + usersFolder(environment.m_layout);
        QString login = options.user;
        // A login names one folder under the users folder; "../x" must not lead outside it.
        if (login.contains(QLatin1Char('/')) || login == QLatin1String(".") ||
            login == QLatin1String(".."))
            return fail(QStringLiteral("%1 is not a user name.").arg(login));
        if (login.isEmpty()) {
            const QStringList logins = candidateLogins(environment.m_root, environment.m_layout);
            if (logins.size() != 1 && options.home.isEmpty()) {
                return fail(logins.isEmpty()
                                ? QStringLiteral("No user folder under %1; give --user or --home.")
                                      .arg(users)
                                : QStringLiteral("Several users under %1 (%2); choose one with "
                                                 "--user.")
                                      .arg(users, logins.join(QLatin1String(", "))));
            }
            if (logins.size() == 1)
                login = logins.first();
        }
        std::optional<KSTPasswordFile::Entry> account;
        if (!login.isEmpty()) {
            environment.m_loginName = login;
            if (environment.m_layout == KSTLayout::Linux)
                account = KSTPasswordFile::readLogin(
                    environment.systemPath(QStringLiteral("/etc/passwd")), login);
        }
        if (account) {
            environment.m_home = environment.machinePath(account->home);
            environment.m_userId = account->userId;
        } else {
            environment.m_home = users + QLatin1Char('/') + environment.m_loginName;
            environment.m_userId = ownerOf(environment.m_home, environment.m_userId);
        }
    } else if (!options.user.isEmpty()) {
        const passwd *entry = getpwnam(options.user.toLocal8Bit().constData());
        if (!entry)
            return fail(QStringLiteral("No user named %1 on this machine.").arg(options.user));
        environment.m_loginName = options.user;
        environment.m_userId = entry->pw_uid;
        environment.m_home = cleanAbsolute(QString::fromLocal8Bit(entry->pw_dir));
    }

    if (!options.home.isEmpty())
        environment.m_home = cleanAbsolute(options.home);
    if (!QFileInfo(environment.m_home).isDir())
        return fail(QStringLiteral("The home folder %1 does not exist.").arg(environment.m_home));
    environment.forgetPlaces();
    return environment;
}

void KSTEnvironment::setRoot(const QString &root)
{
    m_root = root.isEmpty() ? QStringLiteral("/") : cleanAbsolute(root);
    forgetPlaces();
}

void KSTEnvironment::setHome(const QString &home)
{
    m_home = cleanAbsolute(home);
    forgetPlaces();
}

void KSTEnvironment::setLoginName(const QString &loginName)
{
    m_loginName = loginName;
    forgetPlaces();
}

void KSTEnvironment::setUserId(uint userId)
{
    m_userId = userId;
    forgetPlaces();
}

void KSTEnvironment::setLayout(KSTLayout layout)
{
    m_layout = layout;
    forgetPlaces();
}

void KSTEnvironment::forgetPlaces()
{
    m_places = std::make_shared<PlacesCache>();
}

std::shared_ptr<const KSTLinuxPlaces> KSTEnvironment::places() const
{
    std::lock_guard lock(m_places->mutex);
    if (!m_places->places) {
        m_places->places = std::make_shared<const KSTLinuxPlaces>(
            KSTLinuxPlaces::build(*this, QProcessEnvironment::systemEnvironment()));
    }
    return m_places->places;
}

QString KSTEnvironment::systemPath(const QString &absolutePath) const
{
    if (isHostRoot() || !absolutePath.startsWith(QLatin1Char('/')))
        return absolutePath;
    // The system root itself is the root folder, spelled as root() spells it.
    if (absolutePath == QLatin1String("/"))
        return m_root;
    return m_root + absolutePath;
}

QString KSTEnvironment::machinePath(const QString &absolutePath) const
{
    if (!absolutePath.startsWith(QLatin1Char('/')))
        return absolutePath;
    QStringList parts;
    for (const QString &part : absolutePath.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String("..")) {
            if (!parts.isEmpty()) // ".." of the root is the root
                parts.removeLast();
        } else if (part != QLatin1String("."))
            parts << part;
    }
    return systemPath(QLatin1Char('/') + parts.join(QLatin1Char('/')));
}

QString KSTEnvironment::pathRelativeToRoot(const QString &path) const
{
    if (isHostRoot())
        return path;
    if (path == m_root)
        return QStringLiteral("/");
    if (path.startsWith(m_root) && path.at(m_root.size()) == QLatin1Char('/'))
        return path.mid(m_root.size());
    return path;
}

QString KSTEnvironment::homePath(const QString &relativePath) const
{
    if (relativePath.isEmpty())
        return m_home;
    return m_home + QLatin1Char('/') + relativePath;
}

KSTScopedEnvironment::KSTScopedEnvironment(const KSTEnvironment &environment)
    : m_previous(KSTEnvironment::current())
{
    KSTEnvironment::setCurrent(environment);
}

KSTScopedEnvironment::~KSTScopedEnvironment()
{
    KSTEnvironment::setCurrent(m_previous);
}
