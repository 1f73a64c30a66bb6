#include "KSTMachOHeader.h"

#include <QtEndian>

namespace {

constexpr quint32 FatMagic = 0xCAFEBABE;
constexpr quint32 FatCigam = 0xBEBAFECA;
constexpr quint32 Magic32 = 0xFEEDFACE;
constexpr quint32 Cigam32 = 0xCEFAEDFE;
constexpr quint32 Magic64 = 0xFEEDFACF;
constexpr quint32 Cigam64 = 0xCFFAEDFE;

constexpr qint32 CpuTypeX86 = 7;
constexpr qint32 CpuTypeX86_64 = 0x01000007;
constexpr qint32 CpuTypeArm = 12;
constexpr qint32 CpuTypeArm64 = 0x0100000C;

constexpr qsizetype FatHeaderBytes = 8;
constexpr qsizetype FatEntryBytes = 20;

quint32 wordAt(const QByteArray &bytes, qsizetype offset, bool swapped)
{
    const quint32 word = qFromLittleEndian<quint32>(bytes.constData() + offset);
    return swapped ? qbswap(word) : word;
}

} // namespace

QList<qint32> KSTMachOHeader::cpuTypesFromHeader(const QByteArray &bytes)
{
    QList<qint32> types;
    const qsizetype length = bytes.size();
    if (length < 4)
        return types;
    const quint32 magic = qFromLittleEndian<quint32>(bytes.constData());
    const bool swapped = magic == FatCigam || magic == Cigam32 || magic == Cigam64;

    if (magic == FatMagic || magic == FatCigam) {
        if (length < FatHeaderBytes)
            return types;
        const quint32 count = wordAt(bytes, 4, swapped);
        for (quint64 index = 0; index < count; ++index) {
            const quint64 end = FatHeaderBytes + FatEntryBytes * (index + 1);
            if (end > quint64(length))
                break;
            types.append(
                qint32(wordAt(bytes, qsizetype(FatHeaderBytes + FatEntryBytes * index), swapped)));
        }
        return types;
    }
    if ((magic == Magic32 || magic == Cigam32) && length >= 28)
        types.append(qint32(wordAt(bytes, 4, swapped)));
    else if ((magic == Magic64 || magic == Cigam64) && length >= 32)
        types.append(qint32(wordAt(bytes, 4, swapped)));
    return types;
}

QString KSTMachOHeader::architectureLabelForCpuTypes(const QList<qint32> &cpuTypes)
{
    bool intel = false;
    bool appleSilicon = false;
    for (const qint32 type : cpuTypes) {
        intel = intel || type == CpuTypeX86 || type == CpuTypeX86_64;
        appleSilicon = appleSilicon || type == CpuTypeArm || type == CpuTypeArm64;
    }
    if (intel && appleSilicon)
        return QStringLiteral("Intel & Apple Silicon");
    if (appleSilicon)
        return QStringLiteral("Apple Silicon");
    if (intel)
        return QStringLiteral("Intel");
    return QStringLiteral("—");
}

QString KSTMachOHeader::architectureLabelForHeader(const QByteArray &bytes)
{
    return architectureLabelForCpuTypes(cpuTypesFromHeader(bytes));
}
