// shared-mime-info's globs2 of the analysed machine, as the default apps read extensions.
#include "linux/KSTMimeGlobs.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    qsizetype total = 0;
    const QMap<QString, QStringList> byType = KSTMimeGlobs::extensionsByType(bytes);
    for (auto it = byType.cbegin(); it != byType.cend(); ++it) {
        if (!it.key().contains(QLatin1Char('/')) || it.key() != it.key().toLower())
            std::abort();
        for (const QString &extension : it.value()) {
            // Only what follows "*." of a simple glob, never a pattern or a path.
            if (extension.isEmpty() || extension.contains(QLatin1Char('*')) ||
                extension.contains(QLatin1Char('/')) || extension.contains(QLatin1Char(':')))
                std::abort();
            ++total;
        }
        QStringList once = it.value();
        if (once.removeDuplicates() != 0)
            std::abort();
    }
    if (total > KSTMimeGlobs::maximumExtensions)
        std::abort();
    return 0;
}
