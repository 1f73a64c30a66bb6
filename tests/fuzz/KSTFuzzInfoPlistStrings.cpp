// A bundle's localised InfoPlist.strings, as a hostile bundle holds it.
#include "KSTInfoPlistStrings.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QByteArray marked = KSTInfoPlistStrings::withByteOrderMark(bytes);
    // A byte-order mark is added or nothing is: the text itself never changes.
    if (marked != bytes && (marked.size() != bytes.size() + 2 || marked.mid(2) != bytes))
        std::abort();
    const QVariantMap strings = KSTInfoPlistStrings::stringsFromData(bytes);
    for (auto it = strings.cbegin(); it != strings.cend(); ++it) {
        if (it.value().typeId() != QMetaType::QString)
            std::abort();
        if (KSTInfoPlistStrings::stringValue(strings, it.key()) != it.value().toString())
            std::abort();
    }
    return 0;
}
