// What `find … -type f -size +50M -print0` prints over a user folder, read as paths.
#include "KSTFileName.h"
#include "KSTLargeFileSearch.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray output =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    QByteArrayList fields;
    for (const QByteArray &field : output.split('\0')) {
        if (!field.isEmpty())
            fields << field;
    }
    const QStringList paths = KSTLargeFileSearch::pathsFromFindOutput(output, {});
    // One path per non-empty field, holding exactly that field's bytes: nothing trimmed,
    // nothing lost to decoding.
    if (paths.size() != fields.size())
        std::abort();
    for (qsizetype index = 0; index < paths.size(); ++index) {
        if (KSTFileName::encoded(paths.at(index)) != fields.at(index))
            std::abort();
    }
    return 0;
}
