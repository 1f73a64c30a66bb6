#include "KSTHomeSizesPanel.h"

#include "KSTBusyIndicator.h"
#include "KSTDispatch.h"
#include "KSTFormatting.h"
#include "KSTPalette.h"
#include "KSTStorageBarView.h"
#include "KSTStyle.h"
#include "KSTUtilitiesManager.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace {

const QStringList FolderColors = {QStringLiteral("blue"),    QStringLiteral("violet"),
                                  QStringLiteral("emerald"), QStringLiteral("amber"),
                                  QStringLiteral("rose"),    QStringLiteral("sky"),
                                  QStringLiteral("purple"),  QStringLiteral("orange")};

QString colorFor(qsizetype index)
{
    return FolderColors.at(index % FolderColors.size());
}

} // namespace

KSTHomeSizesPanel::KSTHomeSizesPanel(KSTUtilitiesManager &manager, QWidget *parent)
    : KSTUtilitiesPanel(QStringLiteral("internaldrive"), QStringLiteral("emerald"),
                        QStringLiteral("Home Folders"), parent),
      m_manager(manager)
{
    setObjectName(QStringLiteral("homeSizesPanel"));
    subtitleLabel()->setObjectName(QStringLiteral("homeVolume"));
    subtitleLabel()->setText(QStringLiteral("Measuring folders…"));
    m_refresh = new QPushButton(QStringLiteral("Refresh"), this);
    m_refresh->setObjectName(QStringLiteral("homeSizesRefreshButton"));
    KSTStyle::setButtonRole(m_refresh, KSTStyle::SecondaryButton);
    connect(m_refresh, &QPushButton::clicked, this, &KSTHomeSizesPanel::refresh);
    headerTrailing()->addWidget(m_refresh);

    m_volumeBar = new KSTStorageBarView(this);
    m_volumeBar->setObjectName(QStringLiteral("homeVolumeBar"));
    body()->addWidget(m_volumeBar);
    addRowList(4);
    QLabel *note =
        KSTStyle::label(QStringLiteral("Sizes as du counts them: folder blocks, hard links once."),
                        KSTStyle::Caption, this);
    note->setWordWrap(true);
    body()->addWidget(note);
}

void KSTHomeSizesPanel::refresh()
{
    if (m_loading)
        return;
    m_loading = true;
    busyIndicator()->setRunning(true);
    m_refresh->setEnabled(false);
    m_manager.scanHomeDirectoryFolderSizesWithCompletion(
        KSTDispatch::onMainFor<QList<KSTDiskFolderRecord>, quint64, quint64>(
            this, [this](const QList<KSTDiskFolderRecord> &folders, quint64 total, quint64 used) {
                show(folders, total, used);
            }));
}

void KSTHomeSizesPanel::show(const QList<KSTDiskFolderRecord> &folders, quint64 totalBytes,
                             quint64 usedBytes)
{
    m_loading = false;
    m_loaded = true;
    busyIndicator()->setRunning(false);
    m_refresh->setEnabled(true);
    subtitleLabel()->setText(QStringLiteral("%1 used of %2")
                                 .arg(KSTFormatting::formatBytesShort(usedBytes),
                                      KSTFormatting::formatBytesShort(totalBytes)));
    clearRows();
    QList<KSTStorageBarView::Segment> segments;
    const quint64 largest = folders.isEmpty() ? 0 : folders.first().bytes;
    quint64 sum = 0;
    for (qsizetype index = 0; index < folders.size(); ++index) {
        const KSTDiskFolderRecord &folder = folders.at(index);
        sum += folder.bytes;
        segments.append({colorFor(index), folder.bytes});
        auto *row = new QWidget(rowContainer());
        row->setObjectName(QStringLiteral("homeFolderRow"));
        row->setToolTip(folder.path);
        auto *layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 2, 0, 2);
        layout->setSpacing(8);
        QLabel *name = KSTStyle::label(folder.name, KSTStyle::Body, row);
        name->setObjectName(QStringLiteral("homeFolderName"));
        name->setFixedWidth(96);
        layout->addWidget(name);
        // Each folder against the largest, so small folders still show a difference.
        auto *bar = new KSTStorageBarView(row);
        bar->setSegments({{colorFor(index), folder.bytes}}, largest);
        layout->addWidget(bar, 1);
        QLabel *size = KSTStyle::label(KSTFormatting::formatBytesShort(folder.bytes),
                                       KSTStyle::Secondary, row);
        size->setObjectName(QStringLiteral("homeFolderSize"));
        size->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        size->setMinimumWidth(64);
        layout->addWidget(size);
        appendRow(row);
    }
    // The folders on the volume's own scale: what part of the used space they explain.
    segments.append({QStringLiteral("zinc"), usedBytes - qMin(usedBytes, sum)});
    m_volumeBar->setSegments(segments, totalBytes);
    Q_EMIT loaded();
}
