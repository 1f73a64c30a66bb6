#pragma once

#include "KSTAppInventorySnapshot.h"
#include "KSTLaunchAgentJob.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// How a file outside an application's bundle is recognised as the application's: the tokens
/// an application is known by, the three matches, the candidates and how sure a match is.
///
/// Tokens are the bundle identifier, the name, the identifier's last "/"-separated component
/// (3 characters or more) and the identifiers of the bundles embedded in the application,
/// each once. Three matches use them:
/// - an entry (a file or folder name) matches when it equals the identifier or starts with
///   it and a full stop, or when it contains a token of 2 characters or more, letter case
///   ignored;
/// - a path matches when its last component does, or when the whole path contains such a
///   token;
/// - a launch job property list matches when its label, program or an argument does either.
/// Containment over-matches on purpose ("Go" is inside every Google folder): every match is
/// kept, and isStrongMatch() says which ones are sure enough to be removed by default.
///
/// Stateless and thread-safe; file reads go through KSTQuietFiles.
class KSTRelatedPathMatcher
{
public:
    KSTRelatedPathMatcher() = delete;

    /// The related paths found during one look-up, each once (the first candidate for a path
    /// wins).
    class Collection
    {
    public:
        bool contains(const QString &path) const { return m_index.contains(path); }
        void add(const KSTInstalledAppRelatedPath &relatedPath);
        const QList<KSTInstalledAppRelatedPath> &paths() const { return m_paths; }
        /// Bytes descending, equal sizes by display path (plain comparison).
        QList<KSTInstalledAppRelatedPath> sortedPaths() const;

    private:
        QHash<QString, qsizetype> m_index;
        QList<KSTInstalledAppRelatedPath> m_paths;
    };

    /// A path a rule proposes for an application.
    struct Candidate
    {
        QString path;
        QString matchRule;
        QString matchedToken;
        /// Filled from a home template with the identifier or the name, or a receipt template.
        bool fromExactTemplate = false;
        /// The launch job a launch-agent or shared-folder candidate holds, when it is one.
        std::optional<KSTLaunchAgentJob> job;
    };

    // ---- Tokens ----

    /// The tokens of @p app, in the order above, each once.
    static QStringList relatedPathTokensForApp(const KSTInstalledAppRecord &app);
    /// The non-empty identifiers of the .app and .appex bundles in the embedded-bundle
    /// folders of the bundle @p appPath, two folder levels deep, in discovery order (never
    /// looking inside an embedded bundle, never following a link).
    static QStringList embeddedBundleIdentifiersForAppPath(const QString &appPath);
    /// The collector behind it: searches @p path @p maxDepth levels deep.
    static void collectEmbeddedBundleIdentifiersUnderPath(const QString &path, int maxDepth,
                                                          QStringList &collection);

    // ---- The three matches ----

    /// The token that makes the entry @p name match (the identifier for the identifier's own
    /// names); nothing when none does.
    static std::optional<QString> matchingTokenForEntry(const QString &name,
                                                        const QStringList &tokens,
                                                        const QString &bundleIdentifier = {});
    /// Whether the entry @p name matches (with or without the identifier's own names).
    static bool relatedPathEntry(const QString &name, const QStringList &tokens,
                                 const QString &bundleIdentifier);
    static bool relatedPathEntry(const QString &name, const QStringList &tokens);
    /// The token that makes the path match: its last component's entry match, else a token
    /// of 2 characters or more anywhere in it, letter case ignored.
    static std::optional<QString> matchingTokenForPath(const QString &path,
                                                       const QStringList &tokens);
    /// Whether the path @p path matches.
    static bool relatedPath(const QString &path, const QStringList &tokens);
    /// The token a launch job property list at @p path matches through its label, program or
    /// arguments; nothing when it does not (or cannot be read). @p job receives the job read.
    static std::optional<QString> matchingTokenForPlist(const QString &path,
                                                        const QStringList &tokens,
                                                        std::optional<KSTLaunchAgentJob> *job);
    /// Whether the launch job property list at @p path matches.
    static bool plistAtPath(const QString &path, const QStringList &tokens);
    /// The token @p job matches through its label, program or arguments; nothing when none.
    static std::optional<QString> matchingTokenForJob(const KSTLaunchAgentJob &job,
                                                      const QStringList &tokens);
    /// The launch job in the property list at @p path; invalid when it cannot be read.
    static KSTLaunchAgentJob launchJobAtPath(const QString &path);

    // ---- How sure ----

    /// True when the "."-separated parts of @p identifier appear, in order and next to each
    /// other, among those of @p name, letter case ignored: "com.example.app" is held whole by
    /// "com.example.app.helper.plist", "group.com.example.app" and
    /// "ABCDE12345.com.example.app", not by "com.example.application".
    static bool holdsIdentifierWhole(const QString &name, const QString &identifier);

    /// A match is strong when it came from a home template filled with the identifier or the
    /// name, or from a receipt template; or its last component holds the identifier whole; or
    /// it is a launch job whose program or first argument lies inside the bundle (a Mac path,
    /// without the analysed root). Never when another installed application's longer
    /// identifier (@p installedIdentifiers) is held whole by its last component.
    static bool isStrongMatch(const Candidate &candidate, const KSTInstalledAppRecord &app,
                              const QStringList &installedIdentifiers);

    /// The path shown to a person: the accessible home replaced by "~" (a plain prefix test).
    static QString shortenHomePath(const QString &path);

    /// Why a related path matched, in words: "Named after “com.example.app”", "Name contains
    /// “go”", "Path contains “com.example.app”", "Installer receipt of “com.example.app”",
    /// "Its launch job names “go”".
    static QString explanation(const KSTInstalledAppRelatedPath &relatedPath);
};
