#pragma once

#include <QByteArray>
#include <QString>

/// What the quarantine records say about a downloaded file: the "com.apple.quarantine"
/// attribute ("flags;time;agent;event id") joined on its event id with the user's read-only
/// quarantine events database (LSQuarantineEvent).
struct KSTQuarantineInfo
{
    QString agentName;             ///< the application that downloaded it
    QString agentBundleIdentifier; ///< from the database
    QString dataURL;               ///< where the data came from, from the database
    QString eventIdentifier;

    /// The fields of an attribute value; empty fields when it has fewer than four. Pure.
    static KSTQuarantineInfo fromAttribute(const QByteArray &value);

    /// The attribute of @p path joined with the database of the analysed home; empty when the
    /// file has no attribute.
    static KSTQuarantineInfo forPath(const QString &path);

    /// Fills the database's fields for this event id from the database at @p databasePath
    /// (opened read-only and immutable); the attribute's agent name is kept when the
    /// database has none.
    void joinDatabase(const QString &databasePath);
};
