// An application's Info.plist read into the file types it opens and declares.
#include "KSTApplicationTypes.h"
#include "KSTPropertyList.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const KSTApplicationTypes types =
        KSTApplicationTypes::fromInfoPlist(KSTPropertyList::fromData(bytes).toMap());
    (void)types.contentTypes();
    return 0;
}
