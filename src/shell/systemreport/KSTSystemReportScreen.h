#pragma once

#include "KSTSystemReportExport.h"
#include "KSTSystemReportModel.h"
#include "KSTToolScreen.h"

#include <functional>

class KSTBusyIndicator;
class KSTSystemReportService;
class QGridLayout;
class QHBoxLayout;
class QLabel;
class QPushButton;

/// The System Report: a back control, a header with the machine's title, when the report was made,
/// Refresh and the two exports; the summary cards; then one card per section with its rows, each
/// value coloured by its style (good emerald, warning orange, critical rose).
///
/// Everything comes from a KSTSystemReportModel: on show the cached final report appears at
/// once, else the placeholder, which each update of the fetch replaces. The fetch goes on
/// while the screen is hidden. Export asks for a path in a save dialog limited to the
/// format's one extension and hands the path to the model; a failure is shown in an
/// "Export Failed" alert.
class KSTSystemReportScreen : public KSTToolScreen
{
    Q_OBJECT

public:
    /// @p service must outlive the screen.
    explicit KSTSystemReportScreen(KSTSystemReportService &service, QWidget *parent = nullptr);

    /// Asks where to save: the dialog's title, the proposed file name and the one extension
    /// allowed; an empty string when the user cancelled.
    using SavePathPresenter = std::function<QString(
        QWidget *parent, const QString &title, const QString &fileName, const QString &extension)>;
    /// Tells of a failure: the alert's title and its text.
    using FailurePresenter =
        std::function<void(QWidget *parent, const QString &title, const QString &text)>;
    /// Replaces the save dialog and the failure alert (tests answer them without a user).
    void setExportPresenters(SavePathPresenter savePath, FailurePresenter failure);

    /// Asks for a path and saves the report shown there in @p format. A name with another
    /// extension than the format's is refused in the failure alert; one without an extension
    /// gets the format's.
    void exportReport(KSTSystemReportExport::Format format);

    /// A final report is shown.
    bool isContentReady() const override;

Q_SIGNALS:
    /// The back control: the user wants the screen they came from.
    void didRequestBack();

protected:
    void showEvent(QShowEvent *event) override;

private:
    QWidget *buildHeaderCard();
    void snapshotDidChange();
    void reportDidComplete();
    void rebuildCards();
    void rebuildSections();
    void refreshControls();

    KSTSystemReportModel m_model;
    SavePathPresenter m_savePath;
    FailurePresenter m_failure;

    QLabel *m_title = nullptr;
    QLabel *m_subtitle = nullptr;
    KSTBusyIndicator *m_busy = nullptr;
    QPushButton *m_refreshButton = nullptr;
    QPushButton *m_exportTextButton = nullptr;
    QPushButton *m_exportPdfButton = nullptr;
    QHBoxLayout *m_cardsLayout = nullptr;
    QWidget *m_cardsHost = nullptr;
    QGridLayout *m_sectionsLayout = nullptr;
    QWidget *m_sectionsHost = nullptr;
};
