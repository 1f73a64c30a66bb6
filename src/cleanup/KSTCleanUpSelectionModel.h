#pragma once

#include "KSTCleanUpRemoval.h"
#include "KSTCleanUpSnapshot.h"
#include "KSTError.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class KSTSystemInfo;

/// What the user is told once a removal has finished.
struct KSTCleanUpOutcome
{
    enum class Alert {
        None,          ///< something was removed and nothing failed: no alert
        Failed,        ///< nothing was removed: a warning
        PartlyCleaned, ///< something was removed but a move failed: an informational alert
    };

    quint64 itemsRemoved = 0;
    quint64 bytesRemoved = 0;
    std::optional<KSTError> error;
    Alert alert = Alert::None;
    QString message;         ///< "Clean failed", "Cleaned 3 item(s)"; empty without alert
    QString informativeText; ///< the error's description (or the fixed fallback)
    /// Every entry left in place, with its reason (the error is the last of them).
    QList<KSTCleanUpRemoval::Failure> failures;

    /// The alert for a removal's result: nothing removed gives "Clean failed" with the
    /// error's description or "Could not remove the selected items."; something removed with
    /// an error gives "Cleaned %lu item(s)" with the description; else no alert.
    static KSTCleanUpOutcome fromResult(quint64 itemsRemoved, quint64 bytesRemoved,
                                        const std::optional<KSTError> &error,
                                        const QList<KSTCleanUpRemoval::Failure> &failures = {});
};

/// The Clean Up screen's contract without its widgets: the snapshot shown, which items the
/// user ticked, what a removal is handed, the confirmation texts, the clean-in-progress flag
/// and the outcome. The window and `kestrel cleanup clean` both drive it, so they select and
/// remove exactly alike.
///
/// Selection works on each category's reviewItems() (allItems when it has any, else the card
/// items), addressed by category index and position in that list. Items of 0 bytes and the
/// local snapshots row (the volume itself) cannot be selected. What a removal receives
/// (itemsToRemove()) is built in two steps:
/// 1. the ticked items in category order, a ticked failed-downloads summary row replaced by
///    every failed download of its category (zero-byte ones still left out);
/// 2. reduced (reducedSelection()): shortest paths first; an empty path is dropped, and so is
///    an item whose every target (its own path when it has none) equals or lies below a
///    target of an item already kept, so a folder and something inside it are passed once.
///    The Downloads folder's contents and the Installer Packages share a path but not their
///    targets, so both pass.
/// The confirmation texts count and sum that reduced list.
///
/// After a removal the model clears the flag, invalidates the clean-up cache (which also
/// cancels a scan in flight) and emits cleanFinished(); the screen then rescans (refresh()).
///
/// Thread safety: a main-thread object; every call and signal happens on the main thread.
class KSTCleanUpSelectionModel : public QObject
{
    Q_OBJECT

public:
    /// Works for @p systemInfo (scans and cache invalidation), which must outlive the model
    /// and every removal it starts.
    explicit KSTCleanUpSelectionModel(KSTSystemInfo &systemInfo, QObject *parent = nullptr);
    ~KSTCleanUpSelectionModel() override;

    // ---- Snapshot ----

    /// Starts a scan through the service: the placeholder (or a cached complete snapshot)
    /// arrives first, then the complete one; each replaces the snapshot shown, except the one
    /// already shown (so a cached scan handed out again keeps the ticks). While a scan this
    /// model started is under way and still current, a second call does nothing. The window
    /// and `kestrel cleanup` both fetch through here.
    void refresh();
    /// Shows @p snapshot and clears the selection (the items are new).
    void setSnapshot(std::shared_ptr<const KSTCleanUpSnapshot> snapshot);
    std::shared_ptr<const KSTCleanUpSnapshot> snapshot() const { return m_snapshot; }
    /// True when a complete (not placeholder) snapshot is shown.
    bool hasCompleteSnapshot() const;

    /// The number of categories shown (4 once a snapshot is there, else 0).
    qsizetype categoryCount() const;
    /// The index of the category with @p categoryType, or -1.
    qsizetype indexOfCategoryType(const QString &categoryType) const;
    /// The review list of category @p category (empty for an index out of range).
    QList<KSTCleanUpItem> reviewItems(qsizetype category) const;

    // ---- Selection ----

    /// Items of 0 bytes and the item of the volume root ("/") are not offered for selection.
    static bool isSelectable(const KSTCleanUpItem &item);
    /// Ticks or clears one review item; refused (false) for an index out of range or an item
    /// that cannot be selected, and while a removal runs.
    bool setItemSelected(qsizetype category, qsizetype index, bool selected);
    bool isItemSelected(qsizetype category, qsizetype index) const;
    /// Ticks or clears every selectable review item of @p category; false when refused.
    bool setCategorySelected(qsizetype category, bool selected);
    /// Ticks the first selectable review item, in category order, whose filePath is
    /// @p filePath; false when there is none.
    bool selectItemWithFilePath(const QString &filePath);
    void clearSelection();

    /// The ticked items before the reduction, summary rows expanded (step 1 above).
    QList<KSTCleanUpItem> selectedItems() const;
    /// What a removal is handed: reducedSelection(selectedItems()).
    QList<KSTCleanUpItem> itemsToRemove() const;
    /// The byte total of itemsToRemove().
    quint64 selectedBytes() const;

    /// Step 2 above, on any list: sorted by path length (a stable sort), then items with an
    /// empty path, and items all of whose targets repeat or lie below ("<kept>/…") targets of
    /// items kept before, dropped.
    static QList<KSTCleanUpItem> reducedSelection(QList<KSTCleanUpItem> items);

    // ---- Confirmation and removal ----

    /// "Clean %@?" with formatBytesShort() of selectedBytes().
    QString confirmationMessage() const;
    /// "%lu selected item(s) will be moved to the Trash or permanently removed from the Mac
    /// Trash." with the number of items to remove.
    QString confirmationInformativeText() const;

    /// True while a removal runs.
    bool isCleaning() const { return m_cleaning; }
    /// A removal may start: there is something to remove and none is running.
    bool canClean() const;
    /// Hands itemsToRemove() to KSTCleanUpRemoval and sets the in-progress flag; refused
    /// (false, nothing happens) when canClean() is false. @p finished (may be null) is called
    /// with the outcome on the main thread, right after cleanFinished().
    bool startCleaning(std::function<void(const KSTCleanUpOutcome &)> finished = {});

Q_SIGNALS:
    void snapshotChanged();
    void selectionChanged();
    /// The in-progress flag changed (the clean button's state follows it).
    void cleaningChanged(bool cleaning);
    void cleanFinished(const KSTCleanUpOutcome &outcome);

private:
    using Key = QPair<qsizetype, qsizetype>;

    void finishCleaning(const KSTCleanUpOutcome &outcome,
                        const std::function<void(const KSTCleanUpOutcome &)> &finished);

    KSTSystemInfo *m_systemInfo;
    std::shared_ptr<const KSTCleanUpSnapshot> m_snapshot;
    QSet<Key> m_selected;
    bool m_cleaning = false;
    bool m_fetchInFlight = false;
    quint64 m_fetchGeneration = 0;
};
