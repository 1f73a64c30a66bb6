// A systemd unit file of the analysed machine, as the startup items read its ExecStart.
#include "linux/KSTSystemdUnit.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString program = KSTSystemdUnit::execStartProgram(bytes);
    // The program is part of one line, which is never longer than the line cap.
    if (program.size() > KSTSystemdUnit::maximumLineBytes || program.size() > qsizetype(size))
        std::abort();
    if (program.contains(QLatin1Char('\n')))
        std::abort();
    const QString word = KSTSystemdUnit::firstWord(QString::fromUtf8(bytes));
    if (word.size() > qsizetype(size) || word.startsWith(QLatin1Char(' ')))
        std::abort();
    return 0;
}
