#pragma once

#include "KSTError.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <memory>
#include <sys/types.h>

class KSTRemovalGuard;

/// One erase job's work: overwriting and removing what the user chose, every act through
/// KSTRemovalGuard. Everything below a chosen path is reached from it without following a
/// link; the chosen path itself is checked against its own folder. Not thread-safe: one
/// eraser per job.
class KSTSecureEraser
{
public:
    /// How many bytes one write covers.
    static constexpr qint64 ChunkBytes = 1024 * 1024;

    explicit KSTSecureEraser(quint64 passes);
    ~KSTSecureEraser();

    /// The chosen @p path (standardized), by its kind (see KSTUtilitiesManager).
    bool erasePath(const QString &path, KSTError *error);
    bool eraseDirectory(const QString &path, KSTError *error);
    bool eraseVolume(const QString &path, KSTError *error);
    bool eraseFile(const QString &path, KSTError *error);

    /// Fills @p buffer for pass @p pass of @p passes: 0x00 on even passes, 0xFF on odd ones,
    /// cryptographically random bytes on the last.
    static bool fillForPass(char *buffer, qint64 length, quint64 pass, quint64 passes);

private:
    // The guard for entries strictly inside @p scope.
    const KSTRemovalGuard &guardFor(const QString &scope);
    bool eraseInside(const KSTRemovalGuard &guard, const QString &path, dev_t device,
                     KSTError *error);
    bool eraseContents(const KSTRemovalGuard &guard, const QString &folder, const QStringList &kept,
                       dev_t device, KSTError *error);
    bool overwriteAndRemove(const KSTRemovalGuard &guard, const QString &path, KSTError *error);

    quint64 m_passes;
    QStringList m_neverTouch;
    QHash<QString, std::shared_ptr<KSTRemovalGuard>> m_guards;
};
