// The Trash's ".DS_Store", searched for put-back paths, and the bookkeeping that hands them
// out to the Trash's items.
#include "KSTUtilitiesManager.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QStringList paths = KSTUtilitiesManager::originalPathsFromTrashDSStoreData(bytes);
    QSet<QString> used;
    for (const QString &path : paths) {
        if (path.isEmpty())
            std::abort(); // a found path always has a folder and a name
        const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
        (void)KSTUtilitiesManager::originalLocationFromBud1Paths(paths, name, used);
    }
    return 0;
}
