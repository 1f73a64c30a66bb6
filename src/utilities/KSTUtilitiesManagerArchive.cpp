// Encrypted archives: one password-protected ZIP per chosen item, written in process.
#include "KSTUtilitiesManager.h"
#include "KSTUtilitiesManagerPrivate.h"

#include "KSTDispatch.h"
#include "KSTEncryptedArchiveWriter.h"
#include "KSTFileName.h"
#include "KSTPathText.h"
#include "KSTPermissionChecker.h"
#include "KSTRemovalGuard.h"

#include <QDir>
#include <QRandomGenerator>

#include <cstdlib>
#include <sys/stat.h>

namespace {

// Another writer may take the chosen name between choosing and linking; a few fresh names
// are tried before giving up.
constexpr int CommitAttempts = 5;

bool archiveEntryExists(const QString &path)
{
    struct stat status = {};
    return ::lstat(KSTFileName::encoded(path).constData(), &status) == 0;
}

// @p path with its folders' links resolved.
QString resolvedForm(const QString &path)
{
    char *real = ::realpath(
        KSTFileName::encoded(KSTPathText::deletingLastPathComponent(path)).constData(), nullptr);
    if (!real)
        return path;
    const QString folder = KSTFileName::decoded(real);
    ::free(real);
    return (folder == QLatin1String("/") ? QString() : folder) + QLatin1Char('/') +
           KSTPathText::lastPathComponent(path);
}

QString archivePathFor(const QString &source)
{
    const QString archive = source + QStringLiteral(".zip");
    return archiveEntryExists(archive) ? KSTUtilitiesManager::uniquePathForPath(archive) : archive;
}

} // namespace

void KSTUtilitiesManager::encryptPaths(const QStringList &paths, const QString &password,
                                       EncryptCompletion completion)
{
    encryptPaths(paths, password, nullptr, std::move(completion));
}

void KSTUtilitiesManager::encryptPaths(const QStringList &paths, const QString &password,
                                       ProgressCallback progress, EncryptCompletion completion)
{
    d->queue->async([this, paths, password, progress = std::move(progress),
                     completion = std::move(completion)] {
        quint64 created = 0;
        std::optional<KSTError> lastError;
        for (const QString &path : paths) {
            if (progress) {
                const QString text =
                    QStringLiteral("Encrypting %1…")
                        .arg(KSTPathText::lastPathComponent(QDir::cleanPath(path)));
                KSTDispatch::mainAsync([progress, text] { progress(text); });
            }
            KSTError error;
            if (createPasswordProtectedZipForPath(path, password, &error))
                ++created;
            else
                lastError = error;
        }
        if (completion)
            KSTDispatch::mainAsync(
                [completion, created, lastError] { completion(created, lastError); });
    });
}

bool KSTUtilitiesManager::createPasswordProtectedZipForPath(const QString &path,
                                                            const QString &password,
                                                            KSTError *error,
                                                            QString *archivePath) const
{
    const auto fail = [error](ErrorCode code, const QString &description = {}) {
        if (error)
            *error = makeError(code, description);
        return false;
    };
    const QString source = path.isEmpty() ? path : QDir::cleanPath(path);
    if (!source.startsWith(QLatin1Char('/')) || source == QLatin1String("/") ||
        !archiveEntryExists(source))
        return fail(ArchiveSourceMissing);

    // The privacy rule holds for what is read: not the Music folder, not a photo or music
    // library, also when a linked folder leads there.
    if (KSTPermissionChecker::liesInPrivacyProtectedPlace(source) ||
        KSTPermissionChecker::liesInPrivacyProtectedPlace(resolvedForm(source)))
        return fail(
            ArchiveWriterFailed,
            QStringLiteral("%1 is in the Music folder or a photo or music library.").arg(source));

    // The archive is a new file next to its original, never one that replaces anything.
    const QString folder = KSTPathText::deletingLastPathComponent(source);
    const KSTRemovalGuard guard({{folder}, KSTRemovalGuard::storedNeverTouchPaths()});
    QString destination = archivePathFor(source);
    KSTError guardError;
    std::optional<KSTGuardedNewFile> file = guard.createNewFile(destination, &guardError);
    if (!file)
        return fail(ArchiveWriterFailed, guardError.description);

    QByteArray secret = password.toUtf8();
    QString message;
    const KSTEncryptedArchiveWriter::Outcome outcome =
        KSTEncryptedArchiveWriter::write(source, secret, file->fd(), &message);
    secret.fill('\0');
    switch (outcome) {
    case KSTEncryptedArchiveWriter::Outcome::CannotStart:
        return fail(ArchiveWriterFailed, message);
    case KSTEncryptedArchiveWriter::Outcome::Failed:
        return fail(ArchiveWritingFailed, message);
    case KSTEncryptedArchiveWriter::Outcome::Empty:
        return fail(ArchiveNotCreated);
    case KSTEncryptedArchiveWriter::Outcome::Written:
        break;
    }

    KSTError commitError;
    bool committed = false;
    for (int attempt = 0; attempt < CommitAttempts && !committed; ++attempt) {
        committed = file->commit(&commitError,
                                 KSTFileName::encoded(KSTPathText::lastPathComponent(destination)));
        if (!committed &&
            commitError.userInfo.value(QStringLiteral("NSPOSIXErrorCode")).toInt() == EEXIST)
            destination = archivePathFor(source);
        else if (!committed)
            break;
    }
    if (!committed)
        return fail(ArchiveWritingFailed, commitError.description);
    if (!archiveEntryExists(destination))
        return fail(ArchiveNotCreated);
    if (archivePath)
        *archivePath = destination;
    return true;
}

QString KSTUtilitiesManager::uniquePathForPath(const QString &path)
{
    const QString base = KSTPathText::deletingPathExtension(path);
    const QString extension = KSTPathText::pathExtension(path);
    for (int number = 1; number <= 999; ++number) {
        const QString candidate =
            base + QLatin1Char('-') + QString::number(number) + QLatin1Char('.') + extension;
        if (!archiveEntryExists(candidate))
            return candidate;
    }
    return base + QLatin1Char('-') + QString::number(QRandomGenerator::system()->generate()) +
           QLatin1Char('.') + extension;
}
