#pragma once

#include <QByteArray>
#include <QString>

/// Security-scoped bookmarks of a sandboxed macOS build: a folder the user chose once in an
/// open panel, stored as data and reopened at launch. Outside a sandbox (every Linux build,
/// and the direct-distribution macOS build) the data simply records the path, and starting
/// access always succeeds; the access layer keeps its sandbox branches dormant.
class KSTSecurityScopedBookmark
{
public:
    /// Bookmark data for @p path (security scope, no resource keys); empty on failure.
    static QByteArray create(const QString &path);
    /// The path a bookmark resolves to, or empty on failure; @p stale says whether a fresh
    /// bookmark should be saved.
    static QString resolve(const QByteArray &data, bool *stale = nullptr);
    static bool startAccessing(const QString &path);
    static void stopAccessing(const QString &path);
};

/// Opening a System Settings pane by URL ("x-apple.systempreferences:…"). Returns false where
/// the platform has no such pane (Linux).
bool kstOpenSystemSettingsURL(const QString &url);
