#include "KSTDuplicateLinkStep.h"

#include "KSTDuplicateRemovalStep.h"
#include "KSTDuplicateTrashStep.h"
#include "KSTFileClone.h"
#include "KSTNoFollowPath.h"
#include "KSTReadOnlyFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Result = KSTDuplicateLinkStep::Result;
using Outcome = KSTDuplicateLinkStep::Outcome;

const QString ErrorDomain = QStringLiteral("KSTDuplicateLinkStep");
constexpr std::size_t CompareChunk = 1 << 20;

// A file of a record, held by its folder and open for reading, or nothing when it is no
// longer the file the scan saw (or cannot be reached without a link).
struct OpenCopy
{
    KSTHeldEntry entry;
    KSTReadOnlyFile file;
    struct stat status = {};
};

std::unique_ptr<OpenCopy> openRecorded(const KSTDuplicateFileRecord &record)
{
    if (record.identity.inode == 0)
        return nullptr;
    std::optional<KSTHeldEntry> entry = KSTNoFollowPath::hold(record.path);
    if (!entry)
        return nullptr;
    auto open = std::make_unique<OpenCopy>();
    open->entry = std::move(*entry);
    if (!open->file.openBeneath(open->entry.parentFd(), open->entry.name().constData()) ||
        !record.identity.matches(open->file.identity()) ||
        ::fstat(open->file.descriptor(), &open->status) != 0)
        return nullptr;
    return open;
}

// Whether the files open at @p first and @p second hold the same @p size bytes.
bool sameBytes(int first, int second, quint64 size)
{
    const std::unique_ptr<char[]> a(new char[CompareChunk]);
    const std::unique_ptr<char[]> b(new char[CompareChunk]);
    for (quint64 offset = 0; offset < size;) {
        const std::size_t want = std::size_t(std::min<quint64>(CompareChunk, size - offset));
        const ssize_t gotA = ::pread(first, a.get(), want, off_t(offset));
        const ssize_t gotB = ::pread(second, b.get(), want, off_t(offset));
        if (gotA <= 0 || gotA != gotB || std::memcmp(a.get(), b.get(), std::size_t(gotA)) != 0)
            return false;
        offset += quint64(gotA);
    }
    // Nothing beyond the size either.
    char extra = 0;
    return ::pread(first, &extra, 1, off_t(size)) == 0 &&
           ::pread(second, &extra, 1, off_t(size)) == 0;
}

bool failBuild(KSTError *error, int folder, const QByteArray &name, qint64 code,
               const QString &reason)
{
    ::unlinkat(folder, name.constData(), 0);
    if (error)
        *error = KSTError{ErrorDomain, code, reason, {}};
    return false;
}

QString leftAsItIs(const QString &why)
{
    return why + QStringLiteral(", so the copy was left as it is.");
}

QString cloneFailure(int failure)
{
    if (failure == EXDEV)
        return leftAsItIs(
            QStringLiteral("The copy lies on another file system than the kept copy"));
    if (failure == EOPNOTSUPP || failure == EINVAL || failure == ENOTTY || failure == ENOSYS)
        return leftAsItIs(QStringLiteral("This file system cannot make clones"));
    return leftAsItIs(QStringLiteral("Its clone could not be made (%1)")
                          .arg(QString::fromLocal8Bit(std::strerror(failure))));
}

} // namespace

KSTDuplicateLinkStep::KSTDuplicateLinkStep(Kind kind, QString neverTouchSuite)
    : m_kind(kind), m_neverTouchSuite(std::move(neverTouchSuite))
{
}

void KSTDuplicateLinkStep::beginLinking(const QStringList &scanFolders)
{
    const QStringList scope = KSTDuplicateTrashStep::scopeForScanFolders(scanFolders);
    if (scope.isEmpty()) {
        m_guard.reset();
        return;
    }
    m_guard.emplace(
        KSTRemovalGuard::Policy{scope, KSTRemovalGuard::storedNeverTouchPaths(m_neverTouchSuite)});
}

