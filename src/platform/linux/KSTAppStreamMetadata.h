#pragma once

#include <QByteArray>
#include <QString>

/// What App Manage reads from an AppStream metainfo (or older appdata) file: the newest
/// release's version and the developer's name.
///
/// The file is the analysed machine's, so hostile: callers read at most maximumFileBytes
/// (a larger file is not parsed at all), the reader stops after maximumElements elements,
/// values longer than maximumValueCharacters are ignored, and Qt's XML reader expands no
/// external entity. Pure; thread-safe.
struct KSTAppStreamMetadata
{
    static constexpr qsizetype maximumFileBytes = 1024 * 1024;
    static constexpr qsizetype maximumElements = 20'000;
    static constexpr qsizetype maximumValueCharacters = 256;

    /// The version of the newest <release> of <releases>: the one with the largest
    /// "timestamp" (seconds) or "date" (ISO 8601) attribute, the first listed one among
    /// equals or when none carries a date (AppStream lists the newest first).
    QString releaseVersion;
    /// The untranslated <developer><name> (AppStream 1.0), else <developer_name>.
    QString developerName;

    static KSTAppStreamMetadata parse(const QByteArray &contents);
};
