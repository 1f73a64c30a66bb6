#include "KSTCodeSignature.h"

#include <QtEndian>

namespace KSTCodeSignature {

namespace {

constexpr quint32 FatMagic = 0xCAFEBABE;
constexpr quint32 Magic32 = 0xFEEDFACE;
constexpr quint32 Magic64 = 0xFEEDFACF;
constexpr quint32 CodeSignatureCommand = 0x1D;
constexpr quint32 SuperBlobMagic = 0xFADE0CC0;
constexpr quint32 CodeDirectoryMagic = 0xFADE0C02;
constexpr quint32 CodeDirectorySlot = 0;
constexpr quint32 AdHocFlag = 0x2;
constexpr quint32 LinkerSignedFlag = 0x20000;
constexpr quint32 MaximumCommands = 4096;

bool word(const QByteArray &bytes, qint64 offset, bool bigEndian, quint32 *value)
{
    if (offset < 0 || offset + 4 > bytes.size())
        return false;
    const auto *data = reinterpret_cast<const uchar *>(bytes.constData() + offset);
    *value = bigEndian ? qFromBigEndian<quint32>(data) : qFromLittleEndian<quint32>(data);
    return true;
}

} // namespace

std::optional<qint64> firstSliceOffset(const QByteArray &header)
{
    quint32 magic = 0;
    quint32 count = 0;
    quint32 offset = 0;
    // The universal header is big-endian; its first entry's offset is the word at 16.
    if (!word(header, 0, true, &magic) || magic != FatMagic || !word(header, 4, true, &count) ||
        count == 0 || !word(header, 16, true, &offset))
        return std::nullopt;
    return qint64(offset);
}

std::optional<Location> signatureLocation(const QByteArray &header, qint64 sliceOffset)
{
    quint32 magic = 0;
    if (!word(header, 0, false, &magic))
        return std::nullopt;
    bool bigEndian = false;
    if (magic == qbswap(Magic32) || magic == qbswap(Magic64)) {
        bigEndian = true;
        magic = qbswap(magic);
    }
    if (magic != Magic32 && magic != Magic64)
        return std::nullopt;
    quint32 commands = 0;
    quint32 commandBytes = 0;
    if (!word(header, 16, bigEndian, &commands) || !word(header, 20, bigEndian, &commandBytes))
        return std::nullopt;
    qint64 at = magic == Magic64 ? 32 : 28;
    const qint64 end = std::min<qint64>(header.size(), at + qint64(commandBytes));
    for (quint32 index = 0; index < commands && index < MaximumCommands; ++index) {
        quint32 command = 0;
        quint32 size = 0;
        if (at + 8 > end || !word(header, at, bigEndian, &command) ||
            !word(header, at + 4, bigEndian, &size) || size < 8)
            return std::nullopt;
        if (command == CodeSignatureCommand) {
            quint32 dataOffset = 0;
            quint32 dataSize = 0;
            if (size < 16 || !word(header, at + 8, bigEndian, &dataOffset) ||
                !word(header, at + 12, bigEndian, &dataSize) || dataSize == 0)
                return std::nullopt;
            return Location{sliceOffset + qint64(dataOffset), qint64(dataSize)};
        }
        at += size;
    }
    return std::nullopt;
}

Kind kindOfSignature(const QByteArray &signature)
{
    quint32 magic = 0;
    quint32 count = 0;
    if (!word(signature, 0, true, &magic) || magic != SuperBlobMagic ||
        !word(signature, 8, true, &count))
        return Kind::Unsigned;
    for (quint32 index = 0; index < count && 12 + qint64(index) * 8 + 8 <= signature.size();
         ++index) {
        quint32 type = 0;
        quint32 offset = 0;
        word(signature, 12 + qint64(index) * 8, true, &type);
        word(signature, 16 + qint64(index) * 8, true, &offset);
        if (type != CodeDirectorySlot)
            continue;
        quint32 directoryMagic = 0;
        quint32 flags = 0;
        if (!word(signature, offset, true, &directoryMagic) ||
            directoryMagic != CodeDirectoryMagic ||
            !word(signature, qint64(offset) + 12, true, &flags))
            return Kind::Unsigned;
        return (flags & (AdHocFlag | LinkerSignedFlag)) ? Kind::AdHoc : Kind::Signed;
    }
    return Kind::Unsigned;
}

} // namespace KSTCodeSignature
