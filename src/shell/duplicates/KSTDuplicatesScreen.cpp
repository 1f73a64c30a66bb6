#include "KSTDuplicatesScreen.h"

#include "KSTDuplicateFolderOptions.h"
#include "KSTDuplicateResultsView.h"
#include "KSTDuplicateScanningView.h"
#include "KSTDuplicateSetupView.h"
#include "KSTFormatting.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

enum Page { SetupPage, ScanningPage, ResultsPage };

constexpr int KeptPathsNamed = 3;

bool askWithMessageBox(QWidget *parent, const QString &message, const QString &informativeText)
{
    QMessageBox box(QMessageBox::Warning, QString(), message, QMessageBox::NoButton, parent);
    box.setInformativeText(informativeText);
    QPushButton *move = box.addButton(QStringLiteral("Move to Trash"), QMessageBox::AcceptRole);
    QPushButton *cancel = box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(move);
    box.setEscapeButton(cancel);
    box.exec();
    return box.clickedButton() == move;
}

QString pickFolderWithDialog(QWidget *parent)
{
    return QFileDialog::getExistingDirectory(parent, QStringLiteral("Add a Folder"));
}

QString copiesText(qsizetype count)
{
    return count == 1 ? QStringLiteral("1 copy") : QStringLiteral("%1 copies").arg(count);
}

} // namespace

