#pragma once

#include <QString>

#include <optional>

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
    /// - with a non-"/" root and no user, the login is the one folder under <root>/Users
    ///   other than "Shared" (an error asks for --user when there are several or none);
    /// - home defaults to <root>/Users/<login> under a non-"/" root, else the user's home;
    /// - layout defaults to mac when the root holds
    ///   System/Library/CoreServices/SystemVersion.plist or the host is macOS, else linux.
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
    void setLoginName(const QString &loginName) { m_loginName = loginName; }
    void setUserId(uint userId) { m_userId = userId; }
    void setLayout(KSTLayout layout) { m_layout = layout; }

    /// Resolves a fixed absolute system path ("/Applications", "/usr/bin/find") under the
    /// root: "<root>/Applications". With root "/" the path is returned unchanged. A relative
    /// path is returned unchanged.
    QString systemPath(const QString &absolutePath) const;

    /// The inverse of systemPath(): "<root>/Applications/X.app" gives "/Applications/X.app";
    /// a path outside the root is returned unchanged.
    QString pathRelativeToRoot(const QString &path) const;

    /// home() joined with a home-relative path ("Library/Caches"); home() for an empty one.
    QString homePath(const QString &relativePath) const;

private:
    QString m_root;
    QString m_home;
    QString m_loginName;
    uint m_userId = 0;
    KSTLayout m_layout;
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
