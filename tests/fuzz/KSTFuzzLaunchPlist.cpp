// A launchd property list read into its job: label, program, the keys that rate its impact,
// and the name the list shows.
#include "KSTLaunchJob.h"
#include "KSTPropertyList.h"
#include "KSTUtilitiesManager.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QVariant tree = KSTPropertyList::fromData(bytes);
    if (tree.typeId() != QMetaType::QVariantMap)
        return 0;
    const KSTLaunchJob job = KSTLaunchJob::fromPlist(tree.toMap(), QStringLiteral("job.plist"));
    if (job.label.isEmpty())
        std::abort(); // the file name stands in for a missing label
    if (KSTUtilitiesManager::displayNameForProgramPath(job.program, job.label).isEmpty())
        std::abort();
    return 0;
}
