#pragma once

#include "KSTDuplicateFolderOption.h"

#include <QList>
#include <QString>
#include <QStringList>

/// The folder choices of the Duplicates screen, without widgets: the folders offered at first,
/// the folders the user adds, the paths a scan of the choice takes, and the choice as it is
/// remembered in the standard preferences between sessions.
class KSTDuplicateFolderOptions
{
public:
    /// Preference keys: the added folders, the ticked folders, whether to scan on open.
    static constexpr const char *CustomFoldersKey = "KSTDuplicateCustomFolders";
    static constexpr const char *SelectedFoldersKey = "KSTDuplicateSelectedFolders";
    static constexpr const char *ScanOnOpenKey = "KSTDuplicateScanOnOpen";

    /// defaultFolderOptions() with the remembered choice (withSavedChoice()).
    static QList<KSTDuplicateFolderOption> savedFolderOptions();
    /// Remembers the added folders of @p options and which options are ticked.
    static void saveFolderOptions(const QList<KSTDuplicateFolderOption> &options);
    /// Whether the screen scans the remembered folders when it opens; false until set.
    static bool scanOnOpen();
    static void setScanOnOpen(bool on);

    /// Pictures, Downloads, Desktop, Documents and Movies of the accessible home, those that
    /// exist as folders, in that order; the ones defaultDuplicateScanPaths() would scan start
    /// selected. When none exists: the home folder alone, selected. On a Linux layout the
    /// user folders of those roles, named as they are named on disk
    /// (KSTDuplicateEngine::existingUserFolders()).
    static QList<KSTDuplicateFolderOption> defaultFolderOptions();

    /// @p options with the folder @p path (made absolute and clean) added at the end as a
    /// custom, selected option; when an option already has that path it is selected instead.
    /// An empty @p path changes nothing.
    static QList<KSTDuplicateFolderOption> withCustomFolder(QList<KSTDuplicateFolderOption> options,
                                                            const QString &path);

    /// @p options with a choice remembered from an earlier session: each of @p customPaths that
    /// still exists as a folder added as withCustomFolder() adds it, and then, when
    /// @p selectedPaths is not empty, exactly the options whose path it holds selected.
    static QList<KSTDuplicateFolderOption> withSavedChoice(QList<KSTDuplicateFolderOption> options,
                                                           const QStringList &customPaths,
                                                           const QStringList &selectedPaths);

    /// The paths of the selected options, in option order.
    static QStringList selectedPaths(const QList<KSTDuplicateFolderOption> &options);

    /// @p path with the accessible home shown as "~" ("~/Pictures"; "~" for the home itself).
    static QString displayPathFor(const QString &path);
};
