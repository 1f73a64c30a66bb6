// Binary property lists ("bplist00") as a hostile file holds them.
#include "KSTBinaryPropertyListReader.h"
#include "KSTFuzzPropertyListInvariants.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    checkWrittenTreeReadsBack(KSTBinaryPropertyListReader::read(bytes));
    return 0;
}
