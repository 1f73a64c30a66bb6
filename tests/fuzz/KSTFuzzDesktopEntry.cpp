// A desktop entry file of the analysed machine, as the Linux application catalog reads it
// for each locale form it may meet.
#include "linux/KSTDesktopEntry.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const char *locale : {"", "C", "de_DE.UTF-8", "sr_RS.UTF-8@latin", "@", "_."}) {
        const KSTDesktopEntry entry = KSTDesktopEntry::parse(bytes, QString::fromLatin1(locale));
        // Nothing is read from a file whose first group is another one.
        if (!entry.valid && (!entry.name.isEmpty() || !entry.type.isEmpty() ||
                             !entry.exec.isEmpty() || entry.hidden || entry.noDisplay))
            std::abort();
        if (entry.isShownApplication() &&
            (entry.type != QLatin1String("Application") || entry.hidden || entry.noDisplay))
            std::abort();
        // A value is at most one line's bytes, however it unescapes.
        if (entry.name.size() > qsizetype(size) || entry.exec.size() > qsizetype(size))
            std::abort();
        if (!entry.valid && (!entry.mimeTypes.isEmpty() || !entry.autostartEnabled))
            std::abort();
        for (const QString &type : entry.mimeTypes) {
            if (type.isEmpty() || type.contains(QLatin1Char(';')) || type.size() > qsizetype(size))
                std::abort();
        }
    }
    return 0;
}
