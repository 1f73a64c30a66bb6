// The user's Launch Services choices: read, changed for one type, written and read back; the
// change must be what reads back, whatever else the file held.
#include "KSTLaunchServicesHandlers.h"
#include "KSTPropertyList.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace KSTLaunchServicesHandlers;
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QVariant tree = KSTPropertyList::fromData(bytes);
    if (tree.typeId() != QMetaType::QVariantMap)
        return 0;
    const QVariantMap preferences = tree.toMap();
    (void)handlerForContentType(preferences, QStringLiteral("public.jpeg"), RoleViewer);
    const QVariantMap changed = withHandlerForContentType(
        preferences, QStringLiteral("com.adobe.pdf"), QStringLiteral("com.apple.Preview"));
    const QVariantMap reread =
        KSTPropertyList::fromData(KSTPropertyList::toBinary(changed)).toMap();
    if (handlerForContentType(reread, QStringLiteral("COM.ADOBE.PDF"), RoleAll) !=
        QLatin1String("com.apple.Preview"))
        std::abort();
    return 0;
}
