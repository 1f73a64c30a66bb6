// The first bytes of the program a desktop entry starts, as a hostile machine holds them.
#include "linux/KSTElfHeader.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<quint16> machine = KSTElfHeader::machine(bytes);
    if (machine && (bytes.size() < KSTElfHeader::HeaderBytes || !bytes.startsWith("\x7f"
                                                                                  "ELF")))
        std::abort();
    // Only the header bytes count: whatever follows them changes nothing.
    if (bytes.size() > KSTElfHeader::HeaderBytes &&
        KSTElfHeader::machine(bytes.left(KSTElfHeader::HeaderBytes)) != machine)
        std::abort();
    return 0;
}
