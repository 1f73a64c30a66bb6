#pragma once

#include <QString>

#include <memory>
#include <optional>

class KSTLinuxPlaces;

/// Which conventions the analysed machine follows.
enum class KSTLayout {
    Mac,   ///< Library/Caches, .app bundles, launchd plists, the privacy database, ~/.Trash
    Linux, ///< XDG equivalents; the freedesktop Trash
};

/// The machine being analysed: its file-system root, the user and that user's home.
///
/// Engines never touch a fixed system path directly; they ask the current environment to
/// resolve it, so that a whole Mac can live under a temporary folder in a test, or a Mac
/// volume mounted elsewhere can be analysed. One environment is current per process; it is
/// set once at start-up (or by a test) before any engine runs, and read from any thread.
class KSTEnvironment
{
public:
    /// The options of the command line (`--root`, `--home`, `--user`, `--layout`); empty
    /// members mean "not given".
    struct Options
    {
        QString root;
        QString home;
        QString user;
        std::optional<KSTLayout> layout;
    };

    /// Root "/", no user, layout of the host. Use hostDefault() for the real user.
    KSTEnvironment();

    /// The process-wide environment; hostDefault() until setCurrent() is called.
    static KSTEnvironment current();
    /// Replaces the process-wide environment. Call before engines run (start-up, tests).
    static void setCurrent(const KSTEnvironment &environment);

    /// The real user of this process on the host: root "/", the password-database login,
    /// uid and home (falling back to $HOME), the host's layout.
    static KSTEnvironment hostDefault();

    /// Builds an environment from command-line options, filling what is not given:
    /// - root defaults to "/" and must be an existing directory;
    /// - layout defaults to mac when the root holds
    ///   System/Library/CoreServices/SystemVersion.plist or the host is macOS, else linux;
    /// - with a non-"/" root and no user, the login is the one folder under <root>/Users
    ///   other than "Shared" (mac), or under <root>/home other than "lost+found" (linux); an
    ///   error asks for --user when there are several or none;
    /// - home defaults, under a non-"/" root, to <root>/Users/<login> (mac); for linux to the
    ///   login's home in <root>/etc/passwd resolved under the root when the login is listed
    ///   there, else <root>/home/<login>. At "/" it is the user's home;
    /// - the user id under a non-"/" root is the passwd entry's (linux, when listed), else
    ///   the owner of the home folder.
    /// Returns nothing and sets @p error to a readable sentence on bad input.
    static std::optional<KSTEnvironment> fromOptions(const Options &options, QString *error);

    /// Parses "mac" or "linux".
    static std::optional<KSTLayout> layoutFromString(const QString &text);
    static QString layoutName(KSTLayout layout);

    /// The root, absolute and clean, without a trailing slash except for "/" itself.
    QString root() const { return m_root; }
    QString home() const { return m_home; }
    QString loginName() const { return m_loginName; }
    uint userId() const { return m_userId; }
    KSTLayout layout() const { return m_layout; }
    bool isHostRoot() const { return m_root == QLatin1String("/"); }

    void setRoot(const QString &root);
    void setHome(const QString &home);
    void setLoginName(const QString &loginName);
    void setUserId(uint userId);
    void setLayout(KSTLayout layout);

    /// The XDG places of this environment's user (base directories, user folders), built on
    /// first use from the root, home and user as they are then, and shared by every copy of
    /// this environment until one of the setters above changes it. Safe from any thread.
    std::shared_ptr<const KSTLinuxPlaces> places() const;

    /// Resolves a fixed absolute system path ("/Applications", "/usr/bin/find") under the
    /// root: "<root>/Applications". With root "/" the path is returned unchanged. A relative
    /// path is returned unchanged.
    QString systemPath(const QString &absolutePath) const;

    /// An absolute path as the analysed machine spells it (a passwd home, a user-dirs value):
    /// cleaned as that machine would ("." and empty parts dropped, ".." above its "/" stays at
    /// "/", so nothing climbs out of the root), then resolved under the root. A relative path
    /// is returned unchanged.
    QString machinePath(const QString &absolutePath) const;

    /// The inverse of systemPath(): "<root>/Applications/X.app" gives "/Applications/X.app";
    /// a path outside the root is returned unchanged.
    QString pathRelativeToRoot(const QString &path) const;

    /// home() joined with a home-relative path ("Library/Caches"); home() for an empty one.
    QString homePath(const QString &relativePath) const;

private:
    struct PlacesCache;
    // Gives this environment (not the copies it came from) a new, empty places cache.
    void forgetPlaces();

    QString m_root;
    QString m_home;
    QString m_loginName;
    uint m_userId = 0;
    KSTLayout m_layout;
    std::shared_ptr<PlacesCache> m_places;
};

/// Makes an environment current for the lifetime of the guard, restoring the previous one.
class KSTScopedEnvironment
{
public:
    explicit KSTScopedEnvironment(const KSTEnvironment &environment);
    ~KSTScopedEnvironment();
    KSTScopedEnvironment(const KSTScopedEnvironment &) = delete;
    KSTScopedEnvironment &operator=(const KSTScopedEnvironment &) = delete;

private:
    KSTEnvironment m_previous;
};
