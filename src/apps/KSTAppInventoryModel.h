#pragma once

#include "KSTAppInventorySnapshot.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

class KSTSystemInfo;
struct KSTAppUninstallOutcome;

/// What the App Manage screen shows of the inventory, without its widgets: the latest
/// snapshot, whether a scan this model asked for is under way, and when the inventory is
/// wholly done.
///
/// - refresh() asks the service for the inventory, unless a request of this model is still
///   being answered: a complete cached inventory comes back at once (and its missing sizes are
///   resumed by the service); otherwise a scan starts and its discovery snapshots arrive one
///   by one, then the complete one.
/// - Each "KSTAppInventoryMetadataDidUpdateNotification" of this service makes the model
///   re-read the cached inventory, so sizes and sort order arrive as the passes go on.
/// - cancel() stops the passes (the screen went away); the next refresh() goes on from what
///   the cache holds.
/// - After an uninstall the cached inventory has lost the app's records; uninstallDidFinish()
///   reads it again and scans anew when another copy of the identifier stayed installed.
///
/// Thread safety: a main-thread object; every call and signal happens on the main thread.
class KSTAppInventoryModel : public QObject
{
    Q_OBJECT

public:
    using SnapshotPtr = std::shared_ptr<const KSTAppInventorySnapshot>;

    /// @p systemInfo (with an App Manage engine installed) must outlive the model.
    explicit KSTAppInventoryModel(KSTSystemInfo &systemInfo, QObject *parent = nullptr);
    ~KSTAppInventoryModel() override;

    void refresh();
    void cancel();
    /// Forgets the cached inventory (and its bundle paths and related-path index) and scans
    /// again.
    void rescan();
    /// Shows the cached inventory as it is now (nothing when there is no complete one).
    void reloadFromCache();
    /// reloadFromCache() after a successful uninstall, and a new scan when @p outcome asks
    /// for one.
    void uninstallDidFinish(const KSTAppUninstallOutcome &outcome);

    /// The latest snapshot; null before the first arrives.
    SnapshotPtr snapshot() const { return m_snapshot; }
    /// A request of this model waits for its answer.
    bool isWaiting() const { return m_waiting; }
    /// Discovery is done and every bundle is sized ("Scan complete").
    bool isScanComplete() const;
    /// The record of @p bundlePath in the snapshot.
    std::optional<KSTInstalledAppRecord> appWithBundlePath(const QString &bundlePath) const;

    /// "Discovering applications…" before anything is known; "1 app", "%1 apps" with the
    /// total of their sizes once discovery is done, and "· %1 unused" when some were not
    /// opened for 30 days.
    QString summaryText() const;
    /// How long the last scan this model started took until "Scan complete"; nothing for an
    /// inventory that came from the cache or is not complete yet.
    std::optional<double> scanSeconds() const { return m_scanSeconds; }

Q_SIGNALS:
    void snapshotChanged();

private:
    void show(SnapshotPtr snapshot);

    KSTSystemInfo &m_systemInfo;
    SnapshotPtr m_snapshot;
    bool m_waiting = false;
    QElapsedTimer m_scanClock;
    std::optional<double> m_scanSeconds;
    // Tells the answers of an abandoned request from the current one.
    quint64 m_request = 0;
};
