#pragma once

#include "KSTTrashSourceRecord.h"
#include "KSTUtilitiesPanel.h"

#include <QList>

class KSTUtilitiesManager;
class QLabel;

/// "Trash Origins": each item in the Trash with where it came from and which application
/// deleted it. Read-only.
class KSTTrashOriginsPanel : public KSTUtilitiesPanel
{
    Q_OBJECT

public:
    /// @p manager must outlive the panel.
    explicit KSTTrashOriginsPanel(KSTUtilitiesManager &manager, QWidget *parent = nullptr);

    /// Reads the Trash again (on a worker) unless a read is under way.
    void refresh();
    bool hasLoaded() const { return m_loaded; }

Q_SIGNALS:
    void loaded();

private:
    void show(const QList<KSTTrashSourceRecord> &records);

    KSTUtilitiesManager &m_manager;
    bool m_loaded = false;
    bool m_loading = false;
    QLabel *m_empty = nullptr;
};
