#pragma once

#include "KSTReporterModel.h"
#include "KSTToolScreen.h"

class KSTBusyIndicator;
class KSTCardFrame;
class KSTReporterBarChart;
class KSTReporterBarList;
class KSTReporterStatCard;
class KSTSystemInfo;
class QLabel;
class QPushButton;

/// The Mac Reporter: the last seven days at a glance. A header with the week's range, a
/// refresh and the way to the System Report; a notice when a damaged history was kept aside;
/// four count cards (files added and removed, applications installed and removed); the daily
/// disk-use chart and the daily download and upload chart with the byte totals and what they
/// cover; the folders that changed and the most used applications.
///
/// Everything comes from a KSTReporterModel: on show the report is fetched (the cached one
/// within ten minutes), so the placeholder drawn from the history appears at once and the full
/// report replaces it; "Refresh" builds it anew. The screen formats, it never measures.
///
/// "System Report" only emits KSTToolScreen::didRequestSystemReport(); the window shows it.
class KSTReporterScreen : public KSTToolScreen
{
    Q_OBJECT

public:
    /// @p systemInfo must outlive the screen.
    explicit KSTReporterScreen(KSTSystemInfo &systemInfo, QWidget *parent = nullptr);

    /// A full report is shown.
    bool isContentReady() const override;

protected:
    void showEvent(QShowEvent *event) override;

private:
    QWidget *buildHeaderCard();
    QWidget *buildNotice();
    KSTCardFrame *buildDiskCard();
    KSTCardFrame *buildNetworkCard();
    KSTCardFrame *buildListCard(const QString &title, const QString &symbolName,
                                const QString &colorName, KSTReporterBarList *list);

    void snapshotDidChange();
    void refreshControls();
    void refreshNotice();
    void refreshDayToolTips();

    KSTReporterModel m_model;
    bool m_announcedReady = false;

    QLabel *m_range = nullptr;
    QLabel *m_status = nullptr;
    KSTBusyIndicator *m_busy = nullptr;
    QPushButton *m_refreshButton = nullptr;
    KSTCardFrame *m_notice = nullptr;
    QLabel *m_noticeText = nullptr;
    KSTReporterStatCard *m_filesAdded = nullptr;
    KSTReporterStatCard *m_filesRemoved = nullptr;
    KSTReporterStatCard *m_appsInstalled = nullptr;
    KSTReporterStatCard *m_appsRemoved = nullptr;
    QLabel *m_diskChange = nullptr;
    KSTReporterBarChart *m_diskChart = nullptr;
    QLabel *m_downloaded = nullptr;
    QLabel *m_uploaded = nullptr;
    QLabel *m_networkPeriod = nullptr;
    KSTReporterBarChart *m_networkChart = nullptr;
    KSTReporterBarList *m_folders = nullptr;
    KSTReporterBarList *m_usage = nullptr;
};
