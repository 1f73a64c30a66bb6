#pragma once

#include "KSTAppInventorySnapshot.h"
#include "KSTAppUninstaller.h"
#include "KSTError.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class KSTAppInventoryEngine;

/// One line of what an uninstall offers: the bundle first, then each related path.
struct KSTAppUninstallRow
{
    QString path;
    QString displayPath;
    quint64 bytes = 0;
    bool isBundle = false;
    bool isStrongMatch = false;
    bool isRemovable = false;
    bool isTickable = false; ///< the user may change its tick
    bool isTicked = false;
    QString explanation; ///< why it matched, in words (empty for the bundle)
};

/// What the user is told once an uninstall has finished.
struct KSTAppUninstallOutcome
{
    enum class Alert {
        None,   ///< everything chosen went to the Trash
        Failed, ///< nothing moved: a warning
        Partly, ///< something moved, something failed: the failed paths are listed
    };

    bool success = false;
    quint64 removedCount = 0;
    std::optional<KSTError> error;
    QStringList uninstallPaths;
    QStringList failedPaths;
    Alert alert = Alert::None;
    QString message;         ///< "Uninstalled “Notes”", "Uninstall failed"
    QString informativeText; ///< the error's description; empty without an error
    /// Another bundle with the same identifier stays installed: the inventory should be
    /// scanned again (its records of that identifier were dropped).
    bool needsRescan = false;
};

/// The uninstall contract of the App Manage screen without its widgets, shared by the window
/// and `kestrel apps uninstall` so that both offer, tick and remove exactly alike.
///
/// Given an application whose related paths are loaded:
/// - the bundle is always part of the uninstall (it cannot be unticked);
/// - related paths that are strong matches and removable start ticked; weak matches start
///   unticked until the user ticks them; paths that may not be removed can never be ticked;
/// - while another bundle with the same identifier stays installed, nothing but the bundle is
///   ticked or tickable: the files are that other copy's too;
/// - a system application cannot be uninstalled at all (the code-100 text says why).
/// The uninstall is handed a copy of the record whose related paths are exactly the ticked
/// ones, so it never looks paths up on its own. After a success the records of the identifier
/// leave the cached inventory (through the engine's hooks, as "Scan complete") and the outcome
/// says whether to scan again.
///
/// Thread safety: a main-thread object; every call and signal happens on the main thread.
class KSTAppUninstallSelection : public QObject
{
    Q_OBJECT

public:
    /// Works for @p engine (its uninstaller and cache), which must outlive the model and
    /// every uninstall it starts.
    explicit KSTAppUninstallSelection(KSTAppInventoryEngine &engine, QObject *parent = nullptr);
    ~KSTAppUninstallSelection() override;

    /// Shows @p app (its related paths loaded) among @p installedApps (the inventory, for the
    /// other copies of its identifier) and sets the default ticks.
    void setApp(const KSTInstalledAppRecord &app,
                const QList<KSTInstalledAppRecord> &installedApps);
    const KSTInstalledAppRecord &app() const { return m_app; }

    /// The bundle, then the related paths in the record's order.
    QList<KSTAppUninstallRow> rows() const;
    /// True when another bundle with the same identifier is installed.
    bool isAnotherCopyInstalled() const { return m_anotherCopy; }
    /// True for the bundle path and every related path of the app.
    bool isListed(const QString &path) const;
    bool isTickable(const QString &path) const;
    bool isTicked(const QString &path) const;
    /// Ticks or clears a related path; refused (false) for a path that is not listed or not
    /// tickable, and while an uninstall runs.
    bool setTicked(const QString &path, bool ticked);

    /// The record an uninstall receives: the app with exactly the ticked related paths.
    KSTInstalledAppRecord recordForUninstall() const;
    /// KSTAppUninstaller::uninstallPathsForApp(recordForUninstall()).
    QStringList uninstallPaths() const;
    /// The bytes of uninstallPaths() (the bundle's size and each ticked path's).
    quint64 selectedBytes() const;

    /// An uninstall may start: not a system app, a bundle path, none running.
    bool canUninstall() const;
    /// Why it cannot ("System apps cannot be uninstalled."), or empty.
    QString unavailableReason() const;
    /// "Uninstall “%1”?" with the app's name.
    QString confirmationMessage() const;
    /// "%1 item(s) (%2) will be moved to the Trash." with the count of uninstallPaths() and
    /// formatBytes() of selectedBytes().
    QString confirmationInformativeText() const;

    bool isUninstalling() const { return m_uninstalling; }
    /// Starts the uninstall of recordForUninstall(); false (nothing happens) when
    /// canUninstall() is false. @p finished (may be null) gets the outcome on the main
    /// thread, right after uninstallFinished().
    bool startUninstall(std::function<void(const KSTAppUninstallOutcome &)> finished = {});

    /// The outcome of a result; @p anotherCopy says whether to scan again.
    static KSTAppUninstallOutcome outcomeFor(const KSTAppUninstaller::Result &result,
                                             const QString &appName, bool anotherCopy);

Q_SIGNALS:
    void selectionChanged();
    void uninstallingChanged(bool uninstalling);
    void uninstallFinished(const KSTAppUninstallOutcome &outcome);

private:
    void finish(const KSTAppUninstaller::Result &result,
                const std::function<void(const KSTAppUninstallOutcome &)> &finished);

    KSTAppInventoryEngine *m_engine;
    KSTInstalledAppRecord m_app;
    bool m_anotherCopy = false;
    QSet<QString> m_ticked;
    bool m_uninstalling = false;
    // Callbacks hold a weak reference and skip a destroyed model.
    std::shared_ptr<KSTAppUninstallSelection *> m_self;
};
