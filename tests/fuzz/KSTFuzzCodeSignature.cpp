// An application's main executable as the System Report reads it for its code signature: the
// bytes are the file, read the way the collector does (header, first slice, signature).
#include "KSTCodeSignature.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    namespace S = KSTCodeSignature;
    const QByteArray file =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    qint64 slice = 0;
    QByteArray header = file.left(S::HeaderBytes);
    if (const std::optional<qint64> first = S::firstSliceOffset(header)) {
        if (*first < 0)
            std::abort();
        slice = *first;
        header = file.mid(slice, S::HeaderBytes);
    }
    if (const std::optional<S::Location> location = S::signatureLocation(header, slice)) {
        if (location->offset < slice || location->size <= 0)
            std::abort();
        S::kindOfSignature(file.mid(location->offset, std::min(location->size, S::SignatureBytes)));
    }
    S::kindOfSignature(file);
    return 0;
}
