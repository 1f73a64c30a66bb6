#pragma once

#include "KSTCliContext.h"
#include "KSTDuplicateReviewModel.h"
#include "KSTSystemInfo.h"

#include <QString>
#include <QStringList>

#include <optional>

/// What the `kestrel duplicates` commands share: the folders to scan, the scan with its
/// progress lines, and choosing groups and copies as the Duplicates screen does.
namespace KSTDuplicatesCommandSupport {

/// The folders and the progress setting of a scan.
struct ScanRequest
{
    QStringList paths; ///< resolved, clean, absolute; empty for the default folders
    bool quiet = false;
};

/// Groups and copies chosen on the command line.
struct Choice
{
    bool all = false;
    QStringList groupKeys;
    std::optional<QString> currentKey;
    QStringList keepPaths;   ///< resolved
    QStringList unkeepPaths; ///< resolved
};

/// @p given as an absolute clean path: "~" and "~/…" are the analysed home, a relative path
/// is taken from the current folder; the bytes of every name are kept (KSTFileName).
QString resolvedPath(const QString &given);

/// Takes --path DIR (repeatable) and --quiet. Returns an exit status (bad usage) when a DIR
/// is missing, not a folder or a link; an unreadable DIR is named on standard error and kept
/// (the scan leaves it out).
std::optional<int> takeScanRequest(KSTCliContext &context, ScanRequest &request);

/// Takes --all, --group KEY (repeatable), --current KEY, --keep PATH and --unkeep PATH
/// (repeatable); with @p allowCurrent false, --current is not taken. Returns an exit status
/// for bad usage: a missing value, no selection, --current with another selection, a KEY that
/// is not 8 to 64 hexadecimal digits, or a PATH given to both --keep and --unkeep.
std::optional<int> takeChoice(KSTCliContext &context, Choice &choice, bool allowCurrent);

/// Scans the request's folders (or the default ones) through KSTSystemInfo::shared(),
/// writing each progress text to standard error unless quiet; nothing when the scan did not
/// deliver.
KSTSystemInfo::DuplicateSnapshotPtr scan(KSTCliContext &context, const ScanRequest &request);

/// The group of @p snapshot whose hashKey is @p key or starts with it (at least 8 digits, any
/// letter case); nothing, with @p problem set, when none or several do.
std::optional<KSTDuplicateGroup> groupForKey(const KSTDuplicateSnapshot &snapshot,
                                             const QString &key, QString *problem);

/// Applies @p choice to @p model (which shows a result): the copies kept and unkept as the
/// preview's check boxes do, then the groups ticked (--all: every group of every category),
/// or the --current group shown. Returns an exit status for bad usage: an unknown or
/// ambiguous KEY, or a PATH that is no copy in any group.
std::optional<int> applyChoice(KSTCliContext &context, KSTDuplicateReviewModel &model,
                               const Choice &choice);

/// Scans as @p request says, shows the result in @p model and applies @p choice to it, as the
/// commands that act on copies start. Returns an exit status when the scan did not finish or
/// the choice is bad usage.
std::optional<int> scanAndChoose(KSTCliContext &context, const ScanRequest &request,
                                 const Choice &choice, KSTDuplicateReviewModel &model);

/// Runs the main loop until @p done answers true (or a long time-out); false on time-out.
bool waitFor(const std::function<bool()> &done);

/// Writes every scanning snapshot's status text the model shows to standard error, one line
/// each (a text repeated at once is written once), until @p context is gone; nothing when
/// @p quiet.
void echoProgress(KSTCliContext &context, KSTDuplicateReviewModel &model, bool quiet);

} // namespace KSTDuplicatesCommandSupport
