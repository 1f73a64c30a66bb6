// SystemVersion.plist of the analysed volume, read into its operating-system version.
#include "KSTOverviewEngine.h"
#include "KSTPropertyList.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QVariant tree = KSTPropertyList::fromData(bytes);
    const std::optional<KSTOperatingSystemVersion> version =
        KSTOverviewEngine::operatingSystemVersionFromSystemVersion(tree.toMap());
    if (version)
        (void)KSTOverviewEngine::macOSMarketingNameForMajorVersion(version->major);
    return 0;
}
