#pragma once

#include "KSTDuplicateSnapshot.h"

#include <QWidget>

class KSTBusyIndicator;
class QLabel;
class QProgressBar;
class QPushButton;

/// The page of the Duplicates screen while a scan runs: the scan's own status text, its
/// progress as a bar, the files found so far and the folders, and Cancel.
class KSTDuplicateScanningView : public QWidget
{
    Q_OBJECT

public:
    explicit KSTDuplicateScanningView(QWidget *parent = nullptr);

    /// Shows the progress report @p snapshot.
    void showProgress(const KSTDuplicateSnapshot &snapshot);

Q_SIGNALS:
    void cancelRequested();

private:
    void restyle();

    KSTBusyIndicator *m_indicator = nullptr;
    QLabel *m_status = nullptr;
    QProgressBar *m_bar = nullptr;
    QLabel *m_detail = nullptr;
};
