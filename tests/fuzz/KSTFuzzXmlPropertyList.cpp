// XML property lists as a hostile file holds them.
#include "KSTFuzzPropertyListInvariants.h"
#include "KSTXmlPropertyListReader.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    checkWrittenTreeReadsBack(KSTXmlPropertyListReader::read(bytes));
    return 0;
}
