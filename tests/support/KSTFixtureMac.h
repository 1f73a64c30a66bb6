#pragma once

#include "KSTEnvironment.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>
#include <QVariantMap>

#include <memory>

/// A whole Mac under a temporary root, so engines are tested against a machine rather than
/// against mocks: a user with a home and its Library folders, the system folders, an
/// operating-system version, application bundles, launchd property lists, the privacy
/// database and recorded command-line tools under <root>/usr/….
///
/// Paths given to the builders are relative: "root-relative" to the machine's root
/// ("Applications", "Library/LaunchDaemons") or "home-relative" to the user's home
/// ("Library/Caches/com.example"). Every builder returns the absolute path it wrote.
/// activate() makes the machine the current KSTEnvironment until the fixture is destroyed.
class KSTFixtureMac
{
public:
    enum class PlistFormat { Xml, Binary };

    /// An application bundle: <location>/<name>.app with Contents/Info.plist and
    /// Contents/MacOS/<name>.
    struct App
    {
        QString name;             ///< "Safari" makes Safari.app
        QString bundleIdentifier; ///< CFBundleIdentifier; left out of Info.plist when empty
        QString location = QStringLiteral("Applications"); ///< root-relative folder
        bool inHome = false; ///< location is home-relative instead ("Applications")
        QString shortVersion = QStringLiteral("1.0");
        QString bundleVersion = QStringLiteral("1");
        QVariantMap extraInfo; ///< further Info.plist keys (override the defaults)
        PlistFormat infoPlistFormat = PlistFormat::Xml;
        QString recordedInfoPlist; ///< copy a recorded Info.plist (tests/data/macos) instead
        /// Executable slices: "arm64", "x86_64"; one gives a thin Mach-O, several a universal
        /// binary; empty gives no executable.
        QStringList architectures = {QStringLiteral("arm64")};
        /// Contents/MacOS/<executableName>; the name when empty (a recorded Info.plist names
        /// its own, "Electron" for Visual Studio Code).
        QString executableName;
        qint64 resourceBytes = 0; ///< size of Contents/Resources/payload.bin
    };

    /// One row of the privacy database's access table.
    struct PrivacyRow
    {
        QString client;
        int authValue = 2;
        QString service = QStringLiteral("kTCCServiceSystemPolicyAllFiles");
        int clientType = 0;
    };

    enum class PrivacySchema {
        Sonoma,   ///< macOS 14 and later: auth_value
        BigSur,   ///< macOS 11 to 13: auth_value
        Catalina, ///< macOS 10.14/10.15: "allowed" instead of auth_value
    };

    enum class LaunchdDomain {
        UserAgent,   ///< <home>/Library/LaunchAgents
        GlobalAgent, ///< /Library/LaunchAgents
        Daemon,      ///< /Library/LaunchDaemons
    };

    /// Builds a Mac (macOS 14.5) with one user @p login.
    explicit KSTFixtureMac(const QString &login = QStringLiteral("alice"));
    ~KSTFixtureMac();
    KSTFixtureMac(const KSTFixtureMac &) = delete;
    KSTFixtureMac &operator=(const KSTFixtureMac &) = delete;

    bool isValid() const;
    QString root() const;
    QString home() const;
    QString login() const { return m_login; }
    QString path(const QString &rootRelative) const;
    QString homePath(const QString &homeRelative) const;

    /// The environment of this machine (root, user, home, mac layout).
    KSTEnvironment environment() const;
    /// Makes environment() current until the fixture is destroyed.
    void activate();

    /// Leaves the machine on disk when the fixture is destroyed (for tools that build one
    /// for a person to look at); returns its root.
    QString keep();

    /// Adds another user folder under Users; returns its home.
    QString addUser(const QString &login);

    // ---- Files ----
    QString makeDirectory(const QString &rootRelative);
    QString makeHomeDirectory(const QString &homeRelative);
    QString writeFile(const QString &rootRelative, const QByteArray &contents,
                      const QDateTime &modified = {});
    QString writeHomeFile(const QString &homeRelative, const QByteArray &contents,
                          const QDateTime &modified = {});
    /// A home file of exactly @p bytes (real data, not sparse, so it occupies blocks).
    QString writeSizedHomeFile(const QString &homeRelative, qint64 bytes,
                               const QDateTime &modified = {});
    QString writePlist(const QString &rootRelative, const QVariant &value,
                       PlistFormat format = PlistFormat::Xml);
    QString writeHomePlist(const QString &homeRelative, const QVariant &value,
                           PlistFormat format = PlistFormat::Xml);
    /// A symbolic link at @p rootRelative pointing at @p target (as given).
    QString makeSymlink(const QString &rootRelative, const QString &target);
    /// Sets the modification time of an absolute path, without following a link.
    static bool setModified(const QString &absolutePath, const QDateTime &modified);

    /// System/Library/CoreServices/SystemVersion.plist.
    void setSystemVersion(const QString &productVersion,
                          const QString &productName = QStringLiteral("macOS"),
                          const QString &buildVersion = QStringLiteral("23F79"));

    // ---- Applications and launchd ----
    QString addApp(const App &app);
    /// A launchd job property list named <label>.plist with Label set and @p keys merged.
    QString addLaunchdPlist(LaunchdDomain domain, const QString &label,
                            const QVariantMap &keys = {}, PlistFormat format = PlistFormat::Xml);

    // ---- Privacy database ----
    /// <home>/Library/Application Support/com.apple.TCC/TCC.db with the real schema text of
    /// @p schema and these rows.
    QString writePrivacyDatabase(const QList<PrivacyRow> &rows,
                                 PrivacySchema schema = PrivacySchema::Sonoma);
    /// A privacy database file that is not a database at all.
    QString writeCorruptPrivacyDatabase();

    // ---- Command-line tools ----
    /// An executable script at <root><toolPath> that prints @p standardOutput (and
    /// @p standardError) and exits with @p exitCode. Each call's arguments are logged, one
    /// line per call, for toolCalls().
    QString addTool(const QString &toolPath, const QByteArray &standardOutput, int exitCode = 0,
                    const QByteArray &standardError = {});
    /// The same with a recorded output from tests/data/macos.
    QString addRecordedTool(const QString &toolPath, const QString &recordedName, int exitCode = 0);
    /// An executable /bin/sh script with the given body (after the logging line). Replaces
    /// whatever is at the path, a linked host tool included (the link, not the host's tool).
    QString addToolScript(const QString &toolPath, const QByteArray &shellBody);
    /// Links the host's tool into the root (for helpers such as /usr/bin/wc in a pipeline).
    QString linkHostTool(const QString &toolPath);
    /// Arguments of each call of a tool added above, joined with single spaces.
    QStringList toolCalls(const QString &toolPath) const;

    /// Real bytes of a Mach-O executable with these slices (thin for one, universal for more).
    static QByteArray machOExecutable(const QStringList &architectures);

private:
    QString m_login;
    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<KSTScopedEnvironment> m_activation;
};
