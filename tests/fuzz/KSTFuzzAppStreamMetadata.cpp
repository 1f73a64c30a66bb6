// A Flatpak's AppStream metainfo or appdata file, as a hostile deployment holds it.
#include "linux/KSTAppStreamMetadata.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const KSTAppStreamMetadata metadata = KSTAppStreamMetadata::parse(bytes);
    if (metadata.releaseVersion.size() > KSTAppStreamMetadata::maximumValueCharacters ||
        metadata.developerName.size() > KSTAppStreamMetadata::maximumValueCharacters)
        std::abort();
    if (!metadata.releaseVersion.isEmpty() && !bytes.contains("release"))
        std::abort();
    return 0;
}
