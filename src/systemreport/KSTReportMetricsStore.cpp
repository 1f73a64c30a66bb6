#include "KSTReportMetricsStore.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTGuardedNewFile.h"
#include "KSTPropertyList.h"
#include "KSTReadOnlyFile.h"
#include "KSTRemovalGuard.h"
#include "KSTReporterHistory.h"
#include "KSTTrashSupport.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace {

const QString FileName = QStringLiteral("report-metrics.plist");
const QString LastTotalKey = QStringLiteral("lastTotalDesktopSeconds");
const QString SavedAtKey = QStringLiteral("savedAt");

enum class FileState { Missing, Valid, Damaged };

FileState readMetrics(const QString &path, QVariantMap *dictionary)
{
    QByteArray bytes;
    switch (KSTReadOnlyFile::readWholeFile(path, KSTReportMetricsStore::MaximumFileBytes, &bytes)) {
    case KSTReadOnlyFile::Status::Read:
        break;
    case KSTReadOnlyFile::Status::Missing:
        return FileState::Missing;
    case KSTReadOnlyFile::Status::NotRegular:
    case KSTReadOnlyFile::Status::TooLarge:
    case KSTReadOnlyFile::Status::Unreadable:
        return FileState::Damaged;
    }
    const QVariant root = KSTPropertyList::fromData(bytes);
    if (root.typeId() != QMetaType::QVariantMap)
        return FileState::Damaged;
    *dictionary = root.toMap();
    return FileState::Valid;
}

QString keepDamagedAside(const QString &path, QString *reason)
{
    const QString base = path + QLatin1String(".damaged-") +
                         QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    for (int attempt = 1; attempt <= KSTReportMetricsStore::MaximumDamagedNameAttempts; ++attempt) {
        const QString candidate =
            attempt == 1 ? base : base + QLatin1Char('-') + QString::number(attempt);
        const int error = KSTTrashSupport::renameNoReplace(KSTFileName::encoded(path),
                                                           KSTFileName::encoded(candidate));
        if (error == 0)
            return candidate;
        if (error != EEXIST) {
            *reason = QStringLiteral("the damaged metrics file %1 could not be kept aside: %2")
                          .arg(path, QString::fromLocal8Bit(std::strerror(error)));
            return {};
        }
    }
    *reason = QStringLiteral("the damaged metrics file %1 could not be kept aside: no free name")
                  .arg(path);
    return {};
}

bool writeGuarded(const QString &path, const QByteArray &bytes, QString *reason)
{
    const QString home = QDir::cleanPath(KSTEnvironment::current().home());
    const QString folder = QFileInfo(path).absolutePath();
    const QString scope = folder.startsWith(home + QLatin1Char('/')) ? home : folder;
    const KSTRemovalGuard guard({{scope}, KSTRemovalGuard::storedNeverTouchPaths()});
    const std::optional<KSTFileIdentity> existing = KSTRemovalGuard::identityOf(path);
    KSTError error;
    std::optional<KSTGuardedNewFile> file =
        existing ? guard.replaceFile(path, existing, &error) : guard.createNewFile(path, &error);
    if (!file) {
        *reason = QStringLiteral("%1 cannot be written: %2").arg(path, error.description);
        return false;
    }
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t written =
            ::write(file->fd(), bytes.constData() + done, size_t(bytes.size() - done));
        if (written <= 0) {
            *reason = QStringLiteral("%1 cannot be written: %2")
                          .arg(path, QString::fromLocal8Bit(std::strerror(errno)));
            return false;
        }
        done += written;
    }
    if (!file->commit(&error)) {
        *reason = QStringLiteral("%1 cannot be written: %2").arg(path, error.description);
        return false;
    }
    return true;
}

} // namespace

QString KSTReportMetricsStore::metricsPath()
{
    return KSTReporterHistory::reporterHistoryFolder() + QLatin1Char('/') + FileName;
}

QVariantMap KSTReportMetricsStore::loadPreviousBootMetrics()
{
    QVariantMap dictionary;
    if (readMetrics(metricsPath(), &dictionary) != FileState::Valid)
        return {};
    return dictionary;
}

KSTReportMetricsStore::PersistResult
KSTReportMetricsStore::persistBootMetrics(const QVariantMap &bootMetrics, const QDateTime &now)
{
    PersistResult result;
    const QString path = metricsPath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    QVariantMap dictionary;
    if (readMetrics(path, &dictionary) == FileState::Damaged) {
        result.keptDamagedPath = keepDamagedAside(path, &result.reason);
        if (result.keptDamagedPath.isEmpty())
            return result; // the damaged file stays where it is, untouched
    }
    const QVariant total = bootMetrics.value(QStringLiteral("totalDesktopSeconds"));
    bool numeric = false;
    const double seconds = total.toDouble(&numeric);
    dictionary.insert(LastTotalKey,
                      numeric && total.typeId() != QMetaType::QString ? seconds : 0.0);
    dictionary.insert(SavedAtKey, now.toUTC());
    result.written = writeGuarded(path, KSTPropertyList::toXml(dictionary), &result.reason);
    return result;
}