KSTDuplicateLinkStep::Outcome
KSTDuplicateLinkStep::replaceWithLink(const KSTDuplicateFileRecord &copy,
                                      const QList<KSTDuplicateFileRecord> &keptCopies)
{
    if (!m_guard)
        return {Result::Refused,
                leftAsItIs(QStringLiteral("It lies outside the folders chosen "
                                          "for this task")),
                0};
    std::unique_ptr<OpenCopy> source;
    for (const KSTDuplicateFileRecord &kept : keptCopies) {
        if ((source = openRecorded(kept)))
            break;
    }
    if (!source)
        return {Result::KeptCopyChanged, KSTDuplicateRemovalStep::keptCopyChangedReason(), 0};
    const std::unique_ptr<OpenCopy> target = openRecorded(copy);
    if (!target)
        return {Result::FileChanged, KSTDuplicateRemovalStep::fileChangedReason(), 0};
    if (target->file.identity().isSameFile(source->file.identity()))
        return {Result::AlreadySameFile,
                QStringLiteral("The copy already is the kept copy under another name (a hard "
                               "link), so there was nothing to free."),
                0};
    if (target->status.st_dev != source->status.st_dev)
        return {Result::Refused, cloneFailure(EXDEV), 0};
    if (m_kind == Kind::HardLink && (target->status.st_mode != source->status.st_mode ||
                                     target->status.st_uid != source->status.st_uid ||
                                     target->status.st_gid != source->status.st_gid))
        return {Result::Refused,
                leftAsItIs(QStringLiteral("Its permissions or owner differ from the kept copy's, "
                                          "which a hard link would share")),
                0};

    const quint64 size = quint64(target->status.st_size);
    const int copyFd = target->file.descriptor();
    const std::optional<quint64> exclusive = KSTFileClone::exclusiveBytes(copyFd);
    const quint64 freed = target->status.st_nlink == 1 ? exclusive.value_or(0) : 0;

    const auto buildClone = [&](int folder, const QByteArray &name, KSTError *error) {
        const int fd = ::openat(folder, name.constData(),
                                O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (error)
                *error = {ErrorDomain, errno, cloneFailure(errno), {}};
            return false;
        }
        const auto fail = [&](qint64 code, const QString &reason) {
            ::close(fd);
            return failBuild(error, folder, name, code, reason);
        };
        if (const int failure = KSTFileClone::cloneInto(source->file.descriptor(), fd))
            return fail(failure, cloneFailure(failure));
        if (!sameBytes(fd, copyFd, size))
            return fail(EIO, leftAsItIs(QStringLiteral("Its content no longer equals the kept "
                                                       "copy's")));
        struct stat made = {};
        const struct timespec times[2] = {target->status.st_atim, target->status.st_mtim};
        if (::fstat(fd, &made) != 0 ||
            ((made.st_uid != target->status.st_uid || made.st_gid != target->status.st_gid) &&
             ::fchown(fd, target->status.st_uid, target->status.st_gid) != 0) ||
            ::fchmod(fd, target->status.st_mode & 07777) != 0 || ::futimens(fd, times) != 0)
            return fail(errno, leftAsItIs(QStringLiteral("Its clone could not take the copy's "
                                                         "owner, permissions and dates")));
        return ::close(fd) == 0 ||
               failBuild(error, folder, name, EIO,
                         leftAsItIs(QStringLiteral("Its clone could not be written")));
    };
    const auto buildHardLink = [&](int folder, const QByteArray &name, KSTError *error) {
        if (::linkat(source->entry.parentFd(), source->entry.name().constData(), folder,
                     name.constData(), 0) != 0) {
            if (error)
                *error = {ErrorDomain,
                          errno,
                          leftAsItIs(QStringLiteral("The hard link could not be made (%1)")
                                         .arg(QString::fromLocal8Bit(std::strerror(errno)))),
                          {}};
            return false;
        }
        KSTReadOnlyFile made;
        if (!made.openBeneath(folder, name.constData()) ||
            !made.identity().isSameFile(source->file.identity()))
            return failBuild(error, folder, name, EIO,
                             KSTDuplicateRemovalStep::keptCopyChangedReason());
        if (!sameBytes(made.descriptor(), copyFd, size))
            return failBuild(error, folder, name, EIO,
                             leftAsItIs(QStringLiteral("Its content no longer equals the kept "
                                                       "copy's")));
        return true;
    };

    KSTError error;
    const bool replaced =
        m_kind == Kind::Clone
            ? m_guard->replaceFile(copy.path, copy.identity, buildClone, &error)
            : m_guard->replaceFile(copy.path, copy.identity, buildHardLink, &error);
    if (replaced)
        return {Result::Linked, {}, freed};
    if (error.domain == KSTRemovalGuard::ErrorDomain) {
        if (error.code == KSTRemovalGuard::RefusedChanged ||
            error.code == KSTRemovalGuard::RefusedMissing)
            return {Result::FileChanged, KSTDuplicateRemovalStep::fileChangedReason(), 0};
        return {Result::Refused, error.description, 0};
    }
    return {Result::Failed,
            error.description.isEmpty() ? leftAsItIs(QStringLiteral("It could not be replaced"))
                                        : error.description,
            0};
}
