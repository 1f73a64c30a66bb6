#pragma once

#include "KSTDefaultAppRecord.h"
#include "KSTUtilitiesPanel.h"

#include <QList>

class KSTUtilitiesAlerts;
class KSTUtilitiesManager;
class QComboBox;

/// "Default Apps": each file type with the application that opens it now and a menu of the
/// applications that could; choosing another asks the manager to make it the default and
/// reads the list again. A change the manager refuses is told and the menu goes back.
class KSTDefaultAppsPanel : public KSTUtilitiesPanel
{
    Q_OBJECT

public:
    /// @p manager and @p alerts must outlive the panel.
    KSTDefaultAppsPanel(KSTUtilitiesManager &manager, const KSTUtilitiesAlerts &alerts,
                        QWidget *parent = nullptr);

    /// Reads the bindings again (on a worker) unless a read is under way.
    void refresh();
    bool hasLoaded() const { return m_loaded; }

Q_SIGNALS:
    void loaded();

private:
    void show(const QList<KSTDefaultAppRecord> &records);
    QWidget *rowFor(const KSTDefaultAppRecord &record);
    void choose(QComboBox *menu, const KSTDefaultAppRecord &record);

    KSTUtilitiesManager &m_manager;
    const KSTUtilitiesAlerts &m_alerts;
    bool m_loaded = false;
    bool m_loading = false;
};
