#pragma once

#include "KSTCleanUpSelectionModel.h"
#include "KSTToolScreen.h"

#include <QList>
#include <QTimer>

#include <functional>

class KSTAccessReminderBanner;
class KSTBusyIndicator;
class KSTCleanUpCategoryCard;
class KSTCleanUpReviewList;
class KSTSystemInfo;
class QLabel;
class QPushButton;

/// The Clean Up screen: what can be reclaimed in total, how many files were looked at and
/// how long ago; the four category cards with their totals and short lists; the review list
/// of every item with check boxes; the selected total and the "Clean" button; the Full Disk
/// Access reminder when access is missing.
///
/// Everything it shows and does goes through a KSTCleanUpSelectionModel: the snapshot comes
/// from KSTSystemInfo::fetchCleanUpSnapshotAsync() (the placeholder first, then the complete
/// scan), the ticks are the model's selection, and a removal is the model's startCleaning().
/// "Clean" asks first (the model's confirmation texts); while the removal runs the controls
/// are disabled and a progress indicator turns; afterwards the screen rescans and tells the
/// outcome the model worked out (no alert when everything went).
///
/// The snapshot is asked for each time the screen is shown (a cached one comes at once, so a
/// cache dropped meanwhile is scanned again), but never while a scan this screen started is
/// still under way. Alerts go through replaceable presenters, so tests answer them.
class KSTCleanUpScreen : public KSTToolScreen
{
    Q_OBJECT

public:
    /// Asks before a removal: true to go ahead.
    using ConfirmationPresenter = std::function<bool(QWidget *parent, const QString &message,
                                                     const QString &informativeText)>;
    /// Tells the outcome of a removal (called only when its alert is not None).
    using OutcomePresenter = std::function<void(QWidget *parent, const KSTCleanUpOutcome &)>;

    /// @p systemInfo must outlive the screen and every removal it starts.
    explicit KSTCleanUpScreen(KSTSystemInfo &systemInfo, QWidget *parent = nullptr);

    /// A complete scan is shown.
    bool isContentReady() const override;

    /// Replaces the QMessageBox alerts (tests).
    void setAlertPresenters(ConfirmationPresenter confirmation, OutcomePresenter outcome);

    /// Asks the service for the snapshot unless a fetch this screen started is still under way.
    void refreshSnapshot();
    /// Drops the cached scan and scans again (the rescan button).
    void rescan();
    /// The clean button: confirmation, then the removal.
    void requestClean();
    /// Shows or hides the Full Disk Access reminder after asking the checker afresh.
    void refreshReminderBanner();

    /// What the screen draws and passes the user's choices to.
    KSTCleanUpSelectionModel &model() { return m_model; }

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    QWidget *buildSummaryCard();
    QWidget *buildReviewCard();

    void snapshotDidChange();
    void refreshSummary();
    void refreshControls();
    void cleaningDidFinish(const KSTCleanUpOutcome &outcome);

    KSTSystemInfo &m_systemInfo;
    KSTCleanUpSelectionModel m_model;
    ConfirmationPresenter m_confirm;
    OutcomePresenter m_tell;
    bool m_announcedReady = false;
    // Keeps "Scanned 5 min ago" true while the screen is on display.
    QTimer m_ageTimer;

    KSTAccessReminderBanner *m_banner = nullptr;
    KSTBusyIndicator *m_scanIndicator = nullptr;
    QLabel *m_summary = nullptr;
    QLabel *m_detail = nullptr;
    QPushButton *m_rescanButton = nullptr;
    QList<KSTCleanUpCategoryCard *> m_cards;
    KSTCleanUpReviewList *m_reviewList = nullptr;
    QLabel *m_selection = nullptr;
    KSTBusyIndicator *m_cleanIndicator = nullptr;
    QLabel *m_cleaningLabel = nullptr;
    QPushButton *m_cleanButton = nullptr;
};
