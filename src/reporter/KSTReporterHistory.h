#pragma once

#include <QDateTime>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

/// The Reporter's daily history: one record per calendar day on which a full weekly scan
/// ran, the last 30 days, in one XML property list of the analysed user's.
///
/// Place: <home>/Library/Application Support/Kestrel/reporter-history.plist under the mac
/// layout; under linux $XDG_DATA_HOME/kestrel/ (when the analysed home is the running user's,
/// else <home>/.local/share/kestrel/). The root is an array of dictionaries sorted by "day"
/// ("yyyy-MM-dd"), each with exactly "day", "storageUsed", "networkIn", "networkOut",
/// "filesAdded" and "trashCount".
///
/// The history is the user's data:
/// - every write goes to a temporary file in the same folder, flushed and renamed over the
///   old one, so an interrupted write leaves the previous file whole;
/// - an update's read-modify-write holds reporter-history.plist.lock, so two programs
///   updating at once never drop each other's day; no lock within LockTimeoutMs is a
///   failed update;
/// - a file that is not a property list, whose root is not an array, that is larger than
///   MaximumFileBytes, or that cannot be read at all is damaged: it reads as no history, and
///   the next update renames it (never copies, never deletes it) to
///   reporter-history.plist.damaged-<yyyyMMdd-HHmmss> (then "-2", "-3"… on a clash) before
///   writing a fresh file. Array elements that are not dictionaries with a "day" string are
///   skipped.
///
/// Thread safety: any thread; updates from several threads or processes serialise on the
/// lock file.
class KSTReporterHistory
{
public:
    KSTReporterHistory() = delete;

    enum class State {
        Missing, ///< no file: an empty history
        Valid,   ///< read
        Damaged, ///< there, but not a history (see the class): reads as empty
    };
    struct Contents
    {
        State state = State::Missing;
        QVariantList records; ///< usable records, in file order
        QString problem;      ///< what is wrong with a damaged file
    };
    /// What an update did.
    struct UpdateResult
    {
        bool written = false;
        QString reason;          ///< why not, when not written
        QString keptDamagedPath; ///< where a damaged file was moved before writing, if any
    };

    /// The folder of the history for the current environment (not created).
    static QString reporterHistoryFolder();
    /// The history file's path; creates its folder (failures are ignored).
    static QString reporterHistoryPath();
    /// The same without creating anything, for readers that must change nothing.
    static QString reporterHistoryPathWithoutCreating();
    /// The records of the file at the history path; empty when missing or damaged.
    static QVariantList reporterHistoryRecords();
    /// Reads and checks the history file at @p path (at most MaximumFileBytes are read).
    static Contents readHistoryAtPath(const QString &path);
    /// Checks the bytes of a history file (Missing is never the answer).
    static Contents historyFromData(const QByteArray &bytes);

    /// Records the figures for @p date's day: replaces that day's record or adds one, keeps
    /// the records sorted and the newest MaximumRecords, and writes the file (see the class).
    static UpdateResult
    updateReporterHistoryForDate(const QDateTime &date, quint64 storageUsedBytes,
                                 quint64 networkInputBytes, quint64 networkOutputBytes,
                                 quint64 filesAddedCount, quint64 trashItemCount);
    /// The record the update writes for these figures.
    static QVariantMap recordForDate(const QDateTime &date, quint64 storageUsedBytes,
                                     quint64 networkInputBytes, quint64 networkOutputBytes,
                                     quint64 filesAddedCount, quint64 trashItemCount);
    /// @p records with @p record in place of the first one of its day (or added), sorted by
    /// "day" and trimmed to the newest MaximumRecords.
    static QVariantList mergedRecords(QVariantList records, const QVariantMap &record);

    /// For tests: when set, the next writes stop after the data is written and before the
    /// rename that would make it the history, as a crash there would.
    static void setInterruptWritesForTesting(bool interrupt);

    static constexpr qsizetype MaximumRecords = 30;
    static constexpr qint64 MaximumFileBytes = 1024 * 1024;
    static constexpr int LockTimeoutMs = 5000;
    static constexpr int MaximumDamagedNameAttempts = 1000;
};
