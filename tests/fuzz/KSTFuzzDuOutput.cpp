// du's output read into a folder size.
#include "KSTUtilitiesManager.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const quint64 folderBytes = KSTUtilitiesManager::folderSizeFromDuOutput(bytes);
    if (folderBytes % 1024 != 0)
        std::abort();
    return 0;
}
