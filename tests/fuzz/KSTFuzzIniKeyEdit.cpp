// A user's ini-style settings file (an autostart entry, mimeapps.list) as the Utilities
// rewrite one key of it: every other line kept, the key readable back.
#include "KSTIniKeyEdit.h"

#include <QList>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const char *group : {"Desktop Entry", "Default Applications"}) {
        const QByteArray edited =
            KSTIniKeyEdit::withKey(bytes, group, QByteArrayLiteral("Hidden"), "true");
        if (bytes.size() > KSTIniKeyEdit::maximumBytes) {
            if (!edited.isEmpty())
                std::abort();
            continue;
        }
        // What was set reads back, and setting it again changes nothing.
        if (KSTIniKeyEdit::valueOf(edited, group, QByteArrayLiteral("Hidden")) != "true")
            std::abort();
        if (KSTIniKeyEdit::withKey(edited, group, QByteArrayLiteral("Hidden"), "true") != edited)
            std::abort();
        // Every line but the key's own is kept, in order.
        QList<QByteArray> kept;
        for (const QByteArray &line : bytes.split('\n')) {
            if (!line.trimmed().startsWith("Hidden"))
                kept << line;
        }
        if (bytes.endsWith('\n'))
            kept.removeLast();
        qsizetype found = 0;
        for (const QByteArray &line : edited.split('\n')) {
            if (found < kept.size() && line == kept.at(found))
                ++found;
        }
        if (found < kept.size())
            std::abort();
    }
    return 0;
}
