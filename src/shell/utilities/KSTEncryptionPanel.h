#pragma once

#include "KSTEncryptionModel.h"
#include "KSTUtilitiesPanel.h"

#include <functional>

class KSTPathDropArea;
class KSTUtilitiesAlerts;
class QLabel;
class QLineEdit;
class QPushButton;

/// "Encrypted Archives": a drop area and Choose… collect files and folders; the password is
/// typed twice (never shown, never kept once the job has it); Encrypt checks the two with the
/// model, asks, runs the model's job and tells how many archives were made or why not.
class KSTEncryptionPanel : public KSTUtilitiesPanel
{
    Q_OBJECT

public:
    using PathPicker = std::function<QStringList(QWidget *parent)>;

    /// @p manager and @p alerts must outlive the panel.
    KSTEncryptionPanel(KSTUtilitiesManager &manager, const KSTUtilitiesAlerts &alerts,
                       QWidget *parent = nullptr);

    void setPathPicker(PathPicker picker) { m_picker = std::move(picker); }
    void setPaths(const QStringList &paths);
    /// The Encrypt button: the password checks, confirmation, then the job.
    void requestEncrypt();

Q_SIGNALS:
    /// A job has ended (the machine's files may have changed).
    void jobFinished();

private:
    void choose();
    void refreshControls();
    void showStatus(const QString &text, const QString &colorName);
    void finish(quint64 created, const std::optional<KSTError> &error);

    KSTEncryptionModel m_model;
    const KSTUtilitiesAlerts &m_alerts;
    PathPicker m_picker;
    KSTPathDropArea *m_dropArea = nullptr;
    QLineEdit *m_password = nullptr;
    QLineEdit *m_confirmation = nullptr;
    QPushButton *m_choose = nullptr;
    QPushButton *m_encrypt = nullptr;
    QLabel *m_status = nullptr;
};
