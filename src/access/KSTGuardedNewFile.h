#pragma once

#include "KSTError.h"
#include "KSTFileIdentity.h"

#include <QByteArray>
#include <QString>

#include <optional>

/// A file written where nobody sees it and put in place only once complete, for the acts of
/// KSTRemovalGuard that write (an archive next to its originals, a preferences file replaced).
/// It is an unnamed file in the destination's held folder (O_TMPFILE) where the file system
/// has them, else a hidden temporary name there. Destroyed uncommitted, it leaves nothing
/// behind. Move-only; one thread at a time.
class KSTGuardedNewFile
{
public:
    enum class Mode { CreateOnly, Replace };

    KSTGuardedNewFile() = default;
    ~KSTGuardedNewFile();
    KSTGuardedNewFile(KSTGuardedNewFile &&other) noexcept;
    KSTGuardedNewFile &operator=(KSTGuardedNewFile &&other) noexcept;
    KSTGuardedNewFile(const KSTGuardedNewFile &) = delete;
    KSTGuardedNewFile &operator=(const KSTGuardedNewFile &) = delete;

    /// Starts a file named @p name in the folder held open at @p folderFd (taken over) for the
    /// path @p path. Nothing (errno set) when no file can be made there.
    static std::optional<KSTGuardedNewFile> start(int folderFd, const QByteArray &name,
                                                  const QString &path, Mode mode,
                                                  std::optional<KSTFileIdentity> replaced = {});

    /// The descriptor to write to (read-write, positioned at 0).
    int fd() const { return m_fd; }
    const QString &path() const { return m_path; }

    /// Flushes the contents to the device and puts the file in place under @p name (the
    /// name it was started for when empty; the same folder). CreateOnly never replaces an
    /// entry (EEXIST); Replace renames over the entry only while it is still the one it
    /// replaces. False with @p error (NSCocoaErrorDomain) otherwise; the file can then be
    /// committed under another name or discarded.
    bool commit(KSTError *error, const QByteArray &name = {});

private:
    int m_folderFd = -1;
    int m_fd = -1;
    QByteArray m_name;
    QByteArray m_temporaryName; // empty for an unnamed file
    QString m_path;
    Mode m_mode = Mode::CreateOnly;
    std::optional<KSTFileIdentity> m_replaced;
    bool m_committed = false;
};
