// The first bytes of an application's executable, as a hostile bundle holds them.
#include "KSTMachOHeader.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QList<qint32> types = KSTMachOHeader::cpuTypesFromHeader(bytes);
    // Whole 20-byte slice entries only, and a thin header names one type.
    if (types.size() > 1 && 8 + 20 * types.size() > bytes.size())
        std::abort();
    const QString label = KSTMachOHeader::architectureLabelForCpuTypes(types);
    if (label != QStringLiteral("Intel & Apple Silicon") &&
        label != QStringLiteral("Apple Silicon") && label != QStringLiteral("Intel") &&
        label != QStringLiteral("—"))
        std::abort();
    if (KSTMachOHeader::architectureLabelForHeader(bytes) != label)
        std::abort();
    return 0;
}
