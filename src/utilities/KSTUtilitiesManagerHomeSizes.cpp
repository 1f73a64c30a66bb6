// Home-folder sizes: du's figure for each standard folder of the home.
#include "KSTUtilitiesManager.h"
#include "KSTUtilitiesManagerPrivate.h"

#include "KSTDispatch.h"
#include "KSTEnvironment.h"
#include "KSTLinuxPlaces.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"
#include "KSTStorageFigures.h"
#include "KSTToolRunner.h"
#include "KSTUtilitiesLocations.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <limits>

namespace {

// The folders to size, as (name, path): the Mac's standard folders, or a Linux desktop's
// user folders under the names they have on disk and its hidden base folders.
QList<std::pair<QString, QString>> homeFolders(const KSTEnvironment &environment)
{
    QList<std::pair<QString, QString>> folders;
    if (environment.layout() != KSTLayout::Linux) {
        for (const QString &name : KSTUtilitiesLocations::HomeFolders)
            folders.append({name, environment.homePath(name)});
        return folders;
    }
    const std::shared_ptr<const KSTLinuxPlaces> places = environment.places();
    QStringList paths;
    for (const KSTLinuxPlaces::UserFolder folder : KSTLinuxPlaces::userFolders) {
        const QString path = QDir::cleanPath(places->userFolder(folder));
        // A switched-off folder, or two roles naming one folder, is sized once or not at all.
        if (path.isEmpty() || path == QLatin1String(".") || paths.contains(path))
            continue;
        paths << path;
        folders.append({QFileInfo(path).fileName(), path});
    }
    for (const QString &name : KSTUtilitiesLocations::LinuxHiddenHomeFolders)
        folders.append({name, environment.homePath(name)});
    return folders;
}

} // namespace

void KSTUtilitiesManager::scanHomeDirectoryFolderSizesWithCompletion(HomeSizesCompletion completion)
{
    if (!completion)
        return;
    d->queue->async([completion = std::move(completion)] {
        const KSTEnvironment environment = KSTEnvironment::current();
        QList<KSTDiskFolderRecord> folders;
        for (const auto &[name, path] : homeFolders(environment)) {
            // A standard folder that is a link is someone's content, not the folder.
            const std::optional<struct stat> status =
                KSTNoFollowPath::status(QDir::cleanPath(path));
            if (!status || !S_ISDIR(status->st_mode))
                continue;
            folders.append({name, path, fastFolderSizeAtFilePath(path)});
        }
        std::stable_sort(folders.begin(), folders.end(),
                         [](const KSTDiskFolderRecord &a, const KSTDiskFolderRecord &b) {
                             if (a.bytes != b.bytes)
                                 return a.bytes > b.bytes;
                             return KSTUtilitiesOrder::localizedCaseInsensitiveLess(a.name, b.name);
                         });
        quint64 total = 0;
        quint64 used = 0;
        KSTStorageFigures::bootVolumeUsageTotal(&total, &used);
        KSTDispatch::mainAsync(
            [completion, folders, total, used] { completion(folders, total, used); });
    });
}

quint64 KSTUtilitiesManager::fastFolderSizeAtFilePath(const QString &path)
{
    if (path.isEmpty() || !path.startsWith(QLatin1Char('/')) ||
        KSTPermissionChecker::shouldSkipPrivacyProtectedPath(path))
        return 0;
    const std::optional<struct stat> status = KSTNoFollowPath::status(QDir::cleanPath(path));
    if (!status)
        return 0;
    if (!S_ISDIR(status->st_mode))
        return quint64(status->st_size);
    // du counts a folder's own blocks and a hard-linked file once: its figure, not the
    // Overview's walk, is what this list shows.
    const KSTToolResult du =
        KSTToolRunner::run(KSTUtilitiesLocations::Du,
                           {QStringLiteral("-k"), QStringLiteral("-d"), QStringLiteral("0"), path},
                           KSTToolRunner::Channels::Separate, DuTimeoutMs);
    if (!du.succeeded() || du.standardOutput.isEmpty())
        return 0;
    return folderSizeFromDuOutput(du.standardOutput);
}

quint64 KSTUtilitiesManager::folderSizeFromDuOutput(const QByteArray &output)
{
    const QByteArray first =
        output.left(output.indexOf(' ') < 0 ? output.size() : output.indexOf(' '));
    // A leading integer: optional blanks and sign, then digits; the rest (a tab, the path)
    // is ignored, and a number too large for the type saturates.
    qsizetype index = 0;
    while (index < first.size() &&
           (first.at(index) == ' ' || first.at(index) == '\t' || first.at(index) == '\n'))
        ++index;
    bool negative = false;
    if (index < first.size() && (first.at(index) == '+' || first.at(index) == '-')) {
        negative = first.at(index) == '-';
        ++index;
    }
    quint64 kilobytes = 0;
    bool any = false;
    for (; index < first.size() && first.at(index) >= '0' && first.at(index) <= '9'; ++index) {
        any = true;
        const quint64 digit = quint64(first.at(index) - '0');
        if (kilobytes > (std::numeric_limits<quint64>::max() / 1024 - digit) / 10) {
            kilobytes = std::numeric_limits<quint64>::max() / 1024;
            continue;
        }
        kilobytes = kilobytes * 10 + digit;
    }
    if (!any || negative || kilobytes < 1)
        return 0;
    return kilobytes * 1024;
}
