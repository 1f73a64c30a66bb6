#include "KSTDuplicatesCommandSupport.h"

#include "KSTDispatch.h"
#include "KSTDuplicateEngine.h"
#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTTerminalText.h"

#include <QDir>

#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A scan of a whole disk may take long; an answer that never comes (no routine installed)
// must still end the command.
constexpr int LongWaitMs = 12 * 60 * 60 * 1000;

QString currentFolder()
{
    char buffer[4096];
    return ::getcwd(buffer, sizeof buffer) ? KSTFileName::decoded(buffer) : QDir::currentPath();
}

// Why @p path cannot be scanned, or empty when it can.
QString unusableFolderReason(const QString &path)
{
    const QString shown = KSTTerminalText::escaped(path);
    struct stat info;
    if (::lstat(KSTFileName::encoded(path).constData(), &info) != 0)
        return QStringLiteral("no such folder: %1").arg(shown);
    if (S_ISLNK(info.st_mode))
        return QStringLiteral("%1 is a symbolic link, which Kestrel never follows; give the folder "
                              "itself")
            .arg(shown);
    if (!S_ISDIR(info.st_mode))
        return QStringLiteral("not a folder: %1").arg(shown);
    return {};
}

// Whether this process may list @p folder (the effective identity decides, as for the walk).
bool canList(const QString &folder)
{
    const int fd = ::open(KSTFileName::encoded(folder).constData(),
                          O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return false;
    ::close(fd);
    return true;
}

bool isHexKey(const QString &key)
{
    if (key.size() < 8 || key.size() > 64)
        return false;
    for (const QChar character : key) {
        if (!character.isDigit() && !(character.toLower() >= u'a' && character.toLower() <= u'f'))
            return false;
    }
    return true;
}

std::optional<KSTDuplicateGroup> groupWithPath(const KSTDuplicateSnapshot &snapshot,
                                               const QString &path)
{
    for (const KSTDuplicateCategorySummary &category : snapshot.categories) {
        for (const KSTDuplicateGroup &group : category.groups) {
            for (const KSTDuplicateFileRecord &file : group.files) {
                if (file.path == path)
                    return group;
            }
        }
    }
    return std::nullopt;
}

} // namespace

