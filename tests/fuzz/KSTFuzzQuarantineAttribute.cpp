// A "com.apple.quarantine" attribute value split into its fields.
#include "KSTQuarantineInfo.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const KSTQuarantineInfo info = KSTQuarantineInfo::fromAttribute(bytes);
    if (!info.dataURL.isEmpty() || !info.agentBundleIdentifier.isEmpty())
        std::abort(); // those come from the database only
    return 0;
}
