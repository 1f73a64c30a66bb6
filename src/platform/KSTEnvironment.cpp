#include "KSTEnvironment.h"

#include <QDir>
#include <QFileInfo>
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

// The single user folder of a Mac root: Users/<login>, ignoring Shared and hidden entries.
QStringList candidateLogins(const QString &root)
{
    const QDir usersDir(root + QLatin1String("/Users"));
    QStringList logins;
    for (const QString &name : usersDir.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (name != QLatin1String("Shared"))
            logins << name;
    }
    return logins;
}

} // namespace

KSTEnvironment::KSTEnvironment() : m_root(QStringLiteral("/")), m_layout(hostLayout()) {}

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
        QString login = options.user;
        // A login names one folder under Users; "../x" must not lead outside it.
        if (login.contains(QLatin1Char('/')) || login == QLatin1String(".") ||
            login == QLatin1String(".."))
            return fail(QStringLiteral("%1 is not a user name.").arg(login));
        if (login.isEmpty()) {
            const QStringList logins = candidateLogins(environment.m_root);
            if (logins.size() != 1 && options.home.isEmpty()) {
                return fail(
                    logins.isEmpty()
                        ? QStringLiteral("No user folder under %1/Users; give --user or --home.")
                              .arg(environment.m_root)
                        : QStringLiteral(
                              "Several users under %1/Users (%2); choose one with --user.")
                              .arg(environment.m_root, logins.join(QLatin1String(", "))));
            }
            if (logins.size() == 1)
                login = logins.first();
        }
        if (!login.isEmpty())
            environment.m_loginName = login;
        environment.m_home =
            environment.m_root + QLatin1String("/Users/") + environment.m_loginName;
        struct stat info = {};
        if (::stat(QFile::encodeName(environment.m_home).constData(), &info) == 0)
            environment.m_userId = info.st_uid;
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
    return environment;
}

void KSTEnvironment::setRoot(const QString &root)
{
    m_root = root.isEmpty() ? QStringLiteral("/") : cleanAbsolute(root);
}

void KSTEnvironment::setHome(const QString &home)
{
    m_home = cleanAbsolute(home);
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
