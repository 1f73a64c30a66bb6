#pragma once

#include "KSTDiskFolderRecord.h"
#include "KSTUtilitiesPanel.h"

#include <QList>

class KSTStorageBarView;
class KSTUtilitiesManager;
class QLabel;
class QPushButton;

/// "Home Folders": the standard folders of the home, largest first, each with a bar, beside
/// the volume's used and total figures. The sizes are du's (folder blocks, hard links once),
/// so the panel says so rather than mix them with the volume's own count.
class KSTHomeSizesPanel : public KSTUtilitiesPanel
{
    Q_OBJECT

public:
    /// @p manager must outlive the panel.
    explicit KSTHomeSizesPanel(KSTUtilitiesManager &manager, QWidget *parent = nullptr);

    /// Sizes the folders again unless sizing is under way.
    void refresh();
    bool hasLoaded() const { return m_loaded; }

Q_SIGNALS:
    void loaded();

private:
    void show(const QList<KSTDiskFolderRecord> &folders, quint64 totalBytes, quint64 usedBytes);

    KSTUtilitiesManager &m_manager;
    bool m_loaded = false;
    bool m_loading = false;
    QPushButton *m_refresh = nullptr;
    KSTStorageBarView *m_volumeBar = nullptr;
};
