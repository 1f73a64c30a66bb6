// dpkg's status file and a package's .list file of the analysed machine, as the Linux
// application catalog reads them for payload sizes and owners.
#include "linux/KSTDpkgDatabase.h"

#include <QList>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QHash<QString, qint64> sizes = KSTDpkgDatabase::installedSizes(bytes);
    if (sizes.size() > bytes.count("Package:"))
        std::abort();
    for (auto it = sizes.cbegin(); it != sizes.cend(); ++it) {
        if (it.key().isEmpty() || it.value() < 0 ||
            it.value() > KSTDpkgDatabase::maximumInstalledSizeKiB)
            std::abort();
    }
    const QHash<QString, QString> versions = KSTDpkgDatabase::installedVersions(bytes);
    for (auto it = versions.cbegin(); it != versions.cend(); ++it) {
        if (it.key().isEmpty() || it.value().isEmpty() ||
            it.value().size() > KSTDpkgDatabase::maximumVersionBytes)
            std::abort();
    }

    // The same bytes as a list, asked for its own first lines and one path it lacks.
    QSet<QString> wanted{QStringLiteral("/usr/share/applications/absent.desktop")};
    const QList<QByteArray> lines = bytes.split('\n');
    for (qsizetype index = 0; index < lines.size() && index < 4; ++index)
        wanted.insert(QString::fromUtf8(lines.at(index)));
    const QSet<QString> found = KSTDpkgDatabase::listedPaths(bytes, wanted);
    for (const QString &path : found) {
        if (!wanted.contains(path) || !path.startsWith(QLatin1Char('/')))
            std::abort();
    }
    const QString package = KSTDpkgDatabase::packageOfListName(QString::fromUtf8(bytes));
    if (package.contains(QLatin1Char(':')) || package.startsWith(QLatin1Char('.')))
        std::abort();
    return 0;
}
