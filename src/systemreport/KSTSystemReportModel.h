#pragma once

#include "KSTSystemReportExport.h"
#include "KSTSystemReportService.h"

#include <QDate>
#include <QObject>
#include <QString>

#include <optional>

/// The System Report screen's contract without its widgets: the report shown, when to fetch,
/// refreshing, and exporting with the save dialog's texts and the failure alert's text.
///
/// show() puts the cached complete report on display at once when there is one; otherwise it
/// shows the placeholder and starts a fetch whose every update replaces the report shown. A
/// fetch goes on while the screen is hidden, so coming back shows its result. refresh() drops
/// the service's cached report and fetches again. When the service refuses a fetch (another
/// client's is running), the placeholder stays and the next show() asks again.
///
/// Thread safety: a main-thread object; every call and signal happens on the main thread.
/// Updates reach it through KSTDispatch::onMainFor, so none arrives after it is destroyed.
class KSTSystemReportModel : public QObject
{
    Q_OBJECT

public:
    /// Works for @p service, which must outlive the model.
    explicit KSTSystemReportModel(KSTSystemReportService &service, QObject *parent = nullptr);

    void show();
    void refresh();

    /// The report on display (the placeholder before anything else); never null.
    KSTSystemReportService::SnapshotPtr snapshot() const { return m_snapshot; }
    /// Whether the report shown is a final one.
    bool isComplete() const { return m_complete; }
    /// Whether this model's fetch is still running.
    bool isFetching() const { return m_fetching; }
    /// How many updates the current fetch has delivered so far (its final one included).
    int updateCount() const { return m_updateCount; }

    // ---- Export ----
    static QString exportDialogTitle() { return QStringLiteral("Export System Report"); }
    static QString exportFailedTitle() { return QStringLiteral("Export Failed"); }
    /// "Kestrel-SystemReport-<yyyy-MM-dd>.<txt|pdf>" for @p today.
    static QString suggestedFileName(KSTSystemReportExport::Format format,
                                     const QDate &today = QDate::currentDate());
    /// The one extension the save dialog allows ("txt" or "pdf").
    static QString allowedExtension(KSTSystemReportExport::Format format)
    {
        return KSTSystemReportExport::extension(format);
    }
    /// The format whose extension is exactly @p extension ("txt", "pdf"); nothing otherwise.
    static std::optional<KSTSystemReportExport::Format>
    formatForExtension(const QString &extension);
    /// Where a name chosen in the save dialog is written in @p format: @p chosen itself when
    /// its file name ends in the format's extension (in any case), @p chosen with that
    /// extension added when its file name has no extension; nothing when it has another one,
    /// and then @p refusal (if given) holds the text telling the user why.
    static std::optional<QString> exportPathForChosenName(const QString &chosen,
                                                          KSTSystemReportExport::Format format,
                                                          QString *refusal = nullptr);
    /// Saves the report shown at @p path; nothing on success, else the alert's text.
    std::optional<QString> exportToPath(const QString &path,
                                        KSTSystemReportExport::Format format) const;
    /// Saves the report shown at @p path; false on failure, with @p error's description
    /// replaced by the alert's text.
    bool exportToPath(const QString &path, KSTSystemReportExport::Format format,
                      KSTError *error) const;

Q_SIGNALS:
    /// The report shown changed (an update or the cached report).
    void snapshotChanged();
    /// A final report is shown.
    void reportCompleted();
    /// isFetching() changed (the fetch ends after its final report is already shown).
    void fetchingChanged();
    /// The current fetch delivered another update (see updateCount()).
    void updateArrived();

private:
    void display(KSTSystemReportService::SnapshotPtr snapshot, bool complete);
    void startFetch();

    KSTSystemReportService &m_service;
    KSTSystemReportService::SnapshotPtr m_snapshot;
    bool m_complete = false;
    bool m_fetching = false;
    int m_updateCount = 0;
};
