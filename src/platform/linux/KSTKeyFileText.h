#pragma once

#include <QByteArrayView>

/// Text helpers shared by the readers of key files (desktop entries, systemd units).
namespace KSTKeyFileText {

/// @p text without the spaces and tabs around it, and without a final carriage return.
inline QByteArrayView trimmed(QByteArrayView text)
{
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && (text.at(start) == ' ' || text.at(start) == '\t'))
        ++start;
    while (end > start &&
           (text.at(end - 1) == ' ' || text.at(end - 1) == '\t' || text.at(end - 1) == '\r'))
        --end;
    return text.sliced(start, end - start);
}

} // namespace KSTKeyFileText
