#include "KSTReporterHistory.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTGuardedNewFile.h"
#include "KSTLinuxPlaces.h"
#include "KSTPropertyList.h"
#include "KSTReadOnlyFile.h"
#include "KSTRemovalGuard.h"
#include "KSTReporterCharts.h"
#include "KSTReporterLog.h"
#include "KSTTrashSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QMetaType>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace {

const QString FileName = QStringLiteral("reporter-history.plist");
const QString DayKey = QStringLiteral("day");

std::atomic<bool> interruptWrites{false};

bool isUsableRecord(const QVariant &value)
{
    if (value.typeId() != QMetaType::QVariantMap)
        return false;
    return value.toMap().value(DayKey).typeId() == QMetaType::QString;
}

// Moves the damaged file to the first free "<path>.damaged-<stamp>[-n]" name.
QString keepDamagedAside(const QString &path, QString *reason)
{
    const QString base = path + QLatin1String(".damaged-") +
                         QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    for (int attempt = 1; attempt <= KSTReporterHistory::MaximumDamagedNameAttempts; ++attempt) {
        const QString candidate =
            attempt == 1 ? base : base + QLatin1Char('-') + QString::number(attempt);
        const int error = KSTTrashSupport::renameNoReplace(KSTFileName::encoded(path),
                                                           KSTFileName::encoded(candidate));
        if (error == 0) {
            qCInfo(lcReporter) << "damaged history kept aside as" << candidate;
            return candidate;
        }
        if (error != EEXIST) {
            *reason = QStringLiteral("the damaged history %1 could not be kept aside: %2")
                          .arg(path, QString::fromLocal8Bit(std::strerror(error)));
            return {};
        }
    }
    *reason =
        QStringLiteral("the damaged history %1 could not be kept aside: no free name").arg(path);
    return {};
}

// The history is replaced through the removal guard, like every file Kestrel overwrites: never
// through a symbolic link at its path or on the way to it from the home, and only while the
// file read is still the one there.
bool writeRecords(const QString &path, const QVariantList &records, QString *reason)
{
    const QByteArray xml = KSTPropertyList::toXml(records);
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString home = QDir::cleanPath(environment.home());
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
    for (qsizetype done = 0; done < xml.size();) {
        const ssize_t written =
            ::write(file->fd(), xml.constData() + done, size_t(xml.size() - done));
        if (written <= 0) {
            *reason = QStringLiteral("%1 cannot be written: %2")
                          .arg(path, QString::fromLocal8Bit(std::strerror(errno)));
            return false;
        }
        done += written;
    }
    if (interruptWrites.load()) {
        *reason = QStringLiteral("the write of %1 was interrupted").arg(path);
        return false; // the uncommitted file leaves nothing behind
    }
    if (!file->commit(&error)) {
        *reason = QStringLiteral("%1 cannot be written: %2").arg(path, error.description);
        return false;
    }
    return true;
}

} // namespace

QString KSTReporterHistory::reporterHistoryFolder()
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() == KSTLayout::Mac)
        return environment.homePath(QStringLiteral("Library/Application Support/Kestrel"));
    // The analysed user's $XDG_DATA_HOME: the process's variable counts only for the running
    // user at "/", as for every other place of the layout.
    return environment.places()->dataHome() + QLatin1String("/kestrel");
}

QString KSTReporterHistory::reporterHistoryPath()
{
    const QString folder = reporterHistoryFolder();
    QDir().mkpath(folder);
    return folder + QLatin1Char('/') + FileName;
}

QString KSTReporterHistory::reporterHistoryPathWithoutCreating()
{
    return reporterHistoryFolder() + QLatin1Char('/') + FileName;
}

QVariantList KSTReporterHistory::reporterHistoryRecords()
{
    return readHistoryAtPath(reporterHistoryPath()).records;
}

KSTReporterHistory::Contents KSTReporterHistory::readHistoryAtPath(const QString &path)
{
    Contents contents;
    QByteArray bytes;
    switch (KSTReadOnlyFile::readWholeFile(path, MaximumFileBytes, &bytes)) {
    case KSTReadOnlyFile::Status::Read:
        break;
    case KSTReadOnlyFile::Status::Missing:
        return contents;
    case KSTReadOnlyFile::Status::NotRegular:
        contents.state = State::Damaged;
        contents.problem = QStringLiteral("it is not a regular file");
        return contents;
    case KSTReadOnlyFile::Status::TooLarge:
        contents.state = State::Damaged;
        contents.problem = QStringLiteral("it is larger than 1 MiB");
        return contents;
    case KSTReadOnlyFile::Status::Unreadable:
        contents.state = State::Damaged;
        contents.problem = QStringLiteral("it cannot be read");
        return contents;
    }
    return historyFromData(bytes);
}

