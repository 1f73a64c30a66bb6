// What `tmutil listlocalsnapshots / | wc -l` prints, read as the number of snapshots.
#include "KSTCleanUpEngine.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray output =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    (void)KSTCleanUpEngine::lineCountFromOutput(output);
    return 0;
}
