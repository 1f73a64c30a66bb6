#include "KSTDuplicatesCommand.h"

#include "KSTDispatch.h"
#include "KSTDuplicateEngine.h"
#include "KSTDuplicateReviewModel.h"
#include "KSTDuplicatesOutput.h"
#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTJsonTextWriter.h"
#include "KSTSystemInfo.h"

#include <QDir>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A scan of a whole disk may take long; an answer that never comes (no routine installed)
// must still end the command.
constexpr int ScanTimeoutMs = 12 * 60 * 60 * 1000;

QString resolvedPath(const QString &given)
{
    const QString home = KSTEnvironment::current().home();
    if (given == QLatin1String("~"))
        return QDir::cleanPath(home);
    if (given.startsWith(QLatin1String("~/")))
        return QDir::cleanPath(home + given.mid(1));
    return QDir::cleanPath(QFileInfo(given).absoluteFilePath());
}

// Why @p path cannot be scanned, or empty when it can.
QString unusableFolderReason(const QString &path)
{
    struct stat info;
    if (::lstat(KSTFileName::encoded(path).constData(), &info) != 0)
        return QStringLiteral("no such folder: %1").arg(path);
    if (S_ISLNK(info.st_mode))
        return QStringLiteral("%1 is a symbolic link, which Kestrel never follows; give the folder "
                              "itself")
            .arg(path);
    if (!S_ISDIR(info.st_mode))
        return QStringLiteral("not a folder: %1").arg(path);
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

} // namespace

int kstRunDuplicatesCommand(KSTCliContext &context)
{
    bool pathsOk = true;
    const QStringList given = context.takeRepeatedOption(QStringLiteral("--path"), &pathsOk);
    const bool quiet = context.takeFlag(QStringLiteral("--quiet"));
    if (!pathsOk)
        return context.usageError(QStringLiteral("--path needs a folder"));
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("duplicates takes no argument '%1'").arg(context.arguments().first()));

    QStringList paths;
    for (const QString &path : given) {
        const QString resolved = resolvedPath(path);
        const QString reason = unusableFolderReason(resolved);
        if (!reason.isEmpty())
            return context.usageError(reason);
        if (!canList(resolved))
            context.err() << "kestrel: cannot read the folder " << resolved << "; it is left out\n";
        paths << resolved;
    }
    if (paths.isEmpty())
        paths = KSTDuplicateEngine::defaultDuplicateScanPaths();

    QTextStream &err = context.err();
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
    KSTDispatch::runMainLoopUntil([&result] { return result != nullptr; }, ScanTimeoutMs);
    if (!result)
        return context.failure({QStringLiteral("KSTSystemInfo"),
                                1,
                                QStringLiteral("The duplicate scan did not finish."),
                                {}});

    KSTDuplicateReviewModel model(KSTSystemInfo::shared());
    model.setSnapshot(result);
    if (context.json()) {
        KSTJsonTextWriter json(context.out());
        KSTDuplicatesOutput::writeSnapshot(json, *result, model);
    } else {
        KSTDuplicatesOutput::printSummary(context.out(), *result, model);
    }
    context.out().flush();
    return KSTCliContext::Success;
}