KSTDuplicatesScreen::KSTDuplicatesScreen(KSTSystemInfo &systemInfo, QWidget *parent)
    : KSTToolScreen(parent), m_model(systemInfo), m_confirm(&askWithMessageBox),
      m_pickFolder(&pickFolderWithDialog)
{
    setObjectName(QStringLiteral("duplicatesScreen"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 20, 28, 24);
    m_pages = new QStackedWidget(this);
    m_pages->setObjectName(QStringLiteral("duplicatePages"));
    m_setup = new KSTDuplicateSetupView(m_pages);
    m_scanning = new KSTDuplicateScanningView(m_pages);
    m_results = new KSTDuplicateResultsView(m_model, m_pages);
    m_pages->insertWidget(SetupPage, m_setup);
    m_pages->insertWidget(ScanningPage, m_scanning);
    m_pages->insertWidget(ResultsPage, m_results);
    layout->addWidget(m_pages);

    m_setup->setOptions(KSTDuplicateFolderOptions::savedFolderOptions());
    m_setup->setScanOnOpen(KSTDuplicateFolderOptions::scanOnOpen());

    connect(m_setup, &KSTDuplicateSetupView::scanRequested, this, &KSTDuplicatesScreen::startScan);
    connect(m_setup, &KSTDuplicateSetupView::addFolderRequested, this,
            &KSTDuplicatesScreen::addFolder);
    connect(m_setup, &KSTDuplicateSetupView::optionsEdited, this, &KSTDuplicatesScreen::saveChoice);
    connect(m_setup, &KSTDuplicateSetupView::scanOnOpenEdited, this,
            &KSTDuplicatesScreen::saveChoice);
    connect(m_setup, &KSTDuplicateSetupView::lastResultsRequested, this, [this] {
        m_choosingFolders = false;
        refreshPage();
    });
    connect(m_scanning, &KSTDuplicateScanningView::cancelRequested, this,
            [this] { m_model.cancelScan(); });
    connect(m_results, &KSTDuplicateResultsView::rescanRequested, this,
            &KSTDuplicatesScreen::rescan);
    connect(m_results, &KSTDuplicateResultsView::newScanRequested, this, [this] {
        m_choosingFolders = true;
        refreshPage();
    });
    connect(m_results, &KSTDuplicateResultsView::removeCurrentRequested, this,
            &KSTDuplicatesScreen::requestRemoveCurrent);
    connect(m_results, &KSTDuplicateResultsView::removeSelectedRequested, this,
            &KSTDuplicatesScreen::requestRemoveSelected);
    connect(m_results, &KSTDuplicateResultsView::cloneSelectedRequested, this,
            &KSTDuplicatesScreen::requestCloneSelected);
    connect(&m_model, &KSTDuplicateReviewModel::snapshotChanged, this,
            &KSTDuplicatesScreen::refreshPage);
    connect(&m_model, &KSTDuplicateReviewModel::removalFinished, this,
            &KSTDuplicatesScreen::removalDidFinish);
    refreshPage();
}

bool KSTDuplicatesScreen::isContentReady() const
{
    const auto snapshot = m_model.snapshot();
    if (snapshot && snapshot->isScanning)
        return false;
    if (!snapshot || m_choosingFolders)
        return m_shownOnce || !m_setup->scanOnOpen();
    return true;
}

void KSTDuplicatesScreen::setPresenters(ConfirmationPresenter confirmation,
                                        FolderPicker folderPicker)
{
    m_confirm = std::move(confirmation);
    m_pickFolder = std::move(folderPicker);
}

void KSTDuplicatesScreen::startScan()
{
    const QStringList paths = KSTDuplicateFolderOptions::selectedPaths(m_setup->options());
    if (paths.isEmpty() || m_model.isBusy())
        return;
    m_choosingFolders = false;
    m_results->clearOutcome();
    m_model.scanDuplicatesInPaths(paths);
}

void KSTDuplicatesScreen::rescan()
{
    const auto snapshot = m_model.snapshot();
    if (!snapshot || m_model.isBusy())
        return;
    m_results->clearOutcome();
    m_model.scanDuplicatesInPaths(snapshot->scanPaths);
}

void KSTDuplicatesScreen::addFolder()
{
    if (!m_pickFolder)
        return;
    const QString path = m_pickFolder(this);
    if (path.isEmpty())
        return;
    m_setup->setOptions(KSTDuplicateFolderOptions::withCustomFolder(m_setup->options(), path));
    saveChoice();
}

void KSTDuplicatesScreen::requestRemoveCurrent()
{
    const std::optional<KSTDuplicateGroup> group = m_model.selectedGroup();
    if (!group || !m_model.isRemoveCurrentButtonEnabled() || !m_confirm)
        return;
    const QStringList paths = m_model.removablePathsForGroup(group);
    QStringList kept;
    for (const KSTDuplicateFileRecord &file : group->files) {
        if (!paths.contains(file.path))
            kept << KSTDuplicateFolderOptions::displayPathFor(file.path);
    }
    const QString message = QStringLiteral("Move %1 of “%2” to the Trash?")
                                .arg(copiesText(paths.size()), group->fileName);
    QString informative;
    if (kept.isEmpty()) {
        informative = QStringLiteral("No copy of this file is kept, so Kestrel will leave the "
                                     "whole group in place. Untick a copy to keep it.");
    } else {
        informative = QStringLiteral("Kestrel keeps %1. The removed copies can be put back from "
                                     "the Trash.")
                          .arg(kept.mid(0, KeptPathsNamed).join(QStringLiteral(", ")));
    }
    if (!m_confirm(this, message, informative))
        return;
    m_model.removeCurrentGroupDuplicates();
}

void KSTDuplicatesScreen::requestRemoveSelected()
{
    if (!m_model.isRemoveSelectedButtonEnabled() || !m_confirm)
        return;
    const QStringList paths = m_model.removablePathsForSelectedGroups();
    const QString message =
        QStringLiteral("Move %1 (%2) to the Trash?")
            .arg(copiesText(paths.size()),
                 KSTFormatting::formatBytesShort(m_model.removableBytesForSelectedGroups()));
    const QString informative = QStringLiteral(
        "The copies you keep stay where they are; a group that keeps no copy is left in place. "
        "Kestrel then scans the same folders again.");
    if (!m_confirm(this, message, informative))
        return;
    m_model.removeAllSelectedDuplicates();
}

void KSTDuplicatesScreen::requestCloneSelected()
{
    if (!m_model.isRemoveSelectedButtonEnabled() || !m_confirm)
        return;
    const QStringList paths = m_model.removablePathsForSelectedGroups();
    const QString message =
        QStringLiteral("Replace %1 with clones of the kept copies?").arg(copiesText(paths.size()));
    const QString informative = QStringLiteral(
        "Each copy keeps its name, place, permissions and dates but shares the kept copy's data "
        "on disk, which frees its space. A copy on another disk, or changed since the scan, stays "
        "as it is. Kestrel then scans the same folders again.");
    if (!m_confirm(this, message, informative))
        return;
    QPointer<KSTDuplicatesScreen> self(this);
    m_model.replaceSelectedDuplicatesWithLinks(KSTDuplicateLinkStep::Kind::Clone,
                                               [self](const KSTDuplicateLinkOutcome &outcome) {
                                                   if (self)
                                                       self->m_results->showLinkOutcome(outcome);
                                               });
}

void KSTDuplicatesScreen::removalDidFinish(const KSTDuplicateRemovalOutcome &outcome)
{
    m_results->showOutcome(outcome);
}

void KSTDuplicatesScreen::refreshPage()
{
    const auto snapshot = m_model.snapshot();
    m_setup->setLastResultsAvailable(snapshot && !snapshot->isScanning);
    if (snapshot && snapshot->isScanning) {
        m_scanning->showProgress(*snapshot);
        m_pages->setCurrentIndex(ScanningPage);
    } else if (!snapshot || m_choosingFolders) {
        m_pages->setCurrentIndex(SetupPage);
    } else {
        m_pages->setCurrentIndex(ResultsPage);
    }
    const bool ready = isContentReady();
    if (ready && !m_wasReady)
        Q_EMIT contentReady();
    m_wasReady = ready;
}

void KSTDuplicatesScreen::saveChoice()
{
    KSTDuplicateFolderOptions::saveFolderOptions(m_setup->options());
    KSTDuplicateFolderOptions::setScanOnOpen(m_setup->scanOnOpen());
}

void KSTDuplicatesScreen::showEvent(QShowEvent *event)
{
    KSTToolScreen::showEvent(event);
    const bool first = !m_shownOnce;
    m_shownOnce = true;
    if (first && m_setup->scanOnOpen() && !m_model.snapshot())
        startScan();
    else
        refreshPage();
}
