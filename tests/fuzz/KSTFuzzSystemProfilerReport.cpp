// What `system_profiler SPHardwareDataType` prints on the analysed volume, read for the
// fields the Overview's title takes from it.
#include "KSTOverviewEngine.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray report =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const char *key : {"Model Name", "Chip", "Processor Name"}) {
        const QString value =
            KSTOverviewEngine::systemProfilerValueInOutput(report, QLatin1String(key));
        // A value is one trimmed line.
        if (value.contains(QLatin1Char('\n')) || value != value.trimmed())
            std::abort();
    }
    return 0;
}
