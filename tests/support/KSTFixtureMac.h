#pragma once

#include "KSTFixtureMachine.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

/// A whole Mac under a temporary root, so engines are tested against a machine rather than
/// against mocks: a user with a home and its Library folders, the system folders, an
/// operating-system version, application bundles, launchd property lists, the privacy
/// database and recorded command-line tools under <root>/usr/….
///
/// Paths given to the builders are relative: "root-relative" to the machine's root
/// ("Applications", "Library/LaunchDaemons") or "home-relative" to the user's home
/// ("Library/Caches/com.example"). Every builder returns the absolute path it wrote.
/// activate() makes the machine the current KSTEnvironment until the fixture is destroyed.
class KSTFixtureMac : public KSTFixtureMachine
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

    /// Adds another user folder under Users; returns its home.
    QString addUser(const QString &login);

    // ---- Files ----
    QString writePlist(const QString &rootRelative, const QVariant &value,
                       PlistFormat format = PlistFormat::Xml);
    QString writeHomePlist(const QString &homeRelative, const QVariant &value,
                           PlistFormat format = PlistFormat::Xml);

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
    /// addTool() with a recorded output from tests/data/macos.
    QString addRecordedTool(const QString &toolPath, const QString &recordedName, int exitCode = 0);

    /// Real bytes of a Mach-O executable with these slices (thin for one, universal for more).
    static QByteArray machOExecutable(const QStringList &architectures);
};
