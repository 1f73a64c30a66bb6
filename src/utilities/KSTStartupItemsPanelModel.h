#pragma once

#include "KSTError.h"
#include "KSTStartupItemRecord.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

class KSTUtilitiesManager;
class QObject;

/// The "Startup Items" panel without widgets, shared by the window and `kestrel startup`:
/// the list and its summary, which items offer Disable, the confirmation and the outcome
/// texts. Not thread-safe; used on one thread (the main thread in the window).
class KSTStartupItemsPanelModel
{
public:
    enum class Match { Found, NotFound, Ambiguous };

    explicit KSTStartupItemsPanelModel(KSTUtilitiesManager &manager);

    /// Scans again (synchronously).
    void rescan();
    /// Scans on a worker thread, then on the main queue takes the new list and calls @p done,
    /// unless @p context has been destroyed by then. @p context must not outlive this model
    /// (the screen that owns it). A call while an earlier one is under way is ignored.
    void rescanAsync(const QObject *context, std::function<void()> done);
    /// A rescanAsync() is under way.
    bool isScanning() const { return m_scanning; }
    const QList<KSTStartupItemRecord> &items() const { return m_items; }
    /// "High", "Medium", "Low" or "None".
    QString bootImpact() const;

    static QString bootImpactLabel() { return QStringLiteral("Boot impact:"); }
    /// "No startup items detected on this Mac." in the current layout's words.
    static QString emptyText();
    static QString disableButtonTitle() { return QStringLiteral("Disable"); }
    static QString cancelButtonTitle() { return QStringLiteral("Cancel"); }

    /// The item whose path is @p text, else the only one whose identifier is @p text.
    Match find(const QString &text, KSTStartupItemRecord *item) const;

    /// "Disable <name>?"
    static QString confirmationMessage(const KSTStartupItemRecord &item);
    static QString confirmationInformativeText();

    /// Disables @p item and rescans on success; the error on failure.
    bool disable(const KSTStartupItemRecord &item, KSTError *error);
    /// As disable(), with the work (launchctl, the rename, the rescan) on a worker thread; on
    /// the main queue the new list is taken on success and @p done gets the outcome, unless
    /// @p context has been destroyed by then. Ignored (false) while a scan or another
    /// disabling is under way; isScanning() is true until @p done.
    bool disableAsync(const QObject *context, const KSTStartupItemRecord &item,
                      std::function<void(bool disabled, const std::optional<KSTError> &)> done);
    /// What the screen shows when disabling failed: the description, else the fallback.
    static QString failureText(const std::optional<KSTError> &error);

private:
    KSTUtilitiesManager &m_manager;
    QList<KSTStartupItemRecord> m_items;
    bool m_scanning = false;
};
