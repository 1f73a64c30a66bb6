// What `find … -type f -size +50M -print` prints over a user folder, read as paths.
#include "KSTLargeFileSearch.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray output =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const QString &path : KSTLargeFileSearch::pathsFromFindOutput(output, {})) {
        // Every path is one non-empty trimmed line.
        if (path.isEmpty() || path.contains(QLatin1Char('\n')) || path != path.trimmed())
            std::abort();
    }
    return 0;
}