namespace KSTDuplicatesCommandSupport {

QString resolvedPath(const QString &given)
{
    const QString home = KSTEnvironment::current().home();
    if (given == QLatin1String("~"))
        return QDir::cleanPath(home);
    if (given.startsWith(QLatin1String("~/")))
        return QDir::cleanPath(home + given.mid(1));
    if (given.startsWith(QLatin1Char('/')))
        return QDir::cleanPath(given);
    return QDir::cleanPath(currentFolder() + QLatin1Char('/') + given);
}

std::optional<int> takeScanRequest(KSTCliContext &context, ScanRequest &request)
{
    bool pathsOk = true;
    const QStringList given = context.takeRepeatedOption(QStringLiteral("--path"), &pathsOk);
    request.quiet = context.takeFlag(QStringLiteral("--quiet"));
    if (!pathsOk)
        return context.usageError(QStringLiteral("--path needs a folder"));
    for (const QString &path : given) {
        const QString resolved = resolvedPath(path);
        const QString reason = unusableFolderReason(resolved);
        if (!reason.isEmpty())
            return context.usageError(reason);
        if (!canList(resolved))
            context.err() << "kestrel: cannot read the folder "
                          << KSTTerminalText::escaped(resolved) << "; it is left out\n";
        request.paths << resolved;
    }
    return std::nullopt;
}

std::optional<int> takeChoice(KSTCliContext &context, Choice &choice, bool allowCurrent)
{
    bool groupsOk = true;
    bool currentOk = true;
    bool keepOk = true;
    bool unkeepOk = true;
    choice.all = context.takeFlag(QStringLiteral("--all"));
    choice.groupKeys = context.takeRepeatedOption(QStringLiteral("--group"), &groupsOk);
    if (allowCurrent)
        choice.currentKey = context.takeOption(QStringLiteral("--current"), &currentOk);
    else if (context.takeOption(QStringLiteral("--current")))
        return context.usageError(
            QStringLiteral("--current is for 'duplicates remove'; choose --all or --group KEY"));
    const QStringList keep = context.takeRepeatedOption(QStringLiteral("--keep"), &keepOk);
    const QStringList unkeep = context.takeRepeatedOption(QStringLiteral("--unkeep"), &unkeepOk);
    if (!groupsOk || !currentOk)
        return context.usageError(QStringLiteral("--group and --current need a group key"));
    if (!keepOk || !unkeepOk)
        return context.usageError(QStringLiteral("--keep and --unkeep need a path"));
    const int selections =
        int(choice.all) + int(!choice.groupKeys.isEmpty()) + int(choice.currentKey.has_value());
    if (selections == 0)
        return context.usageError(
            allowCurrent ? QStringLiteral("choose what to remove: --all, --group KEY or "
                                          "--current KEY")
                         : QStringLiteral("choose the groups: --all or --group KEY"));
    if (selections > 1)
        return context.usageError(
            QStringLiteral("--all, --group and --current cannot be combined"));
    QStringList keys = choice.groupKeys;
    if (choice.currentKey)
        keys << *choice.currentKey;
    for (const QString &key : std::as_const(keys)) {
        if (!isHexKey(key))
            return context.usageError(
                QStringLiteral("'%1' is no group key: give a hashKey from 'kestrel duplicates', or "
                               "at least its first 8 digits")
                    .arg(KSTTerminalText::escaped(key)));
    }
    for (const QString &path : keep)
        choice.keepPaths << resolvedPath(path);
    for (const QString &path : unkeep)
        choice.unkeepPaths << resolvedPath(path);
    for (const QString &path : std::as_const(choice.keepPaths)) {
        if (choice.unkeepPaths.contains(path))
            return context.usageError(QStringLiteral("%1 is given to both --keep and --unkeep")
                                          .arg(KSTTerminalText::escaped(path)));
    }
    return std::nullopt;
}

KSTSystemInfo::DuplicateSnapshotPtr scan(KSTCliContext &context, const ScanRequest &request)
{
    const QStringList paths =
        request.paths.isEmpty() ? KSTDuplicateEngine::defaultDuplicateScanPaths() : request.paths;
    QTextStream &err = context.err();
    const bool quiet = request.quiet;
    KSTSystemInfo::DuplicateSnapshotPtr result;
    KSTSystemInfo::shared().scanDuplicatesInPaths(
        paths,
        [&err, quiet](KSTSystemInfo::DuplicateSnapshotPtr report) {
            if (quiet || !report || !report->statusText)
                return;
            err << *report->statusText << '\n';
            err.flush();
        },
        [&result](KSTSystemInfo::DuplicateSnapshotPtr snapshot) { result = snapshot; });
    waitFor([&result] { return result != nullptr; });
    return result;
}

std::optional<KSTDuplicateGroup> groupForKey(const KSTDuplicateSnapshot &snapshot,
                                             const QString &key, QString *problem)
{
    const QString prefix = key.toLower();
    std::optional<KSTDuplicateGroup> found;
    int matches = 0;
    for (const KSTDuplicateCategorySummary &category : snapshot.categories) {
        for (const KSTDuplicateGroup &group : category.groups) {
            if (group.hashKey == prefix)
                return group;
            if (group.hashKey.startsWith(prefix)) {
                ++matches;
                found = group;
            }
        }
    }
    if (matches == 1)
        return found;
    if (problem)
        *problem = matches == 0
                       ? QStringLiteral("no duplicate group has the key %1 (see 'kestrel "
                                        "duplicates')")
                             .arg(key)
                       : QStringLiteral("the key %1 fits %2 groups; give more of its digits")
                             .arg(key)
                             .arg(matches);
    return std::nullopt;
}

std::optional<int> applyChoice(KSTCliContext &context, KSTDuplicateReviewModel &model,
                               const Choice &choice)
{
    const KSTDuplicateSnapshot &snapshot = *model.snapshot();
    const auto toggle = [&](const QStringList &paths, bool removable) -> std::optional<int> {
        for (const QString &path : paths) {
            const std::optional<KSTDuplicateGroup> group = groupWithPath(snapshot, path);
            if (!group)
                return context.usageError(
                    QStringLiteral("%1 is no copy in any duplicate group of this scan")
                        .arg(KSTTerminalText::escaped(path)));
            model.togglePreviewSelection(*group, path, removable);
        }
        return std::nullopt;
    };
    if (const std::optional<int> status = toggle(choice.keepPaths, false))
        return status;
    if (const std::optional<int> status = toggle(choice.unkeepPaths, true))
        return status;

    QString problem;
    if (choice.currentKey) {
        const std::optional<KSTDuplicateGroup> group =
            groupForKey(snapshot, *choice.currentKey, &problem);
        if (!group)
            return context.usageError(problem);
        model.setSelectedCategoryType(group->categoryType);
        model.setSelectedGroup(group->hashKey);
        return std::nullopt;
    }
    QList<KSTDuplicateGroup> ticked;
    if (choice.all) {
        for (const KSTDuplicateCategorySummary &category : snapshot.categories)
            ticked << category.groups;
    }
    for (const QString &key : choice.groupKeys) {
        const std::optional<KSTDuplicateGroup> group = groupForKey(snapshot, key, &problem);
        if (!group)
            return context.usageError(problem);
        ticked << *group;
    }
    model.toggleGroupsSelection(ticked, true);
    return std::nullopt;
}

std::optional<int> scanAndChoose(KSTCliContext &context, const ScanRequest &request,
                                 const Choice &choice, KSTDuplicateReviewModel &model)
{
    const KSTSystemInfo::DuplicateSnapshotPtr result = scan(context, request);
    if (!result)
        return context.failure({QStringLiteral("KSTSystemInfo"),
                                1,
                                QStringLiteral("The duplicate scan did not finish."),
                                {}});
    model.setSnapshot(result);
    return applyChoice(context, model, choice);
}

bool waitFor(const std::function<bool()> &done)
{
    return KSTDispatch::runMainLoopUntil(done, LongWaitMs);
}

void echoProgress(KSTCliContext &context, KSTDuplicateReviewModel &model, bool quiet)
{
    if (quiet)
        return;
    auto last = std::make_shared<QString>();
    QObject::connect(&model, &KSTDuplicateReviewModel::snapshotChanged, &model,
                     [&context, &model, last] {
                         const auto snapshot = model.snapshot();
                         if (!snapshot || !snapshot->isScanning || !snapshot->statusText ||
                             *snapshot->statusText == *last)
                             return;
                         *last = *snapshot->statusText;
                         context.err() << *last << '\n';
                         context.err().flush();
                     });
}

} // namespace KSTDuplicatesCommandSupport
