#pragma once

#include "KSTStartupItemsPanelModel.h"
#include "KSTUtilitiesPanel.h"

class KSTUtilitiesAlerts;
class QLabel;
class QPushButton;

/// "Startup Items": every launch agent, launch daemon and login item with its kind and boot
/// impact, the summary ("Boot impact: High"), a Disable button on the items the model allows,
/// and Rescan. Disabling asks first and shows the model's failure text when it does not work.
class KSTStartupItemsPanel : public KSTUtilitiesPanel
{
    Q_OBJECT

public:
    /// @p manager and @p alerts must outlive the panel.
    KSTStartupItemsPanel(KSTUtilitiesManager &manager, const KSTUtilitiesAlerts &alerts,
                         QWidget *parent = nullptr);

    /// Scans again unless a scan is under way.
    void rescan();
    /// A complete list has been shown once.
    bool hasLoaded() const { return m_loaded; }

Q_SIGNALS:
    /// A list has been drawn.
    void loaded();

private:
    void redraw();
    QWidget *rowFor(const KSTStartupItemRecord &item);
    void requestDisable(const KSTStartupItemRecord &item);

    KSTStartupItemsPanelModel m_model;
    const KSTUtilitiesAlerts &m_alerts;
    bool m_loaded = false;
    QLabel *m_bootImpact = nullptr;
    QPushButton *m_rescan = nullptr;
    QLabel *m_empty = nullptr;
};
