#include "KSTSyntheticDuplicates.h"

#include "KSTDuplicateCategories.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

struct CategoryShape
{
    const char *type;
    int percent;
    std::array<const char *, 3> extensions;
    std::array<const char *, 3> folders;
    const char *stem;
};

const std::array<CategoryShape, 6> Categories = {{
    {"images",
     30,
     {"png", "gif", "tiff"},
     {"Pictures/Screenshots", "Desktop", "Documents/Design"},
     "Screenshot 2024-%1"},
    {"photos",
     20,
     {"jpg", "heic", "jpeg"},
     {"Pictures/Trips", "Pictures/Imports", "Downloads"},
     "IMG_%1"},
    {"videos", 10, {"mov", "mp4", "m4v"}, {"Movies", "Pictures/Trips", "Downloads"}, "Clip %1"},
    {"audios",
     15,
     {"mp3", "m4a", "wav"},
     {"Music Export", "Downloads", "Documents/Podcasts"},
     "Track %1"},
    {"archives",
     10,
     {"zip", "dmg", "tar"},
     {"Downloads", "Documents/Backups", "Desktop/Old"},
     "archive-%1"},
    {"others", 15, {"pdf", "docx", "txt"}, {"Documents", "Downloads", "Desktop"}, "Report %1"},
}};

QString hashKeyFor(int group)
{
    const QByteArray seed = QByteArray::number(group);
    return QString::fromLatin1(QCryptographicHash::hash(seed, QCryptographicHash::Sha256).toHex());
}

} // namespace

namespace KSTSyntheticDuplicates {

std::shared_ptr<KSTDuplicateSnapshot> makeSnapshot(const Shape &shape)
{
    QRandomGenerator random(shape.seed);
    auto snapshot = std::make_shared<KSTDuplicateSnapshot>();
    const QString home = QStringLiteral("/Users/alex");
    snapshot->scanPaths = {home + QStringLiteral("/Pictures"), home + QStringLiteral("/Documents"),
                           home + QStringLiteral("/Downloads"), home + QStringLiteral("/Desktop")};
    const QDateTime latest(QDate(2026, 11, 20), QTime(18, 0), Qt::UTC);

    int made = 0;
    for (const CategoryShape &category : Categories) {
        KSTDuplicateCategorySummary summary;
        summary.categoryType = QString::fromLatin1(category.type);
        summary.name = KSTDuplicateCategories::duplicateCategoryName(summary.categoryType);
        summary.symbol = KSTDuplicateCategories::duplicateCategorySymbol(summary.categoryType);
        int count = shape.groupCount * category.percent / 100;
        if (shape.singleCategory)
            count = summary.categoryType == QLatin1String("others") ? shape.groupCount : 0;
        else if (summary.categoryType == QLatin1String("others"))
            count = shape.groupCount - made; // the rounding rest
        summary.groups.reserve(count);
        for (int index = 0; index < count; ++index, ++made) {
            KSTDuplicateGroup group;
            group.hashKey = hashKeyFor(made);
            group.categoryType = summary.categoryType;
            const QString extension = QString::fromLatin1(category.extensions[random.bounded(3)]);
            const QString name =
                QString::fromLatin1(category.stem).arg(made) + QLatin1Char('.') + extension;
            group.fileName = name;
            // Log-uniform from 4 KiB to 256 MiB: most copies are small.
            const double low = std::log(4096.0), high = std::log(268435456.0);
            group.fileSize = quint64(std::exp(low + random.generateDouble() * (high - low)));
            const int copies = 2 + int(random.bounded(3));
            QDateTime date = latest.addSecs(-qint64(random.bounded(5 * 365 * 86400)));
            for (int copy = 0; copy < copies; ++copy) {
                KSTDuplicateFileRecord file;
                file.path = home + QLatin1Char('/') +
                            QString::fromLatin1(category.folders[(made + copy) % 3]) +
                            QStringLiteral("/%1/").arg(2020 + (made + copy) % 7) + name;
                file.bytes = group.fileSize;
                file.modificationDate = date;
                file.identity.kind = KSTFileIdentity::Kind::File;
                file.identity.device = 16777220;
                file.identity.inode = quint64(made) * 4 + quint64(copy) + 1000;
                file.identity.size = qint64(group.fileSize);
                file.identity.modifiedSeconds = date.toSecsSinceEpoch();
                file.identity.linkCount = 1;
                group.files.append(file);
                date = date.addSecs(-qint64(1 + random.bounded(400 * 86400)));
            }
            group.reclaimableBytes = quint64(copies - 1) * group.fileSize;
            summary.reclaimableBytes += group.reclaimableBytes;
            summary.groups.append(std::move(group));
        }
        // Largest reclaimable first, as a scan lists them.
        std::stable_sort(summary.groups.begin(), summary.groups.end(),
                         [](const KSTDuplicateGroup &a, const KSTDuplicateGroup &b) {
                             return a.reclaimableBytes > b.reclaimableBytes;
                         });
        summary.groupCount = quint64(summary.groups.size());
        snapshot->totalGroupCount += summary.groupCount;
        snapshot->totalReclaimableBytes += summary.reclaimableBytes;
        for (const KSTDuplicateGroup &group : summary.groups)
            snapshot->filesScanned += quint64(group.files.size());
        snapshot->categories.append(std::move(summary));
    }
    snapshot->filesScanned *= 3; // most files scanned have no partner
    snapshot->scanProgress = 1.0;
    snapshot->scanDate = latest;
    snapshot->isScanning = false;
    return snapshot;
}

} // namespace KSTSyntheticDuplicates
