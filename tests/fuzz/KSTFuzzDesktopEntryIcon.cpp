// A desktop entry's Icon= value, as the default apps read it to find an icon file.
#include "KSTApplicationIconFile.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString icon = KSTApplicationIconFile::iconValueOfDesktopEntry(bytes);
    // A value is one line's text: never a line break, never more characters than bytes read.
    if (icon.contains(QLatin1Char('\n')) || icon.size() > qsizetype(size))
        std::abort();
    return 0;
}
