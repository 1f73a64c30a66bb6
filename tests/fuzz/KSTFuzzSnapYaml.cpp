// A snap's meta/snap.yaml, as a hostile machine's /snap holds it.
#include "linux/KSTSnapYaml.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString version = KSTSnapYaml::version(bytes);
    if (version.size() > KSTSnapYaml::maximumVersionCharacters ||
        version.contains(QLatin1Char('\n')))
        std::abort();
    if (!version.isEmpty() && !bytes.contains("version:"))
        std::abort();
    return 0;
}
