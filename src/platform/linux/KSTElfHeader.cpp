#include "KSTElfHeader.h"

namespace KSTElfHeader {

std::optional<quint16> machine(const QByteArray &header)
{
    if (header.size() < HeaderBytes || !header.startsWith("\x7f"
                                                          "ELF"))
        return std::nullopt;
    const char elfClass = header.at(4);
    const char byteOrder = header.at(5);
    if ((elfClass != 1 && elfClass != 2) || (byteOrder != 1 && byteOrder != 2))
        return std::nullopt;
    const auto low = quint16(quint8(header.at(18)));
    const auto high = quint16(quint8(header.at(19)));
    return byteOrder == 1 ? quint16(low | (high << 8)) : quint16((low << 8) | high);
}

} // namespace KSTElfHeader
