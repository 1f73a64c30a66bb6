#pragma once

#include "KSTSecureEraseModel.h"
#include "KSTUtilitiesPanel.h"

#include <functional>

class KSTPathDropArea;
class KSTUtilitiesAlerts;
class QComboBox;
class QLabel;
class QPushButton;

/// "Secure Erase": a drop area and Choose… collect files, folders or a volume; "Erase Method"
/// picks the passes; Erase refuses a protected path with the model's text, else asks
/// (saying what would be overwritten), runs the model's job with its progress and tells the
/// outcome. The panel says plainly what overwriting cannot promise on SSDs and copy-on-write
/// file systems.
class KSTSecureErasePanel : public KSTUtilitiesPanel
{
    Q_OBJECT

public:
    /// Asks the user for paths (from the Choose… button it gets); empty when cancelled.
    using PathPicker = std::function<QStringList(QWidget *parent)>;

    /// @p manager and @p alerts must outlive the panel.
    KSTSecureErasePanel(KSTUtilitiesManager &manager, const KSTUtilitiesAlerts &alerts,
                        QWidget *parent = nullptr);

    void setPathPicker(PathPicker picker) { m_picker = std::move(picker); }
    /// The paths to erase (as dropped or chosen).
    void setPaths(const QStringList &paths);
    /// The Erase button: the refusal at once, else (after counting what would be overwritten,
    /// on a worker) the confirmation, then the job.
    void requestErase();

Q_SIGNALS:
    /// A job has ended (the machine's files may have changed).
    void jobFinished();

private:
    void choose();
    void refreshControls();
    void showStatus(const QString &text, const QString &colorName);
    void confirmAndStart(const QStringList &paths, const QString &preview);
    void finish(bool success, const std::optional<KSTError> &error);

    KSTUtilitiesManager &m_manager;
    KSTSecureEraseModel m_model;
    // The count shown in the confirmation is being made.
    bool m_counting = false;
    const KSTUtilitiesAlerts &m_alerts;
    PathPicker m_picker;
    KSTPathDropArea *m_dropArea = nullptr;
    QComboBox *m_method = nullptr;
    QPushButton *m_choose = nullptr;
    QPushButton *m_erase = nullptr;
    QLabel *m_status = nullptr;
};
