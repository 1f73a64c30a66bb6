// A launch agent's property list, as a hostile home holds it.
#include "KSTLaunchAgentJob.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const KSTLaunchAgentJob job = KSTLaunchAgentJob::fromData(bytes);
    if (job.programArguments.size() > KSTLaunchAgentJob::MaximumArguments)
        std::abort();
    if (!job.isValid &&
        (!job.label.isNull() || !job.program.isNull() || !job.programArguments.isEmpty()))
        std::abort();
    const QString executable = job.executable();
    if (!executable.isEmpty() && executable != job.program &&
        executable != job.programArguments.value(0))
        std::abort();
    return 0;
}