KSTReporterHistory::Contents KSTReporterHistory::historyFromData(const QByteArray &bytes)
{
    Contents contents;
    if (bytes.size() > MaximumFileBytes) {
        contents.state = State::Damaged;
        contents.problem = QStringLiteral("it is larger than 1 MiB");
        return contents;
    }
    QString error;
    const QVariant root = KSTPropertyList::fromData(bytes, &error);
    if (!root.isValid()) {
        contents.state = State::Damaged;
        contents.problem = error.isEmpty()
                               ? QStringLiteral("it is not a property list")
                               : QStringLiteral("it is not a property list (%1)").arg(error);
        return contents;
    }
    if (root.typeId() != QMetaType::QVariantList) {
        contents.state = State::Damaged;
        contents.problem = QStringLiteral("its root is not an array");
        return contents;
    }
    contents.state = State::Valid;
    for (const QVariant &element : root.toList())
        if (isUsableRecord(element))
            contents.records.append(element);
    return contents;
}

QVariantMap KSTReporterHistory::recordForDate(const QDateTime &date, quint64 storageUsedBytes,
                                              quint64 networkInputBytes, quint64 networkOutputBytes,
                                              quint64 filesAddedCount, quint64 trashItemCount)
{
    return QVariantMap{
        {DayKey, KSTReporterCharts::historyDayKeyForDate(date)},
        {QStringLiteral("storageUsed"), QVariant::fromValue(storageUsedBytes)},
        {QStringLiteral("networkIn"), QVariant::fromValue(networkInputBytes)},
        {QStringLiteral("networkOut"), QVariant::fromValue(networkOutputBytes)},
        {QStringLiteral("filesAdded"), QVariant::fromValue(filesAddedCount)},
        {QStringLiteral("trashCount"), QVariant::fromValue(trashItemCount)},
    };
}

QVariantList KSTReporterHistory::mergedRecords(QVariantList records, const QVariantMap &record)
{
    const QString key = record.value(DayKey).toString();
    auto sameDay = std::find_if(records.begin(), records.end(), [&](const QVariant &existing) {
        return existing.toMap().value(DayKey).toString() == key;
    });
    if (sameDay != records.end())
        *sameDay = record;
    else
        records.append(record);
    std::stable_sort(records.begin(), records.end(), [](const QVariant &a, const QVariant &b) {
        return a.toMap().value(DayKey).toString() < b.toMap().value(DayKey).toString();
    });
    if (records.size() > MaximumRecords)
        records.remove(0, records.size() - MaximumRecords);
    return records;
}

KSTReporterHistory::UpdateResult KSTReporterHistory::updateReporterHistoryForDate(
    const QDateTime &date, quint64 storageUsedBytes, quint64 networkInputBytes,
    quint64 networkOutputBytes, quint64 filesAddedCount, quint64 trashItemCount)
{
    UpdateResult result;
    const QVariantMap record = recordForDate(date, storageUsedBytes, networkInputBytes,
                                             networkOutputBytes, filesAddedCount, trashItemCount);
    if (record.value(DayKey).toString().isEmpty()) {
        result.reason = QStringLiteral("the date has no calendar day");
        return result;
    }
    const QString path = reporterHistoryPath();
    QLockFile lock(path + QLatin1String(".lock"));
    if (!lock.tryLock(LockTimeoutMs)) {
        result.reason = lock.error() == QLockFile::LockFailedError
                            ? QStringLiteral("another program held %1.lock for 5 seconds").arg(path)
                            : QStringLiteral("%1.lock cannot be created").arg(path);
        return result;
    }
    const Contents contents = readHistoryAtPath(path);
    if (contents.state == State::Damaged) {
        result.keptDamagedPath = keepDamagedAside(path, &result.reason);
        if (result.keptDamagedPath.isEmpty())
            return result;
    }
    result.written = writeRecords(path, mergedRecords(contents.records, record), &result.reason);
    return result;
}

void KSTReporterHistory::setInterruptWritesForTesting(bool interrupt)
{
    interruptWrites.store(interrupt);
}
